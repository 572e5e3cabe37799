// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>

#include <array>
#include <cstddef>

// The signed volume of an element in cubic model units: the sum over the tetrahedra that it is cut into,
// positive for a correctly oriented element. The tables wind their tetrahedra against the element, so the
// sum is negated.
inline double GetElementVolume(MMeshElement const& e) noexcept {
    unsigned char const n = e.GetNodeCount();
    auto const corner = [&](unsigned char t, unsigned char i) {
        return e.GetNode(MMeshElementDescriptor::GetOffsetForTetra(n, t, i))->GetPosition();
    };
    double volume = 0.0;
    for (unsigned char t = 0; t < MMeshElementDescriptor::GetNumTetraOfElement(n); ++t) {
        MMVector<double, 3> const origin = corner(t, 0);
        MMVector<double, 3> const a = corner(t, 1) - origin;
        MMVector<double, 3> const b = corner(t, 2) - origin;
        MMVector<double, 3> const c = corner(t, 3) - origin;
        volume -= a.Dot(b.Cross(c)) / 6.0;
    }
    return volume;
}

// The same, but of a ten-node tetrahedron the integral of the Jacobian determinant over the curved element.
// The determinant is of third degree, for which this rule of five points is exact: P. Keast, Moderate-degree
// tetrahedral quadrature formulas, Comput. Methods Appl. Mech. Eng. 55 (1986).
inline double GetCurvedElementVolume(MMeshElement const& e) noexcept {
    using Vector = MMVector<double, 3>;
    if (e.GetNodeCount() != 10)
        return GetElementVolume(e);
    std::array<Vector, 10> x;
    for (unsigned int i = 0; i < 10; ++i)
        x[i] = e.GetNode(i)->GetPosition() - e.GetNode(0)->GetPosition();
    // The derivatives by the barycentric coordinates at each corner, less that by the first: shape functions
    // L (2 L - 1) at corners, 4 L L' at mid nodes. They are linear in between.
    constexpr std::size_t mid[4][4] = {{0, 4, 6, 7}, {4, 0, 5, 8}, {6, 5, 0, 9}, {7, 8, 9, 0}};
    using Columns = std::array<Vector, 3>;
    std::array<Columns, 4> at{};
    Columns centre{};
    for (std::size_t corner = 0; corner < 4; ++corner) {
        auto const derivative = [&](std::size_t by) {
            return by == corner ? 3.0 * x[corner] : 4.0 * x[mid[by][corner]] - x[by];
        };
        for (std::size_t k = 0; k < 3; ++k) {
            at[corner][k] = derivative(k + 1) - derivative(0);
            centre[k] += 0.25 * at[corner][k];
        }
    }
    auto const determinant = [](Columns const& c) { return c[0].Dot(c[1].Cross(c[2])); };
    double sum = -0.8 * determinant(centre);
    for (Columns const& corner : at) { // at a half of this corner and a sixth of each other one
        Columns c;
        for (std::size_t k = 0; k < 3; ++k)
            c[k] = (corner[k] + 2.0 * centre[k]) / 3.0;
        sum += 0.45 * determinant(c);
    }
    return sum / 6.0;
}
