#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

// An array of numbers on the nodes or the elements of a mesh that travels in a file beside it. A plain
// value. Value k of object i is values[i * components + k]; objects are in the order of the mesh.
struct MMeshArray {
    enum Place : int { OnNodes = 0, OnElements = 1 };

    std::wstring name;
    Place place = OnNodes;
    std::uint32_t components = 1;
    // The type that the numbers had where they came from, for whoever gives them back ("uint8"); the
    // file keeps it and does not look at it.
    std::wstring type;
    std::variant<std::vector<double>, std::vector<std::int32_t>> values;

    friend bool operator==(MMeshArray const&, MMeshArray const&) = default;
};
