// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/geometry/detail/SafeLength.h>

#include <cmath>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

// Two doubles, and two vectors, that are computed side by side in the lanes of one register. Each
// lane gives what the same formula gives on plain doubles, bit for bit; only the time differs.
// Private to the sources of element geometry.
namespace KetSDK::Mesh::Detail {

using DoublePair __attribute__((vector_size(16))) = double;

inline DoublePair Sqrt(DoublePair v) noexcept {
#ifdef __SSE2__
    return _mm_sqrt_pd(v);
#else
    return DoublePair{std::sqrt(v[0]), std::sqrt(v[1])};
#endif
}

// Unlike std::sqrt without the way to errno, which costs registers.
inline double Sqrt(double v) noexcept {
    return Sqrt(DoublePair{v, v})[0];
}

inline DoublePair Abs(DoublePair v) noexcept {
    using Bits __attribute__((vector_size(16))) = long long;
    return reinterpret_cast<DoublePair>(reinterpret_cast<Bits>(v) &
                                        ~reinterpret_cast<Bits>(DoublePair{-0.0, -0.0}));
}

// The first argument where the two cannot be compared, as in a search that goes on from it.
inline DoublePair Min(DoublePair sofar, DoublePair v) noexcept {
#ifdef __SSE2__
    return _mm_min_pd(v, sofar);
#else
    return v < sofar ? v : sofar;
#endif
}
inline DoublePair Max(DoublePair sofar, DoublePair v) noexcept {
#ifdef __SSE2__
    return _mm_max_pd(v, sofar);
#else
    return sofar < v ? v : sofar;
#endif
}
inline double MinLane(DoublePair v) noexcept {
    return v[1] < v[0] ? v[1] : v[0];
}
inline double MaxLane(DoublePair v) noexcept {
    return v[0] < v[1] ? v[1] : v[0];
}

inline DoublePair Swapped(DoublePair v) noexcept {
    return DoublePair{v[1], v[0]};
}

inline bool InBothLanes(DoublePair v, double lowest, double highest) noexcept {
    DoublePair const low = {lowest, lowest};
    DoublePair const high = {highest, highest};
#ifdef __SSE2__
    // The comparisons by name: GCC takes those of two vectors apart once they are joined by &.
    return _mm_movemask_pd(_mm_and_pd(_mm_cmpge_pd(v, low), _mm_cmple_pd(v, high))) == 3;
#else
    auto const inside = (v >= low) & (v <= high);
    return (inside[0] & inside[1]) != 0;
#endif
}

inline bool IsGreater(DoublePair a, DoublePair b) noexcept {
#ifdef __SSE2__
    return _mm_movemask_pd(_mm_cmpgt_pd(a, b)) == 3;
#else
    return a[0] > b[0] && a[1] > b[1];
#endif
}

struct VectorPair {
    DoublePair x, y, z;

    static VectorPair Of(MMVector<double, 3> const& a, MMVector<double, 3> const& b) noexcept {
        return {DoublePair{a[0], b[0]}, DoublePair{a[1], b[1]}, DoublePair{a[2], b[2]}};
    }

    friend VectorPair operator+(VectorPair const& a, VectorPair const& b) noexcept {
        return {a.x + b.x, a.y + b.y, a.z + b.z};
    }
    friend VectorPair operator-(VectorPair const& a, VectorPair const& b) noexcept {
        return {a.x - b.x, a.y - b.y, a.z - b.z};
    }
    friend VectorPair operator*(VectorPair const& a, double f) noexcept {
        return {a.x * f, a.y * f, a.z * f};
    }
};

inline VectorPair Swapped(VectorPair const& v) noexcept {
    return {Swapped(v.x), Swapped(v.y), Swapped(v.z)};
}

inline MMVector<double, 3> First(VectorPair const& v) noexcept {
    return {v.x[0], v.y[0], v.z[0]};
}

// The first vectors of two pairs, and the second ones.
inline VectorPair Firsts(VectorPair const& a, VectorPair const& b) noexcept {
    return {DoublePair{a.x[0], b.x[0]}, DoublePair{a.y[0], b.y[0]}, DoublePair{a.z[0], b.z[0]}};
}
inline VectorPair Seconds(VectorPair const& a, VectorPair const& b) noexcept {
    return {DoublePair{a.x[1], b.x[1]}, DoublePair{a.y[1], b.y[1]}, DoublePair{a.z[1], b.z[1]}};
}

inline DoublePair Dot(VectorPair const& a, VectorPair const& b) noexcept {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

// The largest component by magnitude.
inline DoublePair LargestComponent(VectorPair const& v) noexcept {
    return Max(Max(Abs(v.x), Abs(v.y)), Abs(v.z));
}

inline VectorPair Cross(VectorPair const& a, VectorPair const& b) noexcept {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

// As ScaledLength in both lanes.
inline DoublePair ScaledLength(VectorPair const& v) noexcept {
    constexpr DoublePair smallest_subnormal = {4.94065645841247e-324, 4.94065645841247e-324};
    DoublePair const ax = Abs(v.x);
    DoublePair const ay = Abs(v.y);
    DoublePair const az = Abs(v.z);
    DoublePair const a = Min(ay, ax);
    DoublePair const larger = Max(ax, ay);
    DoublePair const b = Min(az, larger);
    DoublePair const m = Max(Max(larger, az), smallest_subnormal);
    DoublePair const p = a / m;
    DoublePair const q = b / m;
    return m * Sqrt(p * p + q * q + 1.0);
}

// As SafeLength in both lanes.
[[gnu::always_inline]] inline DoublePair Length(VectorPair const& v) noexcept {
    DoublePair const square = Dot(v, v);
    if (InBothLanes(square, smallest_safe_square, largest_safe_square)) [[likely]]
        return Sqrt(square);
    return DoublePair{SafeLength(v.x[0], v.y[0], v.z[0]), SafeLength(v.x[1], v.y[1], v.z[1])};
}

// Zero vectors stay zero: see SafeLength.
[[gnu::always_inline]] inline VectorPair Normalised(VectorPair const& v) noexcept {
    DoublePair const length = Length(v);
    return {v.x / length, v.y / length, v.z / length};
}

// v . n with n the unit vector along `direction`. Where nothing can over- or underflow, one division of
// the dot product takes the place of three of the direction.
[[gnu::always_inline]] inline DoublePair DotWithUnit(VectorPair const& v,
                                                     VectorPair const& direction) noexcept {
    DoublePair const square = Dot(direction, direction);
    if (InBothLanes(square, smallest_safe_square, largest_safe_square)) [[likely]]
        return Dot(v, direction) / Sqrt(square);
    return Dot(v, Normalised(direction));
}

} // namespace KetSDK::Mesh::Detail
