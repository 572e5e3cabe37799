// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/MeshSolverExport.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

class MMeshBase;

namespace KetSDK::MeshSolver {

// An axis along which a node is held where it is or moved by a distance.
struct HeldAxis {
    std::uint32_t node = 0;  // index
    std::uint8_t axis = 0;   // 0 x, 1 y, 2 z
    std::uint32_t place = 0; // index of the place that says so, the first of several
    double by = 0.0;         // mm

    bool IsSameAxis(HeldAxis const& other) const noexcept { return node == other.node && axis == other.axis; }
};

// A part of a mesh whose elements are connected through faces.
struct LooseBody {
    std::uint32_t element = 0;  // the first of its elements
    std::uint64_t elements = 0; // how many there are
    int motions = 0;            // in how many of the six ways of a rigid body it can move: 1 to 6
};

// The bodies that can move as rigid bodies, the one with the lowest element first. A body that hangs on
// another at an edge or a node alone is not held by it. `held` is sorted by node.
KETSDK_MESHSOLVER_API std::vector<LooseBody>
FindLooseBodies(MMeshBase const& mesh, std::vector<HeldAxis> const& held, bool parallel = false);

} // namespace KetSDK::MeshSolver
