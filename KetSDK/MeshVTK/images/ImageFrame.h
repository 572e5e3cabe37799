// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/MeshVTK/LengthUnit.h>

#include <array>
#include <cstddef>
#include <cstdint>

class vtkImageData;

namespace KetSDK::MeshVTK::Detail {

// A position counted in voxels from the centre of the first one along each axis of an image.
using VoxelPosition = MMVector<double, 3>;

// Where an image lies in the space of a mesh.
class ImageFrame {
public:
    // Throws Error when a position in mm cannot be turned into one in the image.
    ImageFrame(vtkImageData& image, LengthUnit unit);

    // The voxel coordinates of a position in internal units.
    VoxelPosition PositionOf(MMVector<double, 3> const& p) const noexcept {
        VoxelPosition position;
        for (std::size_t i = 0; i < 3; ++i)
            position[i] =
                m_inverse[i][0] * p[0] + m_inverse[i][1] * p[1] + m_inverse[i][2] * p[2] + m_shift[i];
        return position;
    }
    // Whether a position lies between the outermost voxel centres, or beyond them by rounding only.
    bool Contains(VoxelPosition const& position) const noexcept {
        bool inside = true;
        for (std::size_t i = 0; i < 3; ++i)
            inside &= position[i] >= -Tolerance && position[i] <= m_last[i] + Tolerance;
        return inside;
    }
    // Voxels along each axis.
    std::array<std::int64_t, 3> const& Size() const noexcept { return m_size; }
    // The box of the outermost voxel centres in mm: lower, then upper corner.
    std::array<double, 6> const& Box() const noexcept { return m_box; }

private:
    static constexpr double Tolerance = 1e-9; // voxels

    std::array<std::array<double, 3>, 3> m_inverse{};
    VoxelPosition m_shift{};
    VoxelPosition m_last{};
    std::array<std::int64_t, 3> m_size{};
    std::array<double, 6> m_box{};
};

} // namespace KetSDK::MeshVTK::Detail
