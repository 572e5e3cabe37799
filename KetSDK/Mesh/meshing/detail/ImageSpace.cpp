// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/ImageSpace.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>

#include <cmath>
#include <cstddef>

namespace KetSDK::Mesh::Detail {

ImageSpace::ImageSpace(MLabelImage const& image) noexcept
    : m_origin(image.origin)
    , m_direction(image.direction)
    , m_shift{0.0, 0.0, 0.0} {
    auto const& d = image.direction;
    m_mirrored = d[0][0] * (d[1][1] * d[2][2] - d[1][2] * d[2][1]) -
                     d[0][1] * (d[1][0] * d[2][2] - d[1][2] * d[2][0]) +
                     d[0][2] * (d[1][0] * d[2][1] - d[1][1] * d[2][0]) <
                 0.0;
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) {
            m_inverse[i][j] = d[j][i] / image.spacing[i] / Common::MInternalUnits::Get();
            m_shift[i] -= d[j][i] / image.spacing[i] * image.origin[j];
        }
}

MMVector<double, 3> ImageSpace::PositionOf(MMVector<double, 3> const& along_axes) const noexcept {
    MMVector<double, 3> p;
    for (std::size_t i = 0; i < 3; ++i)
        p[i] = std::nearbyint(Common::MInternalUnits::Get() *
                              (m_origin[i] + m_direction[i][0] * along_axes[0] +
                               m_direction[i][1] * along_axes[1] + m_direction[i][2] * along_axes[2]));
    return p;
}

} // namespace KetSDK::Mesh::Detail
