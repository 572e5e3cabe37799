// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/meshing/detail/InterfaceTargets.h>
#include <KetSDK/Mesh/meshing/detail/MovingMesh.h>
#include <KetSDK/Mesh/meshing/detail/VolumeShifts.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace KetSDK::Mesh::Detail {

// Puts the nodes that are asked for into the groups of the mesh, each into the first that has none of its
// neighbours.
void MakeGroups(MovingMesh& mesh, NodeTetrahedra const& around, std::vector<std::uint8_t> const& moves);

struct MoveLimits {
    double smallest_dihedral; // degrees; of every tetrahedron with a label, after every single move
    double reach;             // how far from a node its interface may lie, internal units
    double largest_bulge;     // how far a node may be moved beyond it where it is curved, internal units
    int rounds;               // 0: no node is moved
    bool parallel;
};

// Moves nodes on interfaces there and all nodes around for better angles, one group after another. In the
// last rounds whole interfaces move for the volumes that `shifts` wants. No move is taken that leaves a
// tetrahedron below the limit, on the coordinates as they are stored. So the limit holds always when it holds
// at the beginning. The function advance(fraction) is called between the groups; when it returns false the
// work ends early, and so does this with false.
bool MoveNodes(MovingMesh& mesh, NodeTetrahedra const& around, InterfaceTargets const& targets,
               MoveLimits const& limits, VolumeShifts& shifts,
               std::function<bool(double fraction)> const& advance);

// How far the nodes on interfaces are from where their labels meet; negative where that was not found.
std::vector<double> DistancesToInterface(MovingMesh const& mesh, NodeTetrahedra const& around,
                                         InterfaceTargets const& targets, double reach, bool parallel);

} // namespace KetSDK::Mesh::Detail
