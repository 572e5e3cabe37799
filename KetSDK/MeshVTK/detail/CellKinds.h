// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vtkCellType.h>

#include <cstddef>

namespace KetSDK::MeshVTK::Detail {

// A kind of cell that becomes an element, and the number of its nodes, which is the element's kind.
struct CellKind {
    unsigned char type; // VTK's number of the cell type
    unsigned char nodes;
};

inline constexpr CellKind CellKinds[] = {
    {VTK_TETRA, 4}, {VTK_WEDGE, 6}, {VTK_HEXAHEDRON, 8}, {VTK_QUADRATIC_TETRA, 10}};

inline constexpr std::size_t MaxCellNodes = 10;

// Number of nodes of a cell type that becomes an element; 0 for every other type.
constexpr unsigned char NodesOfCellType(unsigned char type) noexcept {
    for (CellKind const& kind : CellKinds)
        if (kind.type == type)
            return kind.nodes;
    return 0;
}

// VTK's cell type of an element with that many nodes; VTK_EMPTY_CELL for an unknown kind.
constexpr unsigned char CellTypeOfNodes(unsigned char nodes) noexcept {
    for (CellKind const& kind : CellKinds)
        if (kind.nodes == nodes)
            return kind.type;
    return VTK_EMPTY_CELL;
}

} // namespace KetSDK::MeshVTK::Detail
