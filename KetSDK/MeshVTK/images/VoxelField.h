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
        , m_row(size[0])
        , m_slice(size[0] * size[1]) {
        for (std::size_t i = 0; i < 3; ++i) {
            m_last[i] = static_cast<double>(size[i] - 1);
            m_last_cell[i] = size[i] - 2;
        }
    }

    // The row of voxels along the first axis with these indices along the others.
    T const* Row(std::int64_t j, std::int64_t k) const noexcept {
        return m_values + (j * m_row + k * m_slice);
    }

    // The first of the eight voxels around a position, and where that is between them.
    struct Cell {
        T const* first;
        double f[3];
    };
    // The cell of a position in the image, or of the position in it that is closest.
    Cell CellOf(VoxelPosition const& position) const noexcept {
        Cell cell;
        FindCell(position, cell);
        return cell;
    }
    // The same, written where it is needed: a copy would wait for what was just written.
    [[gnu::always_inline]] void FindCell(VoxelPosition const& position, Cell& cell) const noexcept {
        std::int64_t index[3];
        for (std::size_t i = 0; i < 3; ++i) {
            double const inside = std::min(std::max(position[i], 0.0), m_last[i]);
            index[i] = std::min(static_cast<std::int64_t>(inside), m_last_cell[i]);
            cell.f[i] = inside - static_cast<double>(index[i]);
        }
        cell.first = m_values + (index[0] + index[1] * m_row + index[2] * m_slice);
    }

    // The trilinear value at a position in a cell. Voxels without weight have no say, whatever they hold; not
    // finite when another voxel is not.
    [[gnu::always_inline]] double At(Cell const& cell) const noexcept {
        double const(&f)[3] = cell.f;
        T const* const v = cell.first;
        double const value =
            Between(f[2], Between(f[1], Along(v, f[0]), Along(v + m_row, f[0])),
                    Between(f[1], Along(v + m_slice, f[0]), Along(v + m_slice + m_row, f[0])));
        if constexpr (std::is_floating_point_v<T>)
            if (!std::isfinite(value))
                return ByWeights(v, f);
        return value;
    }
    double At(VoxelPosition const& position) const noexcept { return At(CellOf(position)); }

    // Fetches ahead what At needs.
    [[gnu::always_inline]] void Prefetch(Cell const& cell) const noexcept {
        T const* const v = cell.first;
        for (T const* const row : {v, v + m_row, v + m_slice, v + m_slice + m_row})
            Support::Prefetch(row);
    }

private:
    static double Between(double f, double a, double b) noexcept { return a + f * (b - a); }
    static double Along(T const* v, double f) noexcept {
        return Between(f, static_cast<double>(v[0]), static_cast<double>(v[1]));
    }
    [[gnu::noinline]] double ByWeights(T const* v, double const (&f)[3]) const noexcept {
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
    std::int64_t m_row;
    std::int64_t m_slice;
    // Of each axis: the index of the last voxel, and of the last that begins a cell.
    std::array<double, 3> m_last;
    std::array<std::int64_t, 3> m_last_cell;
};

} // namespace KetSDK::MeshVTK::Detail
