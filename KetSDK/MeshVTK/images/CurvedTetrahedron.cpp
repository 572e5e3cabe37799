// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/images/CurvedTetrahedron.h>

#include <KetSDK/Mesh/mesh/MMeshElementDescriptor.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace KetSDK::MeshVTK::Detail {

namespace {

constexpr auto& Edges = MMeshElementDescriptor::descr_tet4_tet10_point;

// Barycentric coordinates above this count as not negative: a position on a face is on both sides.
constexpr double Inside = -1e-9;

double Smallest(CurvedTetrahedron::Barycentric const& weights) {
    return *std::ranges::min_element(weights);
}

// The solution of x a + y b + z c = d; not finite when there is none.
std::array<double, 3> Solve(MMVector<double, 3> const& a, MMVector<double, 3> const& b,
                            MMVector<double, 3> const& c, MMVector<double, 3> const& d) {
    double const determinant = a.Dot(b.Cross(c));
    return {d.Dot(b.Cross(c)) / determinant, a.Dot(d.Cross(c)) / determinant,
            a.Dot(b.Cross(d)) / determinant};
}

} // namespace

CurvedTetrahedron::Point CurvedTetrahedron::At(Barycentric const& weights) const noexcept {
    // Derivatives by each coordinate on its own; the positions come along.
    Point point;
    Vector by[4];
    for (std::size_t corner = 0; corner < 4; ++corner) {
        point.position += m_nodes[corner] * (weights[corner] * (2.0 * weights[corner] - 1.0));
        by[corner] = m_nodes[corner] * (4.0 * weights[corner] - 1.0);
    }
    for (std::size_t edge = 0; edge < 6; ++edge) {
        std::size_t const a = Edges[edge][0];
        std::size_t const b = Edges[edge][1];
        Vector const node = m_nodes[4 + edge] * 4.0;
        point.position += node * (weights[a] * weights[b]);
        by[a] += node * weights[b];
        by[b] += node * weights[a];
    }
    for (std::size_t i = 0; i < 3; ++i)
        point.along[i] = by[i + 1] - by[0];
    return point;
}

// The element lies in the hull of its Bernstein control points.
std::array<CurvedTetrahedron::Vector, 2> CurvedTetrahedron::Box() const noexcept {
    std::array<Vector, 2> box = {m_nodes[0], m_nodes[0]};
    auto const include = [&box](Vector const& point) {
        for (std::size_t i = 0; i < 3; ++i) {
            box[0][i] = std::min(box[0][i], point[i]);
            box[1][i] = std::max(box[1][i], point[i]);
        }
    };
    for (std::size_t corner = 1; corner < 4; ++corner)
        include(m_nodes[corner]);
    for (std::size_t edge = 0; edge < 6; ++edge)
        include(m_nodes[4 + edge] * 2.0 - (m_nodes[Edges[edge][0]] + m_nodes[Edges[edge][1]]) * 0.5);
    return box;
}

// A position has the straight coordinates b = l + sum over edges of 4 l_i l_j g d, with its curved ones l,
// the gradients g and the deviations d of mid nodes from the middles of their edges. The products 4 l_i l_j
// add up to 1.5 at most.
CurvedInterior::CurvedInterior(CurvedTetrahedron const& element) noexcept
    : m_element(element)
    , m_deviations{} {
    auto const& nodes = element.Nodes();
    DoubleVector const a = nodes[1] - nodes[0];
    DoubleVector const b = nodes[2] - nodes[0];
    DoubleVector const c = nodes[3] - nodes[0];
    double const determinant = a.Dot(b.Cross(c));
    m_gradients[1] = b.Cross(c) / determinant;
    m_gradients[2] = c.Cross(a) / determinant;
    m_gradients[3] = a.Cross(b) / determinant;
    m_gradients[0] = -(m_gradients[1] + m_gradients[2] + m_gradients[3]);
    for (std::size_t edge = 0; edge < 6; ++edge) {
        DoubleVector const deviation =
            nodes[4 + edge] - (nodes[Edges[edge][0]] + nodes[Edges[edge][1]]) * 0.5;
        for (std::size_t i = 0; i < 4; ++i)
            m_deviations[i] = std::max(m_deviations[i], 1.5 * std::fabs(m_gradients[i].Dot(deviation)));
    }
}

// Newton's method from a first guess. False when it does not get there.
bool CurvedInterior::FindWeights(DoubleVector const& position, Weights& weights) const noexcept {
    constexpr int most_steps = 30;
    for (int step = 0; step < most_steps; ++step) {
        auto const point = m_element.At(weights);
        auto const change = Solve(point.along[0], point.along[1], point.along[2], position - point.position);
        double largest = 0.0;
        for (std::size_t i = 0; i < 3; ++i) {
            weights[i + 1] += change[i];
            largest = std::max(largest, std::fabs(change[i]));
        }
        weights[0] = 1.0 - weights[1] - weights[2] - weights[3];
        if (!(largest < 1e6)) // or not a number
            return false;
        if (largest < 1e-12)
            return true;
    }
    return false;
}

bool CurvedInterior::Contains(DoubleVector const& position) const noexcept {
    DoubleVector const from_corner = position - m_element.Nodes()[0];
    Weights straight;
    bool surely_inside = true;
    for (std::size_t i = 0; i < 4; ++i) {
        straight[i] = m_gradients[i].Dot(from_corner) + (i == 0 ? 1.0 : 0.0);
        if (straight[i] < Inside - m_deviations[i])
            return false;
        surely_inside &= straight[i] >= m_deviations[i];
    }
    // The map l -> b - sum of 4 l_i l_j g d takes the tetrahedron into itself: it has a fixed point there.
    if (surely_inside)
        return true;
    // Where the map from coordinates to positions folds beyond a face, another start finds other points.
    Weights const starts[] = {straight, {0.25, 0.25, 0.25, 0.25}};
    for (Weights weights : starts)
        if (FindWeights(position, weights) && Smallest(weights) >= Inside)
            return true;
    return false;
}

} // namespace KetSDK::MeshVTK::Detail
