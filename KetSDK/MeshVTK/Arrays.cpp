#include <KetSDK/MeshVTK/Arrays.h>

#include <KetSDK/MeshVTK/Error.h>

#include <vtkDataArray.h>
#include <vtkDataSetAttributes.h>
#include <vtkVariant.h>

#include <algorithm>

namespace KetSDK::MeshVTK {

namespace {

std::string Quoted(vtkAbstractArray& array) {
    return "the array \"" + std::string(array.GetName() ? array.GetName() : "") + "\"";
}

} // namespace

vtkDataArray* FindArray(vtkDataSetAttributes& arrays, std::string const& name) {
    vtkAbstractArray* const array = arrays.GetAbstractArray(name.c_str());
    vtkDataArray* const numbers = vtkDataArray::SafeDownCast(array);
    if (array && !numbers)
        throw Error(Quoted(*array) + " must hold numbers");
    return numbers;
}

std::string DescribeArrays(vtkDataSetAttributes& arrays, std::string const& kind) {
    std::string list;
    for (int i = 0; i < arrays.GetNumberOfArrays(); ++i)
        if (char const* const name = arrays.GetArrayName(i))
            list += (list.empty() ? "" : ", ") + std::string(name);
    return list.empty() ? "there are no " + kind + " arrays" : "the " + kind + " arrays are " + list;
}

void CheckComponents(std::string const& name, std::uint64_t components, std::uint64_t values) {
    constexpr std::uint64_t most_without_values = 65536;
    if (components > std::max(values, most_without_values))
        throw Error("the array \"" + name + "\" announces " + std::to_string(components) +
                    " components, but " + std::to_string(values) + " values");
}

void CheckShape(vtkDataArray& array, vtkIdType count) {
    if (array.GetNumberOfComponents() != 1)
        throw Error(Quoted(array) + " has " + std::to_string(array.GetNumberOfComponents()) +
                    " components instead of one");
    if (array.GetNumberOfTuples() != count)
        throw Error(Quoted(array) + " has " + std::to_string(array.GetNumberOfTuples()) +
                    " values instead of " + std::to_string(count));
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

} // namespace KetSDK::MeshVTK
