// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

// A 3 x 3 matrix of doubles, stored by rows, with a solver for M x = b.
// A plain value: safe to read from several threads while none changes it.
class MMatrix3x3 {
public:
    // All entries zero.
    constexpr MMatrix3x3() noexcept = default;
    constexpr MMatrix3x3(MMVector<double, 3> const& row0, MMVector<double, 3> const& row1,
                         MMVector<double, 3> const& row2) noexcept
        : m_rows{row0, row1, row2} {}

    constexpr double& operator()(std::size_t row, std::size_t column) noexcept { return m_rows[row][column]; }
    constexpr double operator()(std::size_t row, std::size_t column) const noexcept {
        return m_rows[row][column];
    }
    constexpr MMVector<double, 3> const& GetRow(std::size_t row) const noexcept { return m_rows[row]; }

    constexpr MMVector<double, 3> operator*(MMVector<double, 3> const& x) const noexcept {
        return {m_rows[0].Dot(x), m_rows[1].Dot(x), m_rows[2].Dot(x)};
    }

    constexpr double Determinant() const noexcept { return m_rows[0].Dot(m_rows[1].Cross(m_rows[2])); }

    // Solves M x = b by Cramer's rule. False, with x as it was, when M is singular. Its determinant is then
    // no larger than what rounding alone can leave of it: |det| <= 16 eps m0 m1 m2 with mi the largest entry
    // of row i by magnitude. The test does not depend on the unit of the rows: where their sizes would take
    // it out of the range of numbers, they are scaled. NaN entries are not singular; they give NaN. Always
    // inline: a call costs as much as the solution when the matrix has to be put into memory for it.
    [[gnu::always_inline]] bool Solve(MMVector<double, 3> const& b, MMVector<double, 3>& x) const noexcept {
        constexpr double noise = 16.0 * std::numeric_limits<double>::epsilon();
        // Entry by entry, so that a matrix made on the spot never leaves the registers.
        double const a00 = m_rows[0][0], a01 = m_rows[0][1], a02 = m_rows[0][2];
        double const a10 = m_rows[1][0], a11 = m_rows[1][1], a12 = m_rows[1][2];
        double const a20 = m_rows[2][0], a21 = m_rows[2][1], a22 = m_rows[2][2];
        double const c00 = a11 * a22 - a12 * a21, c01 = a12 * a20 - a10 * a22, c02 = a10 * a21 - a11 * a20;
        double const det = a00 * c00 + a01 * c01 + a02 * c02;
        double const m0 = LargestOf(a00, a01, a02);
        double const m1 = LargestOf(a10, a11, a12);
        double const m2 = LargestOf(a20, a21, a22);
        double const size = m0 * m1 * m2;
        if ((size < SmallestSize || size > LargestSize) && IsScalable(m0) && IsScalable(m1) && IsScalable(m2))
            return SolveScaled({m0, m1, m2}, b, x);
        if (std::fabs(det) <= noise * size)
            return false;
        double const c10 = a21 * a02 - a22 * a01, c11 = a22 * a00 - a20 * a02, c12 = a20 * a01 - a21 * a00;
        double const c20 = a01 * a12 - a02 * a11, c21 = a02 * a10 - a00 * a12, c22 = a00 * a11 - a01 * a10;
        double const b0 = b[0], b1 = b[1], b2 = b[2];
        double const inverse = 1.0 / det;
        x[0] = (b0 * c00 + b1 * c10 + b2 * c20) * inverse;
        x[1] = (b0 * c01 + b1 * c11 + b2 * c21) * inverse;
        x[2] = (b0 * c02 + b1 * c12 + b2 * c22) * inverse;
        return true;
    }

private:
    // Within these bounds of m0 m1 m2 neither the determinant nor the test comes near the ends of the range
    // of numbers. The exception is a row that is as far from the others as these bounds are apart.
    static constexpr double SmallestSize = 1e-200;
    static constexpr double LargestSize = 1e+200;

    static bool IsScalable(double largest) noexcept { return largest > 0.0 && std::isfinite(largest); }
    // The same with each row scaled by a power of two, which leaves the solution what it is.
    [[gnu::noinline]] bool SolveScaled(MMVector<double, 3> const& largest, MMVector<double, 3> const& b,
                                       MMVector<double, 3>& x) const noexcept {
        MMatrix3x3 scaled(*this);
        MMVector<double, 3> right(b);
        for (std::size_t i = 0; i < 3; ++i) {
            int const exponent = -std::ilogb(largest[i]);
            for (std::size_t k = 0; k < 3; ++k)
                scaled.m_rows[i][k] = std::scalbn(scaled.m_rows[i][k], exponent);
            right[i] = std::scalbn(right[i], exponent);
        }
        return scaled.Solve(right, x);
    }

    static double LargestOf(double x, double y, double z) noexcept {
        x = std::fabs(x);
        y = std::fabs(y);
        z = std::fabs(z);
        double const xy = x < y ? y : x;
        return xy < z ? z : xy;
    }

    std::array<MMVector<double, 3>, 3> m_rows{};
};
