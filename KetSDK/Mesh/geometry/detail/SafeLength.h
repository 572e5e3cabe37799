// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cmath>

namespace KetSDK::Mesh::Detail {

// Squared lengths in this range are computed from squares that neither overflowed nor lost anything
// to underflow: their square root is the length.
inline constexpr double smallest_safe_square = 0x1p-900;
inline constexpr double largest_safe_square = 0x1p+1000;

// The Euclidean length of (x, y, z), scaled by the largest component m so that no square over- or underflows.
// It is m * sqrt((a / m)^2 + (b / m)^2 + 1) with a and b the other two. The component m is at least the
// smallest subnormal, so the zero vector has that length and not 0. A quotient by it stays 0 instead of
// becoming 0/0, and normalising by it leaves the zero vector as it is. A NaN stays: the two exchanges of a
// pair keep both of its members.
inline double ScaledLength(double x, double y, double z) noexcept {
    constexpr double smallest_subnormal = 4.94065645841247e-324;
    double const ax = std::fabs(x);
    double const ay = std::fabs(y);
    double const az = std::fabs(z);
    double const a = ax < ay ? ax : ay;
    double const larger = ax < ay ? ay : ax;
    double const b = larger < az ? larger : az;
    double const largest = larger < az ? az : larger;
    double const m = largest < smallest_subnormal ? smallest_subnormal : largest;
    double const p = a / m;
    double const q = b / m;
    return m * std::sqrt(p * p + q * q + 1.0);
}

// The same where it is hardly ever needed.
[[gnu::cold, gnu::noinline]] inline double ScaledLengthAside(double x, double y, double z) noexcept {
    return ScaledLength(x, y, z);
}

// The same length, to the last bits, without the divisions where they are not needed.
inline double SafeLength(double x, double y, double z) noexcept {
    double const square = x * x + y * y + z * z;
    if (square >= smallest_safe_square && square <= largest_safe_square) [[likely]]
        return std::sqrt(square);
    return ScaledLengthAside(x, y, z);
}

} // namespace KetSDK::Mesh::Detail
