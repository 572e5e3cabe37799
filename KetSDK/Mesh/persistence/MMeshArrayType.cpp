// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/persistence/MMeshArrayType.h>

#include <algorithm>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace {

constexpr std::wstring_view PlaceWords[] = {L"points", L"cells", L"field"}; // by MMeshArray::Place

// Calls visit(word) for the words of a type until it returns true. Returns whether it did.
bool AnyWord(std::wstring_view type, auto const& visit) {
    for (;;) {
        std::size_t const end = std::min(type.find(L' '), type.size());
        if (visit(type.substr(0, end)))
            return true;
        if (end == type.size())
            return false;
        type.remove_prefix(end + 1);
    }
}

bool HoldsDoubles(MMeshArray const& array) {
    return std::holds_alternative<std::vector<double>>(array.values);
}

std::size_t NumberOfValues(MMeshArray const& array) {
    return std::visit([](auto const& values) { return values.size(); }, array.values);
}

// The whole number that a row of halves has at a place.
double WholeAt(std::vector<std::int32_t> const& values, std::size_t low, bool is_signed) {
    std::uint64_t const bits = std::uint64_t{static_cast<std::uint32_t>(values[low])} |
                               std::uint64_t{static_cast<std::uint32_t>(values[low + 1])} << 32;
    return is_signed ? static_cast<double>(static_cast<std::int64_t>(bits)) : static_cast<double>(bits);
}

} // namespace

wchar_t const* PlaceWord(MMeshArray::Place place) noexcept {
    return PlaceWords[place].data();
}

std::vector<std::wstring> WordsOfType(MMeshArray const& array) {
    std::vector<std::wstring> words;
    AnyWord(array.type, [&words](std::wstring_view word) {
        words.emplace_back(word);
        return false;
    });
    return words;
}

bool HasTypeWord(MMeshArray const& array, std::wstring_view word) {
    return AnyWord(array.type, [word](std::wstring_view w) { return w == word; });
}

bool HoldsStrings(MMeshArray const& array) {
    std::wstring_view const type = array.type;
    return !HoldsDoubles(array) && type.substr(0, type.find(L' ')) == MMeshArrayString;
}

bool HoldsHalves(MMeshArray const& array) {
    return !HoldsDoubles(array) && array.components % 2 == 0 && HasTypeWord(array, MMeshArrayHalves);
}

MMeshArray MakeStringArray(std::wstring const& name, std::vector<std::string> const& strings) {
    std::vector<std::int32_t> bytes = {1};
    for (std::string const& text : strings) {
        for (char const byte : text)
            bytes.push_back(static_cast<unsigned char>(byte));
        bytes.push_back(0);
    }
    return {name, MMeshArray::OnMesh, 1,
            std::wstring(MMeshArrayString) + L" " + PlaceWord(MMeshArray::OnMesh), std::move(bytes)};
}

std::vector<std::string> StringsOf(MMeshArray const& array) {
    std::vector<std::string> strings;
    if (!HoldsStrings(array))
        return strings;
    auto const& bytes = std::get<std::vector<std::int32_t>>(array.values);
    std::string text;
    for (std::size_t i = 1; i < bytes.size(); ++i)
        if (bytes[i] != 0)
            text.push_back(static_cast<char>(bytes[i]));
        else
            strings.push_back(std::exchange(text, {}));
    return strings;
}

MMeshArray::Place PlaceOfValues(MMeshArray const& array) {
    if (HoldsStrings(array))
        for (MMeshArray::Place const place : {MMeshArray::OnNodes, MMeshArray::OnElements})
            if (HasTypeWord(array, PlaceWords[place]))
                return place;
    return array.place;
}

std::uint32_t ValuesPerRow(MMeshArray const& array) {
    if (HoldsStrings(array)) {
        auto const& values = std::get<std::vector<std::int32_t>>(array.values);
        return static_cast<std::uint32_t>(values.empty() ? 1 : std::max(values.front(), 1));
    }
    return std::max(HoldsHalves(array) ? array.components / 2 : array.components, 1u);
}

std::size_t NumberOfRows(MMeshArray const& array) {
    if (!HoldsStrings(array))
        return NumberOfValues(array) / std::max(array.components, 1u);
    auto const& values = std::get<std::vector<std::int32_t>>(array.values);
    auto const strings = values.empty() ? 0 : std::count(values.begin() + 1, values.end(), 0);
    return static_cast<std::size_t>(strings) / ValuesPerRow(array);
}

std::vector<double> ColumnOf(MMeshArray const& array, std::uint32_t index) {
    if (HoldsStrings(array) || index >= ValuesPerRow(array))
        throw std::invalid_argument("the array has no such column of numbers");
    std::vector<double> column(NumberOfRows(array));
    if (HoldsHalves(array)) {
        bool const is_signed = !array.type.starts_with(L'u');
        auto const& values = std::get<std::vector<std::int32_t>>(array.values);
        for (std::size_t i = 0; i < column.size(); ++i)
            column[i] = WholeAt(values, i * array.components + std::size_t{2} * index, is_signed);
    } else {
        std::visit(
            [&](auto const& values) {
                for (std::size_t i = 0; i < column.size(); ++i)
                    column[i] = static_cast<double>(values[i * array.components + index]);
            },
            array.values);
    }
    return column;
}
