// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/meshing/detail/ImageSpace.h>
#include <KetSDK/Mesh/meshing/detail/LabelWeights.h>
#include <KetSDK/Mesh/meshing/detail/MovingMesh.h>

#include <cstdint>
#include <vector>

namespace KetSDK::Mesh::Detail {

// How many voxels of each label have no tetrahedron of their label within half the size: what was too thin to
// be meshed. `size` and `spacing` are in model units.
std::vector<std::uint64_t> CountLostVoxels(IndexedLabels const& labels, MovingMesh const& mesh,
                                           ImageSpace const& space, LabelWeights const& weights, double size,
                                           MMVector<double, 3> const& spacing, bool parallel);

} // namespace KetSDK::Mesh::Detail
