// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

class MMeshBase;

namespace KetSDK::Mesh {

// Faces as solvers count them (MMeshSolverFaces.h), from 1, and what hangs together by them.

// The nodes of a face, by index in the node array of its element. Corners come first, winding outwards for a
// correctly oriented element. Then comes, of ten-node tetrahedra, the node between each corner and the next.
struct FaceNodes {
    unsigned int corners = 0; // 3 or 4
    unsigned int count = 0;   // 3, 4 or 6
    std::array<unsigned char, 6> node{};

    std::span<unsigned char const> All() const noexcept { return {node.data(), count}; }
};
// Those of a face of an element with n nodes; throws std::out_of_range for a face that it does not have.
KETSDK_MESH_API FaceNodes const& NodesOfFace(unsigned char n, std::uint8_t face);

// A face at which a sub-volume ends.
struct BoundaryFace {
    int inside = -1;            // the lower number of the sub-volumes on both sides: that of the element
    std::optional<int> outside; // the other number; none where the mesh ends
    std::uint32_t element = 0;
    std::uint8_t face = 0;
};
// All of them, each once, in no particular order. A face that collapses is left out. Works on several threads
// when parallel; the result is the same.
KETSDK_MESH_API std::vector<BoundaryFace> FindBoundaryFaces(MMeshBase const& mesh, bool parallel = false);

// For each element the first element of the body that it belongs to: what hangs together by faces. Works on
// several threads when parallel; the result is the same.
KETSDK_MESH_API std::vector<std::uint32_t> FindBodies(MMeshBase const& mesh, bool parallel = false);

} // namespace KetSDK::Mesh
