// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/meshing/detail/InterfaceTargets.h>
#include <KetSDK/Mesh/meshing/detail/Lattice.h>

#include <cstdint>
#include <vector>

namespace KetSDK::Mesh::Detail {

// Tetrahedra whose nodes are moved. Those outside (label 0) are only kept where they have a node on an
// interface: they keep the surface from passing through itself.
struct MovingMesh {
    using Position = MMVector<double, 3>;
    static constexpr std::uint32_t NoInterface = UINT32_MAX;

    std::vector<Position> positions; // whole internal units
    std::vector<Lattice::Tetrahedron> tetrahedra;
    std::vector<LabelIndex> labels;       // of the tetrahedra
    std::vector<std::uint32_t> interface; // by node: its index in junctions, or NoInterface
    std::vector<Junction> junctions;      // of the nodes on interfaces
    // By node: which nodes may move, in groups of which no two share a tetrahedron.
    std::vector<std::vector<std::uint32_t>> groups;
};

} // namespace KetSDK::Mesh::Detail
