// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vtkSmartPointer.h>

#include <array>
#include <cstddef>
#include <cstdint>

class vtkDataArray;
class vtkImageData;

namespace KetSDK::Common {
class IncrementalProgressReporter;
}

namespace KetSDK::MeshVTK::Detail {

class ByteSource;

// What the readers of image files have in common: where the voxels are, and their values.

using Vector3 = std::array<double, 3>;

// Where the voxels of an image are. The centre of voxel (i, j, k) is at origin + i * spacing[0] * axes[0] + j
// * spacing[1] * axes[1] + k * spacing[2] * axes[2].
struct ImageGrid {
    std::array<std::int64_t, 3> size = {1, 1, 1};
    Vector3 origin{};
    Vector3 spacing = {1.0, 1.0, 1.0};
    std::array<Vector3, 3> axes = {{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};
};

// Throws Error unless there is an image that is placed like this. It has at least one voxel and no absurd
// number along each axis, everything finite, positive spacings, axes of unit length that are perpendicular to
// each other. Left-handed axes are fine.
void CheckGrid(ImageGrid const& grid);
// The number of voxels of a grid that passed the check.
std::uint64_t NumberOfVoxels(ImageGrid const& grid) noexcept;

// Throws Error unless the bytes in a file from where its voxels begin are those of the voxels of a grid that
// passed the check. All of them are there, and not another slice.
void CheckVoxelBytes(std::uint64_t present, ImageGrid const& grid, int bytes_per_voxel);

// Reads the voxels of a grid that passed the check, of a VTK type of numbers, and passes over what is behind
// them. Throws Error when there are too few or another slice; throws Cancelled.
vtkSmartPointer<vtkDataArray> ReadVoxels(ByteSource& source, ImageGrid const& grid, int type, bool big_endian,
                                         Common::IncrementalProgressReporter& reporter);

// The smallest of the types short, int and, where numbers are not whole, float or double, that holds the
// values between two rescaled ones.
int RescaledType(double smallest, double largest, bool whole) noexcept;
// The values times slope plus intercept; the array itself where that changes nothing.
vtkSmartPointer<vtkDataArray> Rescale(vtkSmartPointer<vtkDataArray> const& values, double slope,
                                      double intercept);

// An image of these voxels on a grid that passed the check.
vtkSmartPointer<vtkImageData> MakeImage(ImageGrid const& grid, vtkDataArray& values);

} // namespace KetSDK::MeshVTK::Detail
