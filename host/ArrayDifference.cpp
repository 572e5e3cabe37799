#include <host/ArrayDifference.h>

#include <vtkAbstractArray.h>
#include <vtkBitArray.h>
#include <vtkCellData.h>
#include <vtkDataArray.h>
#include <vtkFieldData.h>
#include <vtkPointData.h>
#include <vtkStringArray.h>
#include <vtkType.h>
#include <vtkUnstructuredGrid.h>
#include <vtkVariant.h>

#include <charconv>
#include <cstddef>
#include <cstring>

namespace ketmesh {

namespace {

using Difference = std::optional<std::string>;

// The arrays of one place: "cell", with "element" for what a row of them belongs to.
struct Place {
    char const* kind;
    char const* row;
};

template <typename Float>
std::string FewestDigits(Float value) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

std::string ValueText(vtkAbstractArray& array, vtkIdType i) {
    switch (array.GetDataType()) {
    case VTK_FLOAT:
        return FewestDigits(array.GetVariantValue(i).ToFloat());
    case VTK_DOUBLE:
        return FewestDigits(array.GetVariantValue(i).ToDouble());
    case VTK_CHAR: // no letters
    case VTK_SIGNED_CHAR:
    case VTK_UNSIGNED_CHAR:
        return std::to_string(array.GetVariantValue(i).ToInt());
    case VTK_STRING:
        return '"' + array.GetVariantValue(i).ToString() + '"';
    default:
        return array.GetVariantValue(i).ToString();
    }
}

// Whether the values are of one type, whatever VTK class holds them: "long" and "long long" are one.
bool AreOfOneType(vtkAbstractArray& a, vtkAbstractArray& b) {
    auto const is_plain_whole = [](vtkAbstractArray& array) {
        int const type = array.GetDataType();
        return vtkDataArray::SafeDownCast(&array) && type != VTK_FLOAT && type != VTK_DOUBLE &&
               type != VTK_ID_TYPE && type != VTK_BIT;
    };
    if (!is_plain_whole(a) || !is_plain_whole(b))
        return a.GetDataType() == b.GetDataType();
    auto const is_signed = [](vtkAbstractArray& array) {
        return vtkDataArray::SafeDownCast(&array)->GetDataTypeMin() < 0.0;
    };
    return a.GetDataTypeSize() == b.GetDataTypeSize() && is_signed(a) == is_signed(b);
}

// The first value that differs, of arrays of one type and length; -1 when none does.
vtkIdType FirstDifferentValue(vtkAbstractArray& a, vtkAbstractArray& b) {
    vtkIdType const count = a.GetNumberOfValues();
    bool const are_plain = vtkDataArray::SafeDownCast(&a) && !vtkBitArray::SafeDownCast(&a);
    auto const* const p = are_plain ? static_cast<char const*>(a.GetVoidPointer(0)) : nullptr;
    auto const* const q = are_plain ? static_cast<char const*>(b.GetVoidPointer(0)) : nullptr;
    auto const size = static_cast<std::size_t>(a.GetDataTypeSize());
    for (vtkIdType i = 0; i < count; ++i) {
        std::size_t const at = static_cast<std::size_t>(i) * size;
        if (are_plain ? std::memcmp(p + at, q + at, size) != 0 : a.GetVariantValue(i) != b.GetVariantValue(i))
            return i;
    }
    return -1;
}

Difference CompareArrays(Place const& place, vtkAbstractArray& a, vtkAbstractArray& b) {
    std::string const what = std::string("the ") + place.kind + " array \"" + a.GetName() + '"';
    if (!AreOfOneType(a, b))
        return what + " holds values of type " + a.GetDataTypeAsString() + " and " + b.GetDataTypeAsString();
    if (a.GetNumberOfComponents() != b.GetNumberOfComponents())
        return what + " has " + std::to_string(a.GetNumberOfComponents()) + " and " +
               std::to_string(b.GetNumberOfComponents()) + " components";
    if (a.GetNumberOfValues() != b.GetNumberOfValues())
        return what + " has " + std::to_string(a.GetNumberOfValues()) + " and " +
               std::to_string(b.GetNumberOfValues()) + " values";
    vtkIdType const i = FirstDifferentValue(a, b);
    if (i < 0)
        return std::nullopt;
    std::string const one = ValueText(a, i), other = ValueText(b, i);
    int const components = a.GetNumberOfComponents();
    return std::string(place.row) + ' ' + std::to_string(i / components) + ": " + what +
           (components > 1 ? " has as component " + std::to_string(i % components) : std::string(" has")) +
           ' ' + one + " and " + other + (one == other ? " with other bits" : "");
}

Difference ComparePlace(Place const& place, vtkFieldData& a, vtkFieldData& b) {
    auto const only_in = [&place](vtkFieldData& arrays, vtkFieldData& other,
                                  char const* which) -> Difference {
        for (int i = 0; i < arrays.GetNumberOfArrays(); ++i)
            if (char const* const name = arrays.GetArrayName(i); name && !other.HasArray(name))
                return std::string("the ") + place.kind + " array \"" + name + "\" is in the " + which +
                       " file only";
        return std::nullopt;
    };
    Difference found = only_in(a, b, "first");
    if (!found)
        found = only_in(b, a, "second");
    for (int i = 0; !found && i < a.GetNumberOfArrays(); ++i)
        if (char const* const name = a.GetArrayName(i))
            found = CompareArrays(place, *a.GetAbstractArray(i), *b.GetAbstractArray(name));
    return found;
}

} // namespace

std::optional<std::string> FindArrayDifference(vtkUnstructuredGrid& a, vtkUnstructuredGrid& b) {
    Difference found = ComparePlace({"cell", "element"}, *a.GetCellData(), *b.GetCellData());
    if (!found)
        found = ComparePlace({"point", "node"}, *a.GetPointData(), *b.GetPointData());
    if (!found)
        found = ComparePlace({"field", "row"}, *a.GetFieldData(), *b.GetFieldData());
    return found;
}

} // namespace ketmesh
