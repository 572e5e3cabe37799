#include <KetSDK/MeshVTK/MeshArrays.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/MeshVTK/detail/ArrayValues.h>

#include <vtkBitArray.h>
#include <vtkCellData.h>
#include <vtkDataArray.h>
#include <vtkFieldData.h>
#include <vtkPointData.h>
#include <vtkSmartPointer.h>
#include <vtkStringArray.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

namespace KetSDK::MeshVTK {

namespace {

// How an array is told in the type of an MMeshArray: words with spaces between them. The first is the type
// of the values, from the table below or "string"; the others are Halves, where strings belong, and what
// VTK's active array the array is ("Scalars").

struct ValueType {
    char const* name;
    int type; // VTK's number of it, as its readers give it
};
constexpr ValueType ValueTypes[] = {
    {"int8", VTK_TYPE_INT8},     {"uint8", VTK_TYPE_UINT8},   {"int16", VTK_TYPE_INT16},
    {"uint16", VTK_TYPE_UINT16}, {"int32", VTK_TYPE_INT32},   {"uint32", VTK_TYPE_UINT32},
    {"int64", VTK_TYPE_INT64},   {"uint64", VTK_TYPE_UINT64}, {"float32", VTK_TYPE_FLOAT32},
    {"float64", VTK_DOUBLE},     {"id", VTK_ID_TYPE},         {"bit", VTK_BIT},
};

// Whole numbers beyond 32 bits stand as two components each, the lower half first.
constexpr char const* Halves = "halves";

// Strings stand as the number of their components and then their bytes, each string with a 0 behind it. They
// lie with the mesh as a whole, wherever they belong.
constexpr char const* String = "string";
constexpr char const* PlaceNames[] = {"points", "cells", "field"}; // by MMeshArray::Place

using Words = std::vector<std::string>;

Words WordsOf(std::wstring const& type) {
    std::string const text = ToUtf8(type);
    Words words;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const end = std::min(text.find(' ', at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return words;
}

bool Contains(Words const& words, char const* word) {
    return std::ranges::find(words, word) != words.end();
}

// The type whose values these are, whatever VTK class holds them: "long" and "long long" are one.
char const* TypeName(vtkDataArray& array) {
    int const type = array.GetDataType();
    bool const is_signed = array.GetDataTypeMin() < 0.0;
    bool const is_whole = type != VTK_FLOAT && type != VTK_DOUBLE && type != VTK_ID_TYPE && type != VTK_BIT;
    for (ValueType const& known : ValueTypes)
        if (known.type == type || (is_whole && known.name[0] == (is_signed ? 'i' : 'u') &&
                                   vtkDataArray::GetDataTypeSize(known.type) == array.GetDataTypeSize()))
            return known.name;
    throw Error("the array \"" + std::string(array.GetName() ? array.GetName() : "") + "\" holds values of " +
                array.GetDataTypeAsString() + ", which mesh files cannot hold");
}

// --- From VTK ----------------------------------------------------------------------------------------

template <typename T>
void TakeNumbers(MMeshArray& array, T const* values, std::size_t count) {
    using Whole = std::vector<std::int32_t>;
    if constexpr (std::is_floating_point_v<T>) {
        array.values = std::vector<double>(values, values + count);
    } else if (std::all_of(values, values + count, [](T v) { return std::in_range<std::int32_t>(+v); })) {
        Whole numbers(count);
        std::transform(values, values + count, numbers.begin(),
                       [](T v) { return static_cast<std::int32_t>(v); });
        array.values = std::move(numbers);
    } else {
        Whole halves;
        halves.reserve(2 * count);
        for (std::size_t i = 0; i < count; ++i) {
            auto const bits = static_cast<std::uint64_t>(values[i]);
            halves.push_back(static_cast<std::int32_t>(static_cast<std::uint32_t>(bits)));
            halves.push_back(static_cast<std::int32_t>(static_cast<std::uint32_t>(bits >> 32)));
        }
        array.values = std::move(halves);
        array.components *= 2;
        array.type += FromUtf8(std::string(" ") + Halves);
    }
}

void TakeNumbers(MMeshArray& array, vtkDataArray& numbers) {
    array.components = static_cast<std::uint32_t>(numbers.GetNumberOfComponents());
    array.type = FromUtf8(TypeName(numbers));
    auto const count = static_cast<std::size_t>(numbers.GetNumberOfValues());
    if (auto* const bits = vtkBitArray::SafeDownCast(&numbers)) {
        std::vector<unsigned char> values(count);
        for (std::size_t i = 0; i < count; ++i)
            values[i] = static_cast<unsigned char>(bits->GetValue(static_cast<vtkIdType>(i)));
        TakeNumbers(array, values.data(), count);
        return;
    }
    switch (numbers.GetDataType()) {
        vtkTemplateMacro(TakeNumbers(array, static_cast<VTK_TT const*>(numbers.GetVoidPointer(0)), count));
    }
}

void TakeStrings(MMeshArray& array, vtkStringArray& strings) {
    array.type = FromUtf8(std::string(String) + ' ' + PlaceNames[array.place]);
    array.place = MMeshArray::OnMesh;
    std::vector<std::int32_t> bytes = {strings.GetNumberOfComponents()};
    for (vtkIdType i = 0; i < strings.GetNumberOfValues(); ++i) {
        for (char const byte : strings.GetValue(i))
            bytes.push_back(static_cast<unsigned char>(byte));
        bytes.push_back(0);
    }
    array.values = std::move(bytes);
}

void TakeArrays(std::vector<MMeshArray>& out, MMeshArray::Place place, vtkFieldData& arrays) {
    auto* const attributes = vtkDataSetAttributes::SafeDownCast(&arrays);
    for (int i = 0; i < arrays.GetNumberOfArrays(); ++i) {
        vtkAbstractArray& source = *arrays.GetAbstractArray(i);
        MMeshArray array;
        array.place = place;
        array.name = FromUtf8(source.GetName() ? source.GetName() : "");
        if (auto* const numbers = vtkDataArray::SafeDownCast(&source))
            TakeNumbers(array, *numbers);
        else if (auto* const strings = vtkStringArray::SafeDownCast(&source))
            TakeStrings(array, *strings);
        else
            throw Error("the array \"" + ToUtf8(array.name) +
                        "\" holds neither numbers nor strings; mesh files cannot hold it");
        if (int const active = attributes ? attributes->IsArrayAnAttribute(i) : -1; active >= 0)
            array.type += FromUtf8(std::string(" ") + vtkDataSetAttributes::GetAttributeTypeAsString(active));
        out.push_back(std::move(array));
    }
}

// --- To VTK ------------------------------------------------------------------------------------------

template <typename T, typename V>
void GiveNumbers(T* out, std::vector<V> const& values, bool are_halves) {
    if (!are_halves) {
        std::transform(values.begin(), values.end(), out, [](V v) { return static_cast<T>(v); });
        return;
    }
    auto const half = [&values](std::size_t i) {
        return std::uint64_t{static_cast<std::uint32_t>(static_cast<std::int32_t>(values[i]))};
    };
    for (std::size_t i = 0; i + 1 < values.size(); i += 2)
        *out++ = static_cast<T>(half(i) | half(i + 1) << 32);
}

template <typename V>
vtkSmartPointer<vtkAbstractArray> GiveNumbers(MMeshArray const& array, std::vector<V> const& values,
                                              Words const& words) {
    constexpr bool are_doubles = std::is_same_v<V, double>;
    int type = are_doubles ? VTK_DOUBLE : VTK_INT; // of an array that somebody else wrote
    for (ValueType const& known : ValueTypes) {
        bool const is_float = known.type == VTK_FLOAT || known.type == VTK_DOUBLE;
        if (words.front() == known.name && is_float == are_doubles)
            type = known.type;
    }
    bool const are_halves = !are_doubles && array.components % 2 == 0 && Contains(words, Halves);
    auto numbers = vtkSmartPointer<vtkDataArray>::Take(vtkDataArray::CreateDataArray(type));
    numbers->SetNumberOfComponents(static_cast<int>(are_halves ? array.components / 2 : array.components));
    numbers->SetNumberOfTuples(static_cast<vtkIdType>(values.size() / array.components));
    if (auto* const bits = vtkBitArray::SafeDownCast(numbers)) {
        for (std::size_t i = 0; i < values.size(); ++i)
            bits->SetValue(static_cast<vtkIdType>(i), values[i] != 0);
        return numbers;
    }
    switch (type) {
        vtkTemplateMacro(GiveNumbers(static_cast<VTK_TT*>(numbers->GetVoidPointer(0)), values, are_halves));
    }
    return numbers;
}

vtkSmartPointer<vtkAbstractArray> GiveStrings(std::string const& name,
                                              std::vector<std::int32_t> const& values) {
    auto strings = vtkSmartPointer<vtkStringArray>::New();
    int const components = std::max(values.empty() ? 1 : values.front(), 1);
    Detail::CheckComponents(name, static_cast<std::uint64_t>(components), values.size());
    strings->SetNumberOfComponents(components);
    std::string text;
    for (std::size_t i = 1; i < values.size(); ++i) {
        if (values[i] != 0)
            text.push_back(static_cast<char>(values[i]));
        else
            strings->InsertNextValue(std::exchange(text, {}));
    }
    return strings;
}

vtkSmartPointer<vtkAbstractArray> MakeArray(MMeshArray const& array, Words const& words) {
    return std::visit(
        [&](auto const& values) -> vtkSmartPointer<vtkAbstractArray> {
            Detail::CheckComponents(ToUtf8(array.name), array.components, values.size());
            if (array.components < 1 || values.size() % array.components != 0)
                throw Error("the array \"" + ToUtf8(array.name) + "\" holds " +
                            std::to_string(values.size()) + " values in rows of " +
                            std::to_string(array.components));
            if constexpr (std::is_same_v<std::vector<std::int32_t>, std::remove_cvref_t<decltype(values)>>)
                if (words.front() == String)
                    return GiveStrings(ToUtf8(array.name), values);
            return GiveNumbers(array, values, words);
        },
        array.values);
}

// Where an array belongs.
MMeshArray::Place PlaceOf(MMeshArray const& array, Words const& words) {
    if (words.front() == String)
        for (int place : {MMeshArray::OnNodes, MMeshArray::OnElements})
            if (Contains(words, PlaceNames[place]))
                return static_cast<MMeshArray::Place>(place);
    return array.place;
}

void AddArray(vtkFieldData& arrays, vtkAbstractArray& array, Words const& words) {
    int const index = arrays.AddArray(&array);
    auto* const attributes = vtkDataSetAttributes::SafeDownCast(&arrays);
    for (int active = 0; attributes && active < vtkDataSetAttributes::NUM_ATTRIBUTES; ++active)
        if (Contains(words, vtkDataSetAttributes::GetAttributeTypeAsString(active)))
            attributes->SetActiveAttribute(index, active);
}

} // namespace

std::vector<MMeshArray> ArraysFromGrid(MMeshBase const& mesh, vtkUnstructuredGrid& grid) {
    auto const source = ArraysBesideMesh(mesh, grid);
    std::vector<MMeshArray> arrays;
    TakeArrays(arrays, MMeshArray::OnElements, *source->GetCellData());
    TakeArrays(arrays, MMeshArray::OnNodes, *source->GetPointData());
    TakeArrays(arrays, MMeshArray::OnMesh, *source->GetFieldData());
    return arrays;
}

void AddArrays(vtkUnstructuredGrid& grid, std::vector<MMeshArray> const& arrays) {
    struct Place {
        vtkFieldData* arrays;
        vtkIdType tuples; // -1: any number
    };
    Place const places[] = {{grid.GetPointData(), grid.GetNumberOfPoints()},
                            {grid.GetCellData(), grid.GetNumberOfCells()},
                            {grid.GetFieldData(), -1}};
    for (MMeshArray const& array : arrays) {
        Words words = WordsOf(array.type);
        words.resize(std::max<std::size_t>(words.size(), 1));
        std::string const name = ToUtf8(array.name);
        Place const& place = places[PlaceOf(array, words)];
        if (!name.empty() && place.arrays->HasArray(name.c_str()))
            continue;
        auto const made = MakeArray(array, words);
        if (place.tuples >= 0 && made->GetNumberOfTuples() != place.tuples)
            throw Error("the array \"" + name + "\" holds " + std::to_string(made->GetNumberOfTuples()) +
                        " values instead of " + std::to_string(place.tuples));
        if (!name.empty())
            made->SetName(name.c_str());
        AddArray(*place.arrays, *made, words);
    }
}

} // namespace KetSDK::MeshVTK
