// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/meshing/MLabelImage.h>
#include <KetSDK/Mesh/meshing/detail/LabelWeights.h>

#include <vector>

namespace KetSDK::Mesh::Detail {

inline double VoxelVolume(MLabelImage const& image) noexcept {
    return image.spacing[0] * image.spacing[1] * image.spacing[2];
}

// Area of the voxel faces between each label, by index, and others.
std::vector<double> VoxelAreas(IndexedLabels const& labels, MLabelImage const& image, bool parallel);

} // namespace KetSDK::Mesh::Detail
