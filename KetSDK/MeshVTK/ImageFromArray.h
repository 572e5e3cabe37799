// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <vtkSmartPointer.h>

#include <array>
#include <cstdint>
#include <variant>

class vtkImageData;

namespace KetSDK::MeshVTK {

// Voxels where a caller has them.
struct VoxelArray {
    using First = std::variant<std::int8_t const*, std::uint8_t const*, std::int16_t const*,
                               std::uint16_t const*, std::int32_t const*, std::uint32_t const*,
                               std::int64_t const*, std::uint64_t const*, float const*, double const*>;

    First first; // voxel (0, 0, 0)
    std::array<std::int64_t, 3> size{};
    std::array<std::int64_t, 3> strides{}; // voxels from one to the next along each axis
    // Where the voxels lie. For the first row a, b, c, d, x of the centre of voxel (i, j, k) is a i + b j + c
    // k + d. The other rows give y and z.
    std::array<std::array<double, 4>, 3> affine{};
};

// Makes an image with a copy of the voxels. It does not say its frame of coordinates. Throws Error for an
// array without voxels and for axes without length, that are not finite or not perpendicular to each other.
KETSDK_MESHVTK_API vtkSmartPointer<vtkImageData> ImageFromArray(VoxelArray const& voxels);

} // namespace KetSDK::MeshVTK
