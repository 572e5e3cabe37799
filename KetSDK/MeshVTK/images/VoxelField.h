// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/images/ImageFrame.h>
#include <KetSDK/Support/MPrefetch.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <type_traits>

namespace KetSDK::MeshVTK::Detail {

// The values of an image of type T, read only.
template <typename T>
class VoxelField {
public:
    VoxelField(T const* values, std::array<std::int64_t, 3> const& size) noexcept
        : m_values(values)
        , m_size(size)
        , m_row(size[0])
        , m_slice(size[0] * size[1]) {}

    // The row of voxels along the first axis with these indices along the others.
    T const* Row(std::int64_t j, std::int64_t k) const noexcept {
        return m_values + (j * m_row + k * m_slice);
    }

    // The trilinear value at a position in the image. Voxels without weight have no say, whatever they hold;
    // not finite when another voxel is not.
    double At(VoxelPosition const& place) const noexcept {
        double f[3];
        T const* const v = Cell(place, f);
        double const value =
            Between(f[2], Between(f[1], Along(v, f[0]), Along(v + m_row, f[0])),
                    Between(f[1], Along(v + m_slice, f[0]), Along(v + m_slice + m_row, f[0])));
        if constexpr (std::is_floating_point_v<T>)
            if (!std::isfinite(value))
                return ByWeights(v, f);
        return value;
    }

    // Fetches ahead what At needs.
    void Prefetch(VoxelPosition const& place) const noexcept {
        double f[3];
        T const* const v = Cell(place, f);
        for (T const* const row : {v, v + m_row, v + m_slice, v + m_slice + m_row})
            Support::Prefetch(row);
    }

private:
    // The first of the eight voxels around a position, and where that is between them.
    T const* Cell(VoxelPosition const& place, double (&f)[3]) const noexcept {
        std::int64_t cell[3];
        for (std::size_t i = 0; i < 3; ++i) {
            double const inside = std::min(std::max(place[i], 0.0), static_cast<double>(m_size[i] - 1));
            cell[i] = std::min(static_cast<std::int64_t>(inside), m_size[i] - 2);
            f[i] = inside - static_cast<double>(cell[i]);
        }
        return m_values + (cell[0] + cell[1] * m_row + cell[2] * m_slice);
    }
    static double Between(double f, double a, double b) noexcept { return a + f * (b - a); }
    static double Along(T const* v, double f) noexcept {
        return Between(f, static_cast<double>(v[0]), static_cast<double>(v[1]));
    }
    double ByWeights(T const* v, double const (&f)[3]) const noexcept {
        double sum = 0.0;
        for (std::int64_t corner = 0; corner < 8; ++corner) {
            std::int64_t const i = corner & 1, j = corner >> 1 & 1, k = corner >> 2;
            double const weight = (i ? f[0] : 1.0 - f[0]) * (j ? f[1] : 1.0 - f[1]) * (k ? f[2] : 1.0 - f[2]);
            if (weight != 0.0)
                sum += weight * static_cast<double>(v[i + j * m_row + k * m_slice]);
        }
        return sum;
    }

    T const* m_values;
    std::array<std::int64_t, 3> m_size;
    std::int64_t m_row;
    std::int64_t m_slice;
};

} // namespace KetSDK::MeshVTK::Detail
