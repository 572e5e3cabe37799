// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/meshing/detail/LatticeTree.h>

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace KetSDK::Mesh::Detail {

// The tetrahedra of a graded body-centred cubic lattice. Nodes are the corners and the centres of the cubes
// of an octree; every dihedral angle is 45, 60, 90 or 120 degrees. Tetrahedra share whole faces. Two cubes of
// one size have four tetrahedra around the line between their centres, cut in two where smaller cubes have a
// node on an edge of their face. A larger cube has eight at the face of a smaller neighbour, and each smaller
// one two (Labelle, Shewchuk, Isosurface stuffing, 2007, figure 5).
struct Lattice {
    using Node = std::array<std::int32_t, 3>; // in halves of the edge of the smallest cubes
    using Tetrahedron = std::array<std::uint32_t, 4>;

    std::vector<Node> nodes;
    std::vector<Tetrahedron> tetrahedra; // of positive volume

    // is_wanted(level, cube) says of which cubes there are tetrahedra; between two cubes of one size they are
    // made when both are wanted. Threads ask copies of it. advance(fraction) is called meanwhile; when it
    // returns false the lattice stays incomplete.
    Lattice(LatticeTree const& tree,
            std::function<bool(int level, LatticeTree::Cube const&)> const& is_wanted, bool parallel,
            std::function<bool(double fraction)> const& advance);
};

// Which tetrahedra have each node: those of node n are tetrahedra[first[n]] to tetrahedra[first[n + 1] - 1],
// ascending.
struct NodeTetrahedra {
    std::vector<std::uint64_t> first;
    std::vector<std::uint32_t> tetrahedra;

    NodeTetrahedra(std::size_t nodes, std::vector<Lattice::Tetrahedron> const& all, bool parallel);
};

} // namespace KetSDK::Mesh::Detail
