// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/persistence/detail/ArrayRows.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <utility>

namespace KetSDK::Mesh::Detail {

namespace {

using Numbers = std::vector<std::int32_t>; // as an array holds them

bool HoldsDoubles(MMeshArray const& array) {
    return std::holds_alternative<std::vector<double>>(array.values);
}

bool HaveSameType(MMeshArray const& a, MMeshArray const& b) {
    return HoldsDoubles(a) == HoldsDoubles(b) && WordsOfType(a).front() == WordsOfType(b).front();
}

bool IsUnsigned(MMeshArray const& array) {
    return array.type.starts_with(L'u');
}

// --- The values of an array as they are, whatever they stand as ----------------------------------------

std::uint64_t BitsAt(Numbers const& halves, std::size_t i) {
    return std::uint64_t{static_cast<std::uint32_t>(halves[2 * i])} |
           std::uint64_t{static_cast<std::uint32_t>(halves[2 * i + 1])} << 32;
}

// The numbers of an array as those of a type that holds them.
template <typename T>
std::vector<T> NumbersOf(MMeshArray const& array) {
    if (!HoldsHalves(array))
        return std::visit(
            [](auto const& values) {
                std::vector<T> numbers(values.size());
                std::ranges::transform(values, numbers.begin(), [](auto v) { return static_cast<T>(v); });
                return numbers;
            },
            array.values);
    Numbers const& halves = std::get<Numbers>(array.values);
    std::vector<T> numbers(halves.size() / 2);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        std::uint64_t const bits = BitsAt(halves, i);
        numbers[i] =
            IsUnsigned(array) ? static_cast<T>(bits) : static_cast<T>(static_cast<std::int64_t>(bits));
    }
    return numbers;
}

// Calls visit(values) with the values of an array as numbers of type T or strings, and copies none that stand
// as such.
template <typename T>
void WithValues(MMeshArray const& array, auto const& visit) {
    if constexpr (std::is_same_v<T, std::string>) {
        visit(StringsOf(array));
        return;
    } else {
        if constexpr (std::is_same_v<T, double> || std::is_same_v<T, std::int32_t>)
            if (auto const* const values = std::get_if<std::vector<T>>(&array.values);
                values && !HoldsHalves(array)) {
                visit(*values);
                return;
            }
        visit(NumbersOf<T>(array));
    }
}

// --- Back ----------------------------------------------------------------------------------------------

void RemoveWord(MMeshArray& array, std::wstring_view word) {
    std::wstring type;
    for (std::wstring const& w : WordsOfType(array))
        if (w != word)
            type += (type.empty() ? L"" : L" ") + w;
    array.type = type;
}

void Put(MMeshArray& array, std::vector<double>&& values, std::uint32_t) {
    array.values = std::move(values);
}

void Put(MMeshArray& array, Numbers&& values, std::uint32_t) {
    array.values = std::move(values);
}

template <typename T>
void Put(MMeshArray& array, std::vector<T>&& values, std::uint32_t width) {
    Numbers numbers;
    RemoveWord(array, MMeshArrayHalves);
    if (std::ranges::all_of(values, [](T v) { return std::in_range<std::int32_t>(v); })) {
        numbers.assign(values.begin(), values.end());
    } else {
        for (T const value : values)
            for (int const shift : {0, 32})
                numbers.push_back(static_cast<std::int32_t>(
                    static_cast<std::uint32_t>(static_cast<std::uint64_t>(value) >> shift)));
        array.components = 2 * width;
        // Behind the type: that is the first word.
        array.type.insert(std::min(array.type.find(L' '), array.type.size()),
                          std::wstring(L" ") + MMeshArrayHalves);
    }
    array.values = std::move(numbers);
}

void Put(MMeshArray& array, std::vector<std::string>&& strings, std::uint32_t width) {
    Numbers bytes{static_cast<std::int32_t>(width)};
    for (std::string const& text : strings) {
        for (char const byte : text)
            bytes.push_back(static_cast<unsigned char>(byte));
        bytes.push_back(0);
    }
    array.values = std::move(bytes);
}

} // namespace

