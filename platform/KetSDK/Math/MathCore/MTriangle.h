// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/Math/MathCore/MMVector.h>

#include <array>
#include <cstddef>

// Three points in space of N dimensions.
template <typename T, std::size_t N>
class KETSDK_API MTriangle {
public:
    // All points at the origin.
    constexpr MTriangle() noexcept = default;
    constexpr MTriangle(MMVector<T, N> const& a, MMVector<T, N> const& b, MMVector<T, N> const& c) noexcept
        : m_points{a, b, c} {}

    constexpr MMVector<T, N>& operator[](std::size_t i) noexcept { return m_points[i]; }
    constexpr MMVector<T, N> const& operator[](std::size_t i) const noexcept { return m_points[i]; }

    // The unit normal (B - A) x (C - A); the zero vector when the points lie on a line.
    MMVector<T, N> Normal() const noexcept {
        MMVector<T, N> normal = (m_points[1] - m_points[0]).Cross(m_points[2] - m_points[0]);
        normal.Normalize();
        return normal;
    }

    // The area, in squared units of the points.
    double Area() const noexcept {
        return 0.5 * (m_points[1] - m_points[0]).Cross(m_points[2] - m_points[0]).Length();
    }

private:
    std::array<MMVector<T, N>, 3> m_points{};
};
