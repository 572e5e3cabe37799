// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/detail/ArrayCoding.h>

#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/MeshVTK/detail/ArrayDescription.h>
#include <KetSDK/MeshVTK/detail/ArrayValues.h>
#include <KetSDK/Support/ParallelWork.h>

#include <vtkBitArray.h>
#include <vtkDataArray.h>
#include <vtkStringArray.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

namespace {

// The types of values by the names that MMeshArray has for them.
struct ValueType {
    wchar_t const* name;
    int type; // VTK's number of it
};
constexpr ValueType ValueTypes[] = {
    {L"int8", VTK_TYPE_INT8},
    {L"uint8", VTK_TYPE_UINT8},
    {L"int16", VTK_TYPE_INT16},
    {L"uint16", VTK_TYPE_UINT16},
    {L"int32", VTK_TYPE_INT32},
    {L"uint32", VTK_TYPE_UINT32},
    {L"int64", VTK_TYPE_INT64},
    {L"uint64", VTK_TYPE_UINT64},
    {L"float32", VTK_TYPE_FLOAT32},
    {L"float64", VTK_DOUBLE},
    {L"id", VTK_ID_TYPE},
    {L"bit", VTK_BIT},
    // The others of C++'s types: legacy files tell them apart.
    {L"char", VTK_CHAR},
    {L"long", VTK_LONG},
    {L"unsigned_long", VTK_UNSIGNED_LONG},
    {L"long_long", VTK_LONG_LONG},
    {L"unsigned_long_long", VTK_UNSIGNED_LONG_LONG},
};

bool IsFloat(int type) {
    return type == VTK_FLOAT || type == VTK_DOUBLE;
}

wchar_t const* TypeName(vtkDataArray& array) {
    for (ValueType const& known : ValueTypes)
        if (known.type == array.GetDataType())
            return known.name;
    throw Error(Quoted(array) + " holds values of " + array.GetDataTypeAsString() +
                ", which mesh files cannot hold");
}

// --- Floats as doubles, with the bits of a NaN ----------------------------------------------------------

constexpr unsigned int MantissaShift = 52 - 23;

double Widened(float nan) {
    auto const bits = std::bit_cast<std::uint32_t>(nan);
    std::uint64_t const sign = std::uint64_t{bits >> 31} << 63;
    std::uint64_t const mantissa = std::uint64_t{bits & 0x007FFFFFU} << MantissaShift;
    return std::bit_cast<double>(sign | 0x7FF0000000000000U | mantissa);
}

float Narrowed(double nan) {
    auto const bits = std::bit_cast<std::uint64_t>(nan);
    auto const sign = static_cast<std::uint32_t>(bits >> 63) << 31;
    auto const mantissa = static_cast<std::uint32_t>((bits & 0x000FFFFFFFFFFFFFU) >> MantissaShift);
    // A NaN that was no float's may have none of these bits.
    return std::bit_cast<float>(sign | 0x7F800000U | (mantissa != 0 ? mantissa : 0x00400000U));
}

// --- From VTK -------------------------------------------------------------------------------------------

void TakeFloats(std::vector<double>& out, double const* values, std::size_t count) {
    out.assign(values, values + count);
}

void TakeFloats(std::vector<double>& out, float const* values, std::size_t count) {
    out.assign(values, values + count);
    for (std::size_t i = 0; i < count; ++i)
        if (values[i] != values[i]) // the processor makes signalling NaN quiet when it converts them
            out[i] = Widened(values[i]);
}

template <typename T>
void TakeNumbers(MMeshArray& array, T const* values, std::size_t count) {
    if constexpr (std::is_floating_point_v<T>) {
        TakeFloats(array.values.emplace<std::vector<double>>(), values, count);
    } else if (std::all_of(values, values + count, [](T v) { return std::in_range<std::int32_t>(+v); })) {
        auto& numbers = array.values.emplace<std::vector<std::int32_t>>(count);
        std::transform(values, values + count, numbers.begin(),
                       [](T v) { return static_cast<std::int32_t>(v); });
    } else {
        auto& halves = array.values.emplace<std::vector<std::int32_t>>(2 * count);
        for (std::size_t i = 0; i < count; ++i) {
            auto const bits = static_cast<std::uint64_t>(values[i]);
            halves[2 * i] = static_cast<std::int32_t>(static_cast<std::uint32_t>(bits));
            halves[2 * i + 1] = static_cast<std::int32_t>(static_cast<std::uint32_t>(bits >> 32));
        }
        array.components *= 2;
        AddWord(array, MMeshArrayHalves);
    }
}

void TakeNumbers(MMeshArray& array, vtkDataArray& numbers) {
    array.components = static_cast<std::uint32_t>(numbers.GetNumberOfComponents());
    array.type = TypeName(numbers);
    auto const count = static_cast<std::size_t>(numbers.GetNumberOfValues());
    if (auto* const bits = vtkBitArray::SafeDownCast(&numbers)) {
        auto& values = array.values.emplace<std::vector<std::int32_t>>(count);
        for (std::size_t i = 0; i < count; ++i)
            values[i] = bits->GetValue(static_cast<vtkIdType>(i));
        return;
    }
    switch (numbers.GetDataType()) {
        vtkTemplateMacro(TakeNumbers(array, static_cast<VTK_TT const*>(numbers.GetVoidPointer(0)), count));
    }
}

void TakeStrings(MMeshArray& array, vtkStringArray& strings) {
    array.type = MMeshArrayString;
    AddWord(array, PlaceWord(array.place));
    array.place = MMeshArray::OnMesh;
    auto& bytes = array.values.emplace<std::vector<std::int32_t>>();
    bytes.push_back(strings.GetNumberOfComponents());
    for (vtkIdType i = 0; i < strings.GetNumberOfValues(); ++i) {
        for (char const byte : strings.GetValue(i))
            bytes.push_back(static_cast<unsigned char>(byte));
        bytes.push_back(0);
    }
}

// --- To VTK ---------------------------------------------------------------------------------------------

template <typename T, typename V>
void GiveNumbers(T* out, std::vector<V> const& values, bool parallel) {
    auto const given = [](V v) {
        if constexpr (std::is_same_v<T, float> && std::is_same_v<V, double>)
            return v == v ? static_cast<float>(v) : Narrowed(v);
        else
            return static_cast<T>(v);
    };
    V const* const from = values.data();
    Support::ComputeSteps({.items = values.size(), .step = 65536, .parallel = parallel},
                          [&](std::uint64_t first, std::uint64_t last) {
                              std::transform(from + first, from + last, out + first, given);
                          });
}

template <typename T>
void GiveHalves(T* out, std::vector<std::int32_t> const& values) {
    auto const half = [&values](std::size_t i) {
        return std::uint64_t{static_cast<std::uint32_t>(values[i])};
    };
    for (std::size_t i = 0; i + 1 < values.size(); i += 2)
        *out++ = static_cast<T>(half(i) | half(i + 1) << 32);
}

// VTK's type for the values of an array.
int TypeOf(MMeshArray const& array, bool are_doubles) {
    std::wstring const name = WordsOfType(array).front();
    for (ValueType const& known : ValueTypes)
        if (name == known.name && IsFloat(known.type) == are_doubles)
            return known.type;
    return are_doubles ? VTK_DOUBLE : VTK_INT;
}

template <typename V>
vtkSmartPointer<vtkAbstractArray> MakeNumbers(MMeshArray const& array, std::vector<V> const& values,
                                              ArrayRoom& room, bool parallel) {
    constexpr bool are_doubles = std::is_same_v<V, double>;
    int const type = TypeOf(array, are_doubles);
    auto numbers = vtkSmartPointer<vtkDataArray>::Take(vtkDataArray::CreateDataArray(type));
    numbers->SetNumberOfComponents(static_cast<int>(ValuesPerRow(array)));
    numbers->SetNumberOfTuples(static_cast<vtkIdType>(NumberOfRows(array)));
    room.Take(*numbers);
    if (auto* const bits = vtkBitArray::SafeDownCast(numbers)) {
        for (std::size_t i = 0; i < values.size(); ++i)
            bits->SetValue(static_cast<vtkIdType>(i), values[i] != 0);
        return numbers;
    }
    if constexpr (!are_doubles)
        if (HoldsHalves(array)) {
            switch (type) {
                vtkTemplateMacro(GiveHalves(static_cast<VTK_TT*>(numbers->GetVoidPointer(0)), values));
            }
            return numbers;
        }
    switch (type) {
        vtkTemplateMacro(GiveNumbers(static_cast<VTK_TT*>(numbers->GetVoidPointer(0)), values, parallel));
    }
    return numbers;
}

vtkSmartPointer<vtkAbstractArray> MakeStrings(MMeshArray const& array,
                                              std::vector<std::int32_t> const& values) {
    auto strings = vtkSmartPointer<vtkStringArray>::New();
    strings->SetNumberOfComponents(static_cast<int>(ValuesPerRow(array)));
    std::string text;
    for (std::size_t i = 1; i < values.size(); ++i) {
        if (values[i] != 0)
            text.push_back(static_cast<char>(values[i]));
        else
            strings->InsertNextValue(std::exchange(text, {}));
    }
    return strings;
}

template <typename V>
vtkSmartPointer<vtkAbstractArray> MakeArray(MMeshArray const& array, std::vector<V> const& values,
                                            ArrayRoom& room, bool parallel) {
    CheckArray(array);
    if constexpr (std::is_same_v<V, std::int32_t>)
        if (HoldsStrings(array))
            return MakeStrings(array, values);
    return MakeNumbers(array, values, room, parallel);
}

} // namespace

MMeshArray ArrayFromVtk(vtkAbstractArray& source, MMeshArray::Place place) {
    MMeshArray array;
    array.place = place;
    array.name = FromUtf8(source.GetName() ? source.GetName() : "");
    if (auto* const numbers = vtkDataArray::SafeDownCast(&source))
        TakeNumbers(array, *numbers);
    else if (auto* const strings = vtkStringArray::SafeDownCast(&source))
        TakeStrings(array, *strings);
    else
        throw Error(Quoted(source) + " holds neither numbers nor strings; mesh files cannot hold it");
    DescribeArray(source, array);
    return array;
}

vtkSmartPointer<vtkAbstractArray> ArrayToVtk(MMeshArray const& array, ArrayRoom& room, bool parallel) {
    vtkSmartPointer<vtkAbstractArray> made = std::visit(
        [&](auto const& values) { return MakeArray(array, values, room, parallel); }, array.values);
    ApplyDescription(array, *made);
    return made;
}

} // namespace KetSDK::MeshVTK::Detail
