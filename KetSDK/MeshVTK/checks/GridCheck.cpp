// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/checks/GridCheck.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/detail/CellKinds.h>
#include <KetSDK/MeshVTK/detail/CellNumbers.h>
#include <KetSDK/Support/ParallelWork.h>

#include <vtkCellArray.h>
#include <vtkCellTypes.h>
#include <vtkDataArray.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <string>
#include <type_traits>

namespace KetSDK::MeshVTK::Detail {

namespace {

// Of each type of cell; 0 for one that becomes no element.
constexpr std::array<unsigned char, 256> NodesOfTypes = [] {
    std::array<unsigned char, 256> nodes{};
    for (std::size_t type = 0; type < nodes.size(); ++type)
        nodes[type] = NodesOfCellType(static_cast<unsigned char>(type));
    return nodes;
}();

constexpr std::uint64_t Step = 65536; // values at a time

// Whether cells first to last - 1, of which there is one at least, are of one type, as mostly all are.
bool AreAlike(unsigned char const* kinds, std::uint64_t first, std::uint64_t last) {
    return std::memcmp(kinds + first, kinds + first + 1, static_cast<std::size_t>(last - first - 1)) == 0;
}

void CheckKinds(vtkUnsignedCharArray& types, bool parallel) {
    unsigned char const* const kinds = types.GetPointer(0);
    auto const look = [kinds](std::uint64_t first, std::uint64_t last, int& others) {
        others = static_cast<int>(std::count_if(kinds + first, kinds + last,
                                                [](unsigned char kind) { return NodesOfTypes[kind] == 0; }));
    };
    auto const count = static_cast<std::uint64_t>(types.GetNumberOfValues());
    if (Support::ComputeSteps<int>({.items = count, .step = Step, .parallel = parallel}, look,
                                   [](std::uint64_t, std::uint64_t, int others) { return others == 0; }))
        return;
    std::map<unsigned char, vtkIdType> refused;
    for (std::uint64_t i = 0; i < count; ++i)
        if (NodesOfTypes[kinds[i]] == 0)
            ++refused[kinds[i]];
    std::string list;
    for (auto const& [type, cells] : refused)
        list += (list.empty() ? "" : ", ") + std::to_string(cells) + " " + NameOfCellType(type);
    throw Error("there are cells of other kinds (" + list +
                "); meshes are made of tetrahedra with 4 or 10 nodes, hexahedra with 8 and wedges with 6");
}

// The offsets must rise from 0 to the length of the connectivity by the node count of each cell's kind.
void CheckOffsets(vtkCellArray& cells, vtkUnsignedCharArray& types, bool parallel) {
    WithNumbersOf(cells, [&types, parallel](auto const offsets, auto const points) {
        std::size_t const count = static_cast<std::size_t>(types.GetNumberOfValues());
        unsigned char const* const kinds = types.GetPointer(0);
        if (offsets.size() != count + 1)
            throw Error("there are " + std::to_string(count) + " cell types but " +
                        std::to_string(static_cast<long long>(offsets.size()) - 1) + " cells");
        if (offsets[0] != 0)
            throw Error("the cell offsets do not begin at 0");
        auto const listed = [offsets](std::uint64_t cell) {
            return static_cast<std::uint64_t>(offsets[cell + 1]) - static_cast<std::uint64_t>(offsets[cell]);
        };
        auto const find = [&](std::uint64_t first, std::uint64_t last, std::uint64_t& wrong) {
            wrong = last;
            std::uint64_t different = 0; // a loop without a way out is the faster one
            if (AreAlike(kinds, first, last))
                for (std::uint64_t i = first, nodes = NodesOfTypes[kinds[first]]; i < last; ++i)
                    different |= listed(i) ^ nodes;
            else
                for (std::uint64_t i = first; i < last; ++i)
                    different |= listed(i) ^ NodesOfTypes[kinds[i]];
            if (different != 0)
                for (wrong = first; listed(wrong) == NodesOfTypes[kinds[wrong]]; ++wrong) {
                }
        };
        auto const complain = [&](std::uint64_t, std::uint64_t last, std::uint64_t wrong) {
            if (wrong == last)
                return true;
            throw Error("cell " + std::to_string(wrong) + " lists " +
                        std::to_string(static_cast<long long>(listed(wrong))) + " points instead of " +
                        std::to_string(NodesOfTypes[kinds[wrong]]));
        };
        Support::ComputeSteps<std::uint64_t>({.items = count, .step = Step, .parallel = parallel}, find,
                                             complain);
        if (static_cast<std::uint64_t>(offsets[count]) != points.size())
            throw Error("the cell offsets do not end with the list of points");
    });
}

// To be called when the offsets are right.
void CheckPointNumbers(vtkCellArray& cells, vtkIdType count, bool parallel) {
    WithNumbersOf(cells, [&](auto const offsets, auto const points) {
        auto const is_wrong = [count](auto number) { return number < 0 || number >= count; };
        using Number = typename decltype(points)::value_type;
        using Bits = std::make_unsigned_t<Number>;
        constexpr vtkIdType largest_number = std::numeric_limits<Number>::max();
        auto const largest = static_cast<Bits>(std::min(count - 1, largest_number));
        auto const find = [&](std::uint64_t first, std::uint64_t last, std::uint64_t& wrong) {
            wrong = last;
            Bits bits = 0; // of a number that is wrong, or of what is left of it to the largest, the sign
            for (std::uint64_t i = first; i < last; ++i)
                bits |= static_cast<Bits>(points[i]) | (largest - static_cast<Bits>(points[i]));
            if (static_cast<Number>(bits) < 0)
                for (wrong = first; !is_wrong(points[wrong]); ++wrong) {
                }
        };
        auto const complain = [&](std::uint64_t, std::uint64_t last, std::uint64_t wrong) {
            if (wrong == last)
                return true;
            auto const cell = std::ranges::upper_bound(
                offsets, wrong, {}, [](auto offset) { return static_cast<std::uint64_t>(offset); });
            throw Error("cell " + std::to_string(cell - offsets.begin() - 1) + " uses point " +
                        std::to_string(points[wrong]) + ", but there are " + std::to_string(count) +
                        " points (from 0)");
        };
        Support::ComputeSteps<std::uint64_t>({.items = points.size(), .step = Step, .parallel = parallel},
                                             find, complain);
    });
}

} // namespace

bool AreOffsetsRising(vtkCellArray& cells, vtkIdType count) {
    vtkDataArray& offsets = *cells.GetOffsetsArray();
    if (offsets.GetNumberOfTuples() != count + 1)
        return false;
    double last = 0.0; // exact up to 2^53
    for (vtkIdType i = 0; i <= count; ++i) {
        double const offset = offsets.GetComponent(i, 0);
        if (i == 0 ? offset != 0.0 : !(offset >= last))
            return false;
        last = offset;
    }
    return last == static_cast<double>(cells.GetConnectivityArray()->GetNumberOfTuples());
}

std::string NameOfCellType(unsigned char type) {
    static std::map<unsigned char, char const*> const names = {
        {VTK_EMPTY_CELL, "empty"},
        {VTK_VERTEX, "vertex"},
        {VTK_POLY_VERTEX, "vertices"},
        {VTK_LINE, "line"},
        {VTK_POLY_LINE, "polyline"},
        {VTK_TRIANGLE, "triangle"},
        {VTK_TRIANGLE_STRIP, "strip"},
        {VTK_POLYGON, "polygon"},
        {VTK_PIXEL, "pixel"},
        {VTK_QUAD, "quadrilateral"},
        {VTK_VOXEL, "voxel"},
        {VTK_PYRAMID, "pyramid"},
        {VTK_POLYHEDRON, "polyhedron"},
        {VTK_QUADRATIC_TRIANGLE, "quadratic triangle"},
        {VTK_QUADRATIC_HEXAHEDRON, "quadratic hexahedron"}};
    if (auto const found = names.find(type); found != names.end())
        return found->second;
    char const* const name = vtkCellTypes::GetClassNameFromTypeId(type);
    return name && std::string(name) != "UnknownClass" ? name : "type " + std::to_string(type);
}

void CheckGrid(vtkUnstructuredGrid& grid, bool parallel) {
    vtkUnsignedCharArray* const types = grid.GetCellTypesArray();
    vtkCellArray* const cells = grid.GetCells();
    if (!types || !cells || types->GetNumberOfValues() == 0)
        throw Error("there are no cells; a mesh needs tetrahedra, hexahedra or wedges");
    if (types->GetNumberOfValues() > std::numeric_limits<int>::max())
        throw Error("more than 2147483647 cells");
    CheckKinds(*types, parallel);
    CheckOffsets(*cells, *types, parallel);
    CheckPointNumbers(*cells, grid.GetPoints() ? grid.GetNumberOfPoints() : 0, parallel);
}

} // namespace KetSDK::MeshVTK::Detail
