// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/persistence/MMeshArrayDifference.h>

#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/Mesh/persistence/detail/ValueWords.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <utility>

using namespace KetSDK::Mesh::Detail;

namespace {

using Difference = std::optional<std::string>;
using Arrays = std::vector<MMeshArray>;
using Doubles = std::vector<double>;
using Integers = std::vector<std::int32_t>;

// The arrays of one place: "cell", with "element" for what a row of them belongs to.
struct Place {
    MMeshArray::Place place;
    char const* kind;
    char const* row;
};
constexpr Place Places[] = {{MMeshArray::OnElements, "cell", "element"},
                            {MMeshArray::OnNodes, "point", "node"},
                            {MMeshArray::OnMesh, "field", "row"}};

// What users call the types of values.
struct ValueType {
    wchar_t const* name;
    char const* words;
};
constexpr ValueType FloatTypes[] = {{L"float64", "double"}, {L"float32", "float"}};
constexpr ValueType WholeTypes[] = {{L"int32", "int"},           {L"uint32", "unsigned int"},
                                    {L"int8", "signed char"},    {L"uint8", "unsigned char"},
                                    {L"int16", "short"},         {L"uint16", "unsigned short"},
                                    {L"int64", "long long"},     {L"uint64", "unsigned long long"},
                                    {L"id", "vtkIdType"},        {L"bit", "bit"},
                                    {MMeshArrayString, "string"}};

// Of an array that says no known one, the first that fits.
ValueType const& TypeOf(MMeshArray const& array) {
    std::wstring const name = WordsOfType(array).front();
    auto const find = [&name](auto const& types) -> ValueType const& {
        auto const found = std::ranges::find(types, name, &ValueType::name);
        return found == std::end(types) ? types[0] : *found;
    };
    return std::holds_alternative<Doubles>(array.values) ? find(FloatTypes) : find(WholeTypes);
}

// The values of an array of numbers, each as 64 bits: those of a double, or a whole number.
class Numbers {
public:
    explicit Numbers(MMeshArray const& array)
        : m_type(TypeOf(array).name)
        , m_doubles(std::get_if<Doubles>(&array.values))
        , m_integers(std::get_if<Integers>(&array.values))
        , m_halves(HoldsHalves(array)) {}

    std::size_t size() const {
        return m_doubles ? m_doubles->size() : m_integers->size() / (m_halves ? 2 : 1);
    }
    std::uint64_t operator[](std::size_t i) const {
        if (m_doubles)
            return std::bit_cast<std::uint64_t>((*m_doubles)[i]);
        if (!m_halves)
            return static_cast<std::uint64_t>(std::int64_t{(*m_integers)[i]});
        return std::uint64_t{static_cast<std::uint32_t>((*m_integers)[2 * i])} |
               std::uint64_t{static_cast<std::uint32_t>((*m_integers)[2 * i + 1])} << 32;
    }
    std::string GetWords(std::size_t i) const {
        std::uint64_t const bits = (*this)[i];
        if (m_doubles)
            return m_type == L"float32" ? InWords(static_cast<float>(std::bit_cast<double>(bits)))
                                        : InWords(std::bit_cast<double>(bits));
        return m_type.starts_with(L'u') ? InWords(bits) : InWords(static_cast<std::int64_t>(bits));
    }

private:
    std::wstring_view m_type;
    Doubles const* m_doubles;
    Integers const* m_integers;
    bool m_halves;
};

// The values of an array of strings.
class Strings {
public:
    explicit Strings(MMeshArray const& array)
        : m_strings(StringsOf(array)) {}

