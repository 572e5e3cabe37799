// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Image.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace KetSDK::MeshJobs {

// An image as plain numbers.
struct ImageArrays {
    std::array<int, 6> extent{};     // first and last index of the voxels along x, y and z
    std::array<double, 3> origin{};  // of the voxel (0, 0, 0), in the unit of the image
    std::array<double, 3> spacing{}; // in the unit of the image
    std::array<double, 9> axes{};    // directions of the rows, columns and slices as columns of a matrix
    // The voxels, x fastest. They are borrowed.
    MeshVTK::VoxelArray::First first;

    std::array<std::int64_t, 3> Size() const noexcept {
        auto const along = [this](std::size_t lower) {
            return std::int64_t{extent[lower + 1]} - extent[lower] + 1;
        };
        return {along(0), along(2), along(4)};
    }
};
// The voxels are those of the image, and live as long as it.
KETSDK_MESHJOBS_API ImageArrays ArraysOf(Image const& image);
// Makes the image that had these arrays, with a copy of the voxels: what materials and meshes it gives is the
// same bit for bit. Throws Error for arrays of no image.
KETSDK_MESHJOBS_API Image MakeImage(ImageArrays const& arrays, MeshVTK::LengthUnit unit,
                                    std::optional<Mesh::CoordinateFrame> frame);

} // namespace KetSDK::MeshJobs
