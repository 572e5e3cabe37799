// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstdint>

namespace KetSDK::MeshVTK {

// How the grey value of an element comes from the image. Between voxel centres the image is trilinear.
enum class SamplingMode : int {
    Centroid = 0, // the image at the centroid of the element's corners
    Mean = 1,     // the mean of the image over the element, by a quadrature rule
    Voxels = 2,   // the mean of the voxels whose centres lie in the element
};

// What sampling met. Boxes are xmin, ymin, zmin, xmax, ymax, zmax in mm.
struct SamplingReport {
    std::uint64_t elements = 0;
    // Elements whose centroid (of the corners) lies beyond the outermost voxel centres.
    std::uint64_t outside = 0;
    // Elements inside for which the mode had no sample, so that a simpler one was used. In Voxels mode,
    // elements without a voxel centre get the mean by quadrature. In any mode, those of which only the
    // centroid lies in the image or which have no volume get the value at the centroid.
    std::uint64_t fallbacks = 0;
    // Elements inside that have only samples which are not finite numbers.
    std::uint64_t not_finite = 0;
    // Grey values of the elements that have one of their own; not numbers when none has.
    double smallest = 0.0;
    double largest = 0.0;
    double mean = 0.0;
    // Part of the mesh's volume in elements outside, 0 to 1; curved elements count by their corners.
    double outside_volume = 0.0;
    std::array<double, 6> mesh_box{};
    std::array<double, 6> image_box{}; // of the outermost voxel centres
};

} // namespace KetSDK::MeshVTK
