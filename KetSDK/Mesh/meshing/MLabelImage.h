// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>

#include <array>
#include <cstdint>
#include <vector>

// An image of labels: a whole number for each voxel, and where the voxels lie. The centre of voxel (i, j, k)
// is origin + direction * (i * spacing[0], j * spacing[1], k * spacing[2]).
struct MLabelImage {
    std::array<std::int64_t, 3> size{};         // voxels along each axis
    MMVector<double, 3> spacing{1.0, 1.0, 1.0}; // model units
    MMVector<double, 3> origin{0.0, 0.0, 0.0};  // centre of the first voxel, model units
    std::array<std::array<double, 3>, 3> direction{{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};
    // One for each voxel, the first axis fastest. 0 lies outside; so does whatever is beyond the image.
    std::vector<std::int32_t> labels;
};
