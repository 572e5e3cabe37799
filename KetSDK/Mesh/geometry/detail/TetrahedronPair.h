// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/geometry/detail/VectorPair.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <limits>

// Quality figures of two tetrahedra side by side, one in each lane, for loops over many. The values are those
// of TetrahedronBase, bit for bit. Private to the sources of element geometry.
namespace KetSDK::Mesh::Detail {

// Two tetrahedra by their corners.
struct TetrahedronPair {
    VectorPair p[4];

    // One tetrahedron twice.
    [[gnu::always_inline]] static TetrahedronPair
    Twice(std::array<MMVector<double, 3>, 4> const& corners) noexcept {
        auto const twice = [](MMVector<double, 3> const& corner) { return VectorPair::Of(corner, corner); };
        return {{twice(corners[0]), twice(corners[1]), twice(corners[2]), twice(corners[3])}};
    }
    [[gnu::always_inline]] MMVector<double, 3> Corner(unsigned int lane, unsigned int i) const noexcept {
        return {p[i].x[lane], p[i].y[lane], p[i].z[lane]};
    }
    // P_b - P_a.
    [[gnu::always_inline]] VectorPair Edge(unsigned int a, unsigned int b) const noexcept {
        return p[b] - p[a];
    }
};

// How the extreme angles of an element are held against those of the regular one.
struct AngleRule {
    double ideal;       // the angles of the regular element
    double range_above; // from there to a straight angle
    // cos(range_above / ideal * angle) as a parabola in cos(angle), to 0.001 where that is 0.3 to 1.
    double parabola[3];
};

inline constexpr AngleRule dihedral_angles = {
    1.2309594173407747, 1.9106332362490184, {-0.78716462, 1.14600134, 0.64196294}}; // ideal: acos(1/3)
// The doubles nearest to pi/3 and 2 pi/3: dividing a rounded pi gives other ones.
inline constexpr AngleRule face_angles = {1.0471975511965979, 2.0943951023931957, {-1.0, 0.0, 2.0}};

// 1 - the larger of the relative deviations (largest angle - ideal) / range_above and (ideal - smallest
// angle) / ideal. The first one is the larger when the largest angle is above a straight one less
// range_above / ideal times the smallest. Their cosines tell which it is, so one arc cosine is enough, unless
// it is a close thing.
inline double AngleQuality(double minCos, double maxCos, AngleRule const& rule) noexcept {
    auto const& p = rule.parabola;
    double const difference = minCos + (p[0] + maxCos * (p[1] + maxCos * p[2]));
    constexpr double close = 0.002;
    if (std::fabs(difference) >= close && minCos >= -1.0 && maxCos >= 0.3 && maxCos <= 1.0) [[likely]] {
        // Without a branch, which the processor could only guess.
        std::size_t const is_largest = difference < 0.0;
        double const cosines[2] = {maxCos, minCos};
        double const ranges[2] = {-rule.ideal, rule.range_above};
        return 1.0 - (std::acos(cosines[is_largest]) - rule.ideal) / ranges[is_largest];
    }
    double const largest = std::acos(minCos);
    double const smallest = std::acos(maxCos);
    return 1.0 - std::max((largest - rule.ideal) / rule.range_above, (rule.ideal - smallest) / rule.ideal);
}

// What the mean ratio is made of: the volume and the sum of the squared edge lengths.
struct SizePair {
    DoublePair volume, squares;
};

[[gnu::always_inline]] inline SizePair Sizes(TetrahedronPair const& t) noexcept {
    VectorPair const e01 = t.Edge(0, 1);
    VectorPair const e02 = t.Edge(0, 2);
    VectorPair const e03 = t.Edge(0, 3);
    DoublePair squares = Dot(e01, e01) + Dot(e02, e02) + Dot(e03, e03);
    for (VectorPair const& e : {t.Edge(1, 2), t.Edge(1, 3), t.Edge(2, 3)})
        squares += Dot(e, e);
    return {Dot(e01, Cross(e02, e03)) / 6.0, squares};
}

inline double MeanRatio(double volume, double squares) noexcept {
    return 12.0 * std::pow(3.0 * volume, 0.6666666666666666) / squares;
}

// 3 insphere radius / circumsphere radius. False where either element is nearly flat or its size near the
// ends of the range of numbers: then the radii are asked for one by one. The cross products that give the
// areas of the faces are the cofactors of the edges at P0 as well, for the circumsphere by Cramer's rule.
[[gnu::always_inline]] inline bool Spheres(TetrahedronPair const& t, DoublePair& quality) noexcept {
    constexpr double smallest_volume = 1.4901161193847656e-08; // 2^-26
    constexpr double flat = 16.0 * std::numeric_limits<double>::epsilon();
    VectorPair const e01 = t.Edge(0, 1);
    VectorPair const e02 = t.Edge(0, 2);
    VectorPair const e03 = t.Edge(0, 3);
    VectorPair const n023 = Cross(e02, e03);
    VectorPair const n013 = Cross(e03, e01);
    VectorPair const n012 = Cross(e01, e02);
    VectorPair const n123 = Cross(t.Edge(1, 2), t.Edge(1, 3));
    DoublePair const determinant = Dot(e01, n023);
    DoublePair const size = LargestComponent(e01) * LargestComponent(e02) * LargestComponent(e03);
    DoublePair const magnitude = Abs(determinant / 6.0);
    DoublePair const s012 = Dot(n012, n012);
    DoublePair const s013 = Dot(n013, n013);
    DoublePair const s023 = Dot(n023, n023);
    DoublePair const s123 = Dot(n123, n123);
    if (!InBothLanes(magnitude, smallest_volume, DBL_MAX) || !InBothLanes(size, 1e-200, 1e+200) ||
        !IsGreater(Abs(determinant), flat * size) ||
        !InBothLanes(Min(Min(s012, s013), Min(s023, s123)), smallest_safe_square, largest_safe_square) ||
        !InBothLanes(Max(Max(s012, s013), Max(s023, s123)), smallest_safe_square, largest_safe_square))
        [[unlikely]]
        return false;
    DoublePair const surface = Sqrt(s012) * 0.5 + Sqrt(s013) * 0.5 + Sqrt(s023) * 0.5 + Sqrt(s123) * 0.5;
    DoublePair const insphere = 3.0 * magnitude / surface;

    DoublePair const b1 = Dot(e01, e01) / 2.0;
    DoublePair const b2 = Dot(e02, e02) / 2.0;
    DoublePair const b3 = Dot(e03, e03) / 2.0;
    DoublePair const inverse = 1.0 / determinant;
    VectorPair const centre = {(b1 * n023.x + b2 * n013.x + b3 * n012.x) * inverse,
                               (b1 * n023.y + b2 * n013.y + b3 * n012.y) * inverse,
                               (b1 * n023.z + b2 * n013.z + b3 * n012.z) * inverse};
    quality = 3.0 * insphere / Sqrt(Dot(centre, centre));
    return true;
}

// The extreme cosines of the dihedral angles.
struct CosinePair {
    DoublePair smallest, largest;
};

[[gnu::always_inline]] inline CosinePair DihedralCosines(TetrahedronPair const& t) noexcept {
    // Pointing out of a positive element, hence the signs of the cosines.
    VectorPair const e01 = t.Edge(0, 1);
    VectorPair const n0 = Normalised(Cross(e01, t.Edge(0, 3)));
    VectorPair const n1 = Normalised(Cross(t.Edge(0, 2), e01));
    VectorPair const n2 = Normalised(Cross(t.Edge(1, 2), t.Edge(1, 3)));
    VectorPair const n3 = Normalised(Cross(t.Edge(3, 2), t.Edge(3, 0)));
    // In the order of TetrahedronBase: it decides which of two zeros is found.
    DoublePair const first[3] = {Dot(n0, n2), Dot(n0, n3), Dot(n0, n1)};
    DoublePair const second[3] = {Dot(n1, n3), Dot(n1, n2), Dot(n2, n3)};
    DoublePair largest[2] = {{-DBL_MAX, -DBL_MAX}, {-DBL_MAX, -DBL_MAX}};
    DoublePair smallest[2] = {{DBL_MAX, DBL_MAX}, {DBL_MAX, DBL_MAX}};
    for (std::size_t i = 0; i < 3; ++i) {
        largest[0] = Max(largest[0], first[i]);
        largest[1] = Max(largest[1], second[i]);
        smallest[0] = Min(smallest[0], first[i]);
        smallest[1] = Min(smallest[1], second[i]);
    }
    return {-Max(largest[0], largest[1]), -Min(smallest[0], smallest[1])};
}

} // namespace KetSDK::Mesh::Detail
