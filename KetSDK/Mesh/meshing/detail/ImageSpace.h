// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/meshing/MLabelImage.h>

namespace KetSDK::Mesh::Detail {

// Where an image lies among the integer coordinates of a mesh.
class ImageSpace {
public:
    // Its directions are perpendicular and of length 1.
    explicit ImageSpace(MLabelImage const& image) noexcept;

    // The position in internal units, rounded, of one in model units along the axes of the image, from
    // the centre of its first voxel.
    MMVector<double, 3> PositionOf(MMVector<double, 3> const& along_axes) const noexcept;
    // The voxel coordinates of a position in internal units.
    MMVector<double, 3> VoxelPositionOf(MMVector<double, 3> const& p) const noexcept {
        MMVector<double, 3> position = m_shift;
        for (std::size_t i = 0; i < 3; ++i)
            position[i] += m_inverse[i][0] * p[0] + m_inverse[i][1] * p[1] + m_inverse[i][2] * p[2];
        return position;
    }
    // The change by internal units of what changes so by voxels.
    MMVector<double, 3> GradientOf(MMVector<double, 3> const& by_voxels) const noexcept {
        MMVector<double, 3> gradient{0.0, 0.0, 0.0};
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t j = 0; j < 3; ++j)
                gradient[j] += m_inverse[i][j] * by_voxels[i];
        return gradient;
    }
    // Whether the axes of the image are a left hand's.
    bool IsMirrored() const noexcept { return m_mirrored; }

private:
    MMVector<double, 3> m_origin;
    std::array<std::array<double, 3>, 3> m_direction;
    std::array<std::array<double, 3>, 3> m_inverse{};
    MMVector<double, 3> m_shift;
    bool m_mirrored;
};

} // namespace KetSDK::Mesh::Detail
