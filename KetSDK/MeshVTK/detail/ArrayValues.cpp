#include <KetSDK/MeshVTK/detail/ArrayValues.h>

#include <KetSDK/MeshVTK/Arrays.h>
#include <KetSDK/MeshVTK/Error.h>

#include <vtkDataArray.h>

#include <algorithm>
#include <cstddef>

namespace KetSDK::MeshVTK::Detail {

namespace {

template <typename T>
std::vector<long long> ToLongLong(T const* values, vtkIdType count) {
    std::vector<long long> numbers(static_cast<std::size_t>(count));
    std::transform(values, values + count, numbers.begin(), [](T v) { return static_cast<long long>(v); });
    return numbers;
}

} // namespace

std::string Quoted(vtkAbstractArray& array) {
    return "the array \"" + std::string(array.GetName() ? array.GetName() : "") + "\"";
}

void CheckComponents(std::string const& name, std::uint64_t components, std::uint64_t values) {
    constexpr std::uint64_t most_without_values = 65536;
    if (components > std::max(values, most_without_values))
        throw Error("the array \"" + name + "\" announces " + std::to_string(components) +
                    " components, but " + std::to_string(values) + " values");
}

bool HoldsWholeNumbers(vtkDataArray& array) {
    return array.GetDataType() != VTK_FLOAT && array.GetDataType() != VTK_DOUBLE;
}

std::vector<long long> WholeNumbers(vtkDataArray& array, vtkIdType count) {
    if (!HoldsWholeNumbers(array))
        throw Error(Quoted(array) + " must hold whole numbers, not " + array.GetDataTypeAsString());
    CheckShape(array, count);
    std::vector<long long> values;
    switch (array.GetDataType()) {
        vtkTemplateMacro(values = ToLongLong(static_cast<VTK_TT const*>(array.GetVoidPointer(0)), count));
    default: // bits
        values.resize(static_cast<std::size_t>(count));
        for (vtkIdType i = 0; i < count; ++i)
            values[static_cast<std::size_t>(i)] = static_cast<long long>(array.GetComponent(i, 0));
    }
    return values;
}

} // namespace KetSDK::MeshVTK::Detail
