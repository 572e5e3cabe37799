// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/detail/NamesInFiles.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/Text.h>

#include <vtkAbstractArray.h>
#include <vtkCellData.h>
#include <vtkDataArray.h>
#include <vtkDataSet.h>
#include <vtkDataSetAttributes.h>
#include <vtkFieldData.h>
#include <vtkPointData.h>
#include <vtkSmartPointer.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

namespace {

constexpr std::string_view CannotHold = "\", which this format cannot hold; .kmesh files can";

std::array<vtkFieldData*, 3> ArraysOf(vtkDataSet& data) {
    return {data.GetPointData(), data.GetCellData(), data.GetFieldData()};
}

std::string NameOf(vtkAbstractArray& array) {
    std::string const name = array.GetName() ? array.GetName() : "";
    if (name.empty())
        throw Error("an array has no name, which this format cannot hold; .kmesh files can");
    return name;
}

std::string ComponentNameOf(vtkAbstractArray& array, int component) {
    char const* const name = array.GetComponentName(component);
    return name ? name : "";
}

bool IsXmlText(std::string_view text) {
    std::wstring const characters = FromUtf8(text);
    bool const has_other = std::ranges::any_of(characters, [](wchar_t c) {
        bool const is_space = c == L'\t' || c == L'\n' || c == L'\r';
        return (c < 0x20 && !is_space) || c == 0xFFFE || c == 0xFFFF;
    });
    return !has_other && ToUtf8(characters) == text;
}

// As the value of an attribute, which readers would tidy up unless its spaces are escaped.
std::string XmlValue(std::string const& name) {
    if (!IsXmlText(name))
        throw Error("an array or component is called \"" + Printable(name) + std::string(CannotHold));
    std::string value;
    for (char const c : name)
        if (std::string_view("&<>\"\t\n\r").find(c) == std::string_view::npos)
            value += c;
        else
            value += "&#" + std::to_string(int{c}) + ";";
    return value;
}

vtkSmartPointer<vtkAbstractArray> SharingValuesOf(vtkAbstractArray& array) {
    auto copy = vtk::TakeSmartPointer(array.NewInstance());
    if (auto* const numbers = vtkDataArray::SafeDownCast(copy))
        numbers->ShallowCopy(vtkDataArray::SafeDownCast(&array));
    else
        copy->DeepCopy(&array);
    return copy;
}

vtkSmartPointer<vtkAbstractArray> WithXmlNames(vtkAbstractArray& array) {
    vtkSmartPointer<vtkAbstractArray> escaped = &array;
    auto const own = [&] {
        if (escaped == &array)
            escaped = SharingValuesOf(array);
        return escaped;
    };
    std::string const name = NameOf(array);
    if (std::string const value = XmlValue(name); value != name)
        own()->SetName(value.c_str());
    for (int i = 0; array.HasAComponentName() && i < array.GetNumberOfComponents(); ++i) {
        std::string const component = ComponentNameOf(array, i);
        if (std::string const value = XmlValue(component); value != component)
            own()->SetComponentName(i, value.c_str());
    }
    return escaped;
}

// Replaces all arrays by others, in the same order; the active ones stay active.
void Replace(vtkFieldData& arrays, std::vector<vtkSmartPointer<vtkAbstractArray>> const& others) {
    auto* const attributes = vtkDataSetAttributes::SafeDownCast(&arrays);
    std::array<int, vtkDataSetAttributes::NUM_ATTRIBUTES> active{};
    if (attributes)
        attributes->GetAttributeIndices(active.data());
    while (arrays.GetNumberOfArrays() > 0)
        arrays.RemoveArray(arrays.GetNumberOfArrays() - 1);
    for (auto const& array : others)
        arrays.AddArray(array);
    for (int type = 0; attributes && type < vtkDataSetAttributes::NUM_ATTRIBUTES; ++type)
        if (int const index = active[static_cast<std::size_t>(type)]; index >= 0)
            attributes->SetActiveAttribute(index, type);
}

// How many characters VTK makes of a name in a .vtk file.
std::size_t LengthInLegacyFile(std::string_view name) {
    std::size_t length = 0;
    for (char const c : name)
        length += c < 33 || c > 126 || c == '"' || c == '%' ? 3 : 1; // %XX
    return length;
}

} // namespace

void EscapeNamesForXml(vtkDataSet& data) {
    for (vtkFieldData* const arrays : ArraysOf(data)) {
        std::vector<vtkSmartPointer<vtkAbstractArray>> escaped;
        bool has_other = false;
        for (int i = 0; i < arrays->GetNumberOfArrays(); ++i) {
            escaped.push_back(WithXmlNames(*arrays->GetAbstractArray(i)));
            has_other = has_other || escaped.back() != arrays->GetAbstractArray(i);
        }
        if (has_other)
            Replace(*arrays, escaped);
    }
}

void CheckNamesForLegacyFile(vtkDataSet& data) {
    constexpr std::size_t longest = 255;
    auto const check = [](std::string const& name) {
        if (LengthInLegacyFile(name) > longest)
            throw Error("an array or component is called \"" + Printable(name.substr(0, 32)) +
                        "...\", whose " + std::to_string(name.size()) +
                        " bytes are more than this format can hold; .vtu files can");
    };
    for (vtkFieldData* const arrays : ArraysOf(data))
        for (int i = 0; i < arrays->GetNumberOfArrays(); ++i) {
            vtkAbstractArray& array = *arrays->GetAbstractArray(i);
            check(NameOf(array));
            for (int k = 0; array.HasAComponentName() && k < array.GetNumberOfComponents(); ++k)
                check(ComponentNameOf(array, k));
        }
}

} // namespace KetSDK::MeshVTK::Detail
