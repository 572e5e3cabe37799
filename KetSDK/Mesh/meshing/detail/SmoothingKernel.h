// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <vector>

namespace KetSDK::Mesh::Detail {

// How indicator functions of labels are smoothed: `share` of what a narrow Gaussian gives and 1 - share of
// what a wide one gives.
//
// A Gaussian alone moves a curved interface towards its centre. Where the indicator of a ball of radius R is
// smoothed by a Gaussian of variance s, the surface on which it is one half moves by s / R. Merriman, Bence,
// Osher, Motion of multiple junctions, 1994. For sums of Gaussians the shift is that of sum(w sqrt(s)) /
// sum(w / sqrt(s)), and the share is such that it vanishes. The variance of trilinear interpolation, 1/6 of a
// voxel squared along each axis, is taken into account.
struct SmoothingKernel {
    // Weights for each axis, from -r to r; they add up to 1. The same r for both.
    std::array<std::vector<double>, 3> narrow;
    std::array<std::vector<double>, 3> wide;
    double share = 1.0; // of the narrow one

    // With these standard deviations, in voxels; less than a tenth of a voxel smoothes nothing.
    explicit SmoothingKernel(std::array<double, 3> const& sigmas);
};

} // namespace KetSDK::Mesh::Detail
