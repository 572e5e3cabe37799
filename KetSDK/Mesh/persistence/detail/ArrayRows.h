// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshOrigins.h>
#include <KetSDK/Mesh/persistence/MMeshArrayType.h>

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace KetSDK::Mesh::Detail {

// Which rows of an array a row of another one comes from: one, what lies between two of them, or none.
using RowOrigin = MMeshOrigins::Node;
// The rows of which others are the mean, by these.
using MeanRows = std::map<MLong, std::vector<MLong>>;

// Whether the values of both can follow one another in one array: strings or numbers, as many in a row.
bool GoTogether(MMeshArray const& a, MMeshArray const& b);

// An array in the making of rows of others. It has name, place and type of the first one, but becomes one of
// doubles when their types differ.
class ArrayRows {
public:
    // Of these arrays, which go together.
    explicit ArrayRows(std::span<MMeshArray const* const> sources);

    // Between rows lies their mean in an array of floating-point numbers, and the smallest value in each
    // place of the row otherwise. Rows from nowhere are 0 or empty strings. Throws std::invalid_argument when
    // the array does not have all the rows.
    void Append(MMeshArray const& source, std::span<RowOrigin const> rows, MeanRows const& means);

    MMeshArray Take();

private:
    template <typename T>
    using Values = std::vector<T>;

    MMeshArray m_array; // without its values
    bool m_rounds_to_float;
    std::uint32_t m_width; // values of a row
    std::variant<Values<double>, Values<std::int32_t>, Values<std::int64_t>, Values<std::uint64_t>,
                 Values<std::string>>
        m_values;
};

// An array of rows of one other.
MMeshArray GatherRows(MMeshArray const& source, std::span<RowOrigin const> rows, MeanRows const& means);

} // namespace KetSDK::Mesh::Detail