bool GoTogether(MMeshArray const& a, MMeshArray const& b) {
    return HoldsStrings(a) == HoldsStrings(b) && ValuesPerRow(a) == ValuesPerRow(b);
}

ArrayRows::ArrayRows(std::span<MMeshArray const* const> sources)
    : m_width(ValuesPerRow(*sources.front())) {
    MMeshArray const& first = *sources.front();
    m_array.name = first.name;
    m_array.place = first.place;
    m_array.components = HoldsStrings(first) ? first.components : m_width;
    m_array.type = first.type;
    bool const same_type = std::ranges::all_of(
        sources, [&first](MMeshArray const* array) { return HaveSameType(*array, first); });
    bool const halves =
        std::ranges::any_of(sources, [](MMeshArray const* array) { return HoldsHalves(*array); });
    if (HoldsStrings(first)) {
        m_values = std::vector<std::string>();
    } else if (!same_type) {
        RemoveWord(m_array, MMeshArrayHalves);
        m_array.type.replace(0, m_array.type.find(L' '), L"float64");
    } else if (halves && IsUnsigned(first)) {
        m_values = std::vector<std::uint64_t>();
    } else if (halves) {
        m_values = std::vector<std::int64_t>();
    } else if (!HoldsDoubles(first)) {
        m_values = Numbers();
    }
    m_rounds_to_float = WordsOfType(m_array).front() == L"float32";
}

void ArrayRows::Append(MMeshArray const& source, std::span<RowOrigin const> rows, MeanRows const& means) {
    auto const count = static_cast<MLong>(NumberOfRows(source));
    bool too_few =
        std::ranges::any_of(rows, [count](RowOrigin const& row) { return row.a >= count || row.b >= count; });
    for (auto const& [row, of] : means)
        too_few |= std::ranges::max(of) >= count || std::ranges::min(of) < 0;
    if (too_few)
        throw std::invalid_argument(
            "an array beside a mesh has fewer rows than the mesh has elements or nodes");
    auto const append = [&]<typename T>(std::vector<T>& target) {
        auto const between = [&](T const& a, T const& b) -> T {
            if constexpr (!std::is_same_v<T, double>)
                return std::min(a, b);
            else if (double const mean = 0.5 * a + 0.5 * b; m_rounds_to_float)
                return static_cast<double>(static_cast<float>(mean));
            else
                return mean;
        };
        // The mean is summed up in double precision and rounded once.
        auto const among = [&](std::vector<MLong> const& of, auto const& at) -> T {
            if constexpr (!std::is_same_v<T, double>) {
                T least = at(of.front());
                for (MLong const row : of)
                    least = std::min(least, at(row));
                return least;
            } else {
                double mean = 0.0;
                for (MLong const row : of)
                    mean += at(row) / static_cast<double>(of.size());
                return m_rounds_to_float ? static_cast<double>(static_cast<float>(mean)) : mean;
            }
        };
        WithValues<T>(source, [&](std::vector<T> const& values) {
            std::size_t const first = target.size();
            target.reserve(first + rows.size() * m_width);
            for (auto const [a, b] : rows)
                for (std::size_t k = 0; k < m_width; ++k) {
                    auto const at = [&](MLong row) -> T const& {
                        return values[static_cast<std::size_t>(row) * m_width + k];
                    };
                    target.push_back(a < 0 || b < 0 ? T() : a == b ? at(a) : between(at(a), at(b)));
                }
            for (auto const& mean : means)
                for (std::size_t k = 0; k < m_width; ++k)
                    target[first + static_cast<std::size_t>(mean.first) * m_width + k] =
                        among(mean.second, [&values, this, k](MLong row) -> T const& {
                            return values[static_cast<std::size_t>(row) * m_width + k];
                        });
        });
    };
    std::visit(append, m_values);
}

MMeshArray ArrayRows::Take() {
    std::visit([this](auto& values) { Put(m_array, std::move(values), m_width); }, m_values);
    return std::move(m_array);
}

MMeshArray GatherRows(MMeshArray const& source, std::span<RowOrigin const> rows, MeanRows const& means) {
    MMeshArray const* const sources[] = {&source};
    ArrayRows values(sources);
    values.Append(source, rows, means);
    return values.Take();
}

} // namespace KetSDK::Mesh::Detail
