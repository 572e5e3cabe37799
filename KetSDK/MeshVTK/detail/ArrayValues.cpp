#include <KetSDK/MeshVTK/detail/ArrayValues.h>

#include <KetSDK/MeshVTK/Arrays.h>
#include <KetSDK/MeshVTK/Error.h>

#include <vtkDataArray.h>
#include <vtkVariant.h>

#include <algorithm>
#include <cstddef>

namespace KetSDK::MeshVTK::Detail {

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
    // A double holds every value of the types up to 32 bits; the wider ones go through variants.
    bool const wide = array.GetDataTypeSize() > 4;
    std::vector<long long> values(static_cast<std::size_t>(count));
    for (vtkIdType i = 0; i < count; ++i)
        values[static_cast<std::size_t>(i)] =
            wide ? array.GetVariantValue(i).ToLongLong() : static_cast<long long>(array.GetComponent(i, 0));
    return values;
}

} // namespace KetSDK::MeshVTK::Detail
