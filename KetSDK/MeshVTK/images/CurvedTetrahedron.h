// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>

#include <array>

namespace KetSDK::MeshVTK::Detail {

// The map of a ten-node tetrahedron from barycentric coordinates to positions: shape functions
// L (2 L - 1) at corners, 4 L L' at mid-edge nodes, in VTK's order of nodes. A plain value.
class CurvedTetrahedron {
public:
    using Vector = MMVector<double, 3>;
    using Barycentric = std::array<double, 4>; // add up to 1

    explicit CurvedTetrahedron(std::array<Vector, 10> const& nodes) noexcept
        : m_nodes(nodes) {}

    // The position at these coordinates, with the derivatives by the last three when the first makes up
    // for them.
    struct Point {
        Vector position;
        Vector along[3];
        // Six times the volume where the element is straight-sided.
        double Determinant() const noexcept { return along[0].Dot(along[1].Cross(along[2])); }
    };
    Point At(Barycentric const& weights) const noexcept;

    // A box that holds the element: lower and upper corner.
    std::array<Vector, 2> Box() const noexcept;

    std::array<Vector, 10> const& Nodes() const noexcept { return m_nodes; }

private:
    std::array<Vector, 10> m_nodes;
};

// The positions in a curved tetrahedron, its faces included by a margin against rounding. Refers to the
// tetrahedron.
class CurvedInterior {
public:
    explicit CurvedInterior(CurvedTetrahedron const& element) noexcept;
    bool Contains(CurvedTetrahedron::Vector const& position) const noexcept;

private:
    using DoubleVector = CurvedTetrahedron::Vector;
    using Weights = CurvedTetrahedron::Barycentric;

    bool FindWeights(DoubleVector const& position, Weights& weights) const noexcept;

    CurvedTetrahedron const& m_element;
    std::array<DoubleVector, 4> m_gradients; // of the barycentric coordinates in the straight tetrahedron
    std::array<double, 4> m_deviations;      // how far they are from those in the curved one at most
};

} // namespace KetSDK::MeshVTK::Detail