    std::size_t size() const { return m_strings.size(); }
    std::string const& operator[](std::size_t i) const { return m_strings[i]; }
    std::string GetWords(std::size_t i) const { return '"' + m_strings[i] + '"'; }

private:
    std::vector<std::string> m_strings;
};

// Compares arrays of one type and shape.
template <typename Values>
Difference CompareValues(Place const& place, std::string const& what, std::uint32_t in_row, Values const& a,
                         Values const& b) {
    if (a.size() != b.size())
        return what + " has " + InWords(a.size()) + " and " + InWords(b.size()) + " values";
    std::size_t i = 0;
    while (i < a.size() && a[i] == b[i])
        ++i;
    if (i == a.size())
        return std::nullopt;
    std::string const one = a.GetWords(i), other = b.GetWords(i);
    return std::string(place.row) + ' ' + InWords(i / in_row) + ": " + what +
           (in_row > 1 ? " has as component " + InWords(i % in_row) : std::string(" has")) + ' ' + one +
           " and " + other + (one == other ? " with other bits" : "");
}

std::string Name(Place const& place, MMeshArray const& array) {
    return std::string("the ") + place.kind + " array " + InWords(array.name);
}

// Whether numbers of two types that differ are the same numbers.
bool AreEqualNumbers(MMeshArray const& a, MMeshArray const& b) {
    if (HoldsStrings(a) || HoldsStrings(b) || ValuesPerRow(a) != ValuesPerRow(b) ||
        NumberOfRows(a) != NumberOfRows(b))
        return false;
    auto const is_equal = [](double x, double y) { return x == y || (x != x && y != y); };
    for (std::uint32_t column = 0; column < ValuesPerRow(a); ++column)
        if (!std::ranges::equal(ColumnOf(a, column), ColumnOf(b, column), is_equal))
            return false;
    return true;
}

// What counts when arrays are compared: their types and values, or the values alone.
enum class Counts { Types, Values };

Difference Compare(Place const& place, MMeshArray const& a, MMeshArray const& b, Counts counts) {
    std::string const what = Name(place, a);
    ValueType const& type = TypeOf(a);
    if (counts == Counts::Values && &type != &TypeOf(b) && AreEqualNumbers(a, b))
        return std::nullopt;
    if (&type != &TypeOf(b))
        return what + " holds values of type " + type.words + " and " + TypeOf(b).words;
    std::uint32_t const in_row = ValuesPerRow(a);
    if (in_row != ValuesPerRow(b))
        return what + " has " + InWords(in_row) + " and " + InWords(ValuesPerRow(b)) + " components";
    return HoldsStrings(a) ? CompareValues(place, what, in_row, Strings(a), Strings(b))
                           : CompareValues(place, what, in_row, Numbers(a), Numbers(b));
}

// The array of that name and place; null when there is none.
MMeshArray const* Find(Arrays const& arrays, MMeshArray::Place place, std::wstring const& name) {
    auto const found = std::ranges::find_if(
        arrays, [&](MMeshArray const& array) { return array.name == name && PlaceOfValues(array) == place; });
    return found == arrays.end() ? nullptr : &*found;
}

Difference ComparePlace(Place const& place, Arrays const& a, Arrays const& b, Counts counts) {
    // What compare(array, the other one) finds first; the other one may be null.
    auto const first_of = [&place](Arrays const& arrays, Arrays const& others, auto const& compare) {
        Difference found;
        for (MMeshArray const& array : arrays)
            if (!found && !array.name.empty() && PlaceOfValues(array) == place.place)
                found = compare(array, Find(others, place.place, array.name));
        return found;
    };
    auto const only_in = [&place](char const* which) {
        return [&place, which](MMeshArray const& array, MMeshArray const* other) -> Difference {
            if (other)
                return std::nullopt;
            return Name(place, array) + " is in the " + which + " file only";
        };
    };
    Difference found = first_of(a, b, only_in("first"));
    if (!found)
        found = first_of(b, a, only_in("second"));
    if (!found)
        found = first_of(a, b, [&place, counts](MMeshArray const& array, MMeshArray const* other) {
            return Compare(place, array, *other, counts);
        });
    return found;
}

Difference FindDifference(Arrays const& a, Arrays const& b, Counts counts) {
    Difference found;
    for (Place const& place : Places)
        if (!found)
            found = ComparePlace(place, a, b, counts);
    return found;
}

} // namespace

std::optional<std::string> FindArrayDifference(std::vector<MMeshArray> const& a,
                                               std::vector<MMeshArray> const& b) {
    return FindDifference(a, b, Counts::Types);
}

std::optional<std::string> FindValueDifference(std::vector<MMeshArray> const& a,
                                               std::vector<MMeshArray> const& b) {
    return FindDifference(a, b, Counts::Values);
}
