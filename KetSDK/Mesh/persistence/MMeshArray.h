// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

// An array of numbers that travels in a file beside a mesh. A plain value. Value k of object i is values[i *
// components + k]. On nodes and elements there are as many objects as the mesh has of them, in its order, and
// on the mesh as a whole any number.
struct MMeshArray {
    enum Place : int { OnNodes = 0, OnElements = 1, OnMesh = 2 };

    std::wstring name;
    Place place = OnNodes;
    std::uint32_t components = 1;
    // The type that the numbers had where they came from, for whoever gives them back ("uint8"); the
    // file keeps it and does not look at it.
    std::wstring type;
    std::variant<std::vector<double>, std::vector<std::int32_t>> values;

    friend bool operator==(MMeshArray const&, MMeshArray const&) = default;
};
