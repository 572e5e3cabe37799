// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>

#include <cstdint>

class MMeshBase;

namespace KetSDK::Mesh {

// How the elements of a mesh are connected, and what does not belong into a mesh.
struct MMeshTopology {
    std::uint64_t duplicate_elements = 0; // elements on the positions of an earlier one
    std::uint64_t duplicate_nodes = 0;    // nodes at the position of an earlier one
    std::uint64_t faces_of_three = 0;     // faces of more than two elements
    std::uint64_t unused_nodes = 0;       // nodes of no element
    std::uint64_t parts = 0;              // sets of elements that are connected through faces, whatever their
                                          // sub-volumes
};
// On several threads when parallel, with the same result.
KETSDK_MESH_API MMeshTopology AnalyzeTopology(MMeshBase const& mesh, bool parallel = false);

// The elements that lie on the positions of an earlier one, as `duplicate_elements` of the above.
KETSDK_MESH_API std::uint64_t CountDuplicateElements(MMeshBase const& mesh, bool parallel = false);

// The nodes of elements at the position of an earlier node of an element: elements on both sides of them
// touch and are not connected.
KETSDK_MESH_API std::uint64_t CountDoubleNodes(MMeshBase const& mesh);

} // namespace KetSDK::Mesh
