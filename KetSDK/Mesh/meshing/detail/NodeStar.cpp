// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/NodeStar.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace KetSDK::Mesh::Detail {

namespace {

using Position = NodeStar::Position;

// Tetrahedra outside are no part of the mesh; they only must not turn inside out.
constexpr double SmallestOutside = 1.0; // degrees
double const OutsideLimit = NodeStar::SignedSquare(std::cos(SmallestOutside * std::numbers::pi / 180.0));

// The other corners of a tetrahedron, such that the volume stays positive with the node as the first.
constexpr std::size_t Others[4][3] = {{1, 2, 3}, {0, 3, 2}, {3, 0, 1}, {2, 1, 0}};

} // namespace

template <bool Angles>
void NodeStar::GatherFor(MovingMesh const& mesh, NodeTetrahedra const& around, std::uint32_t node) {
    m_centre = mesh.positions[node];
    m_sums = {};
    m_counts = {};
    m_normal = {0.0, 0.0, 0.0};
    m_suspect = 0;
    bool const on_interface = mesh.interface[node] != MovingMesh::NoInterface;
    LabelIndex const first_label =
        on_interface ? mesh.junctions[mesh.interface[node]].labels[0] : LabelIndex{0};
    auto const first = static_cast<std::size_t>(around.first[node]);
    std::size_t const count = static_cast<std::size_t>(around.first[node + 1]) - first;
    m_blocks.resize(Angles ? (count + Lanes - 1) / Lanes : 0);
    std::array<Position, 3> corners;
    bool inside = false;
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t const t = around.tetrahedra[first + i];
        Lattice::Tetrahedron const& nodes = mesh.tetrahedra[t];
        auto const own = static_cast<std::size_t>(std::ranges::find(nodes, node) - nodes.begin());
        double const sign = mesh.labels[t] == first_label ? 1.0 : -1.0;
        for (std::size_t k = 0; k < 3; ++k) {
            std::uint32_t const corner = nodes[Others[own][k]];
            corners[k] = mesh.positions[corner];
            Position const way = corners[k] - m_centre;
            m_sums[0] += way;
            m_counts[0] += 1.0;
            if (mesh.interface[corner] != MovingMesh::NoInterface) {
                m_sums[1] += way;
                m_counts[1] += 1.0;
            }
            m_normal += way * sign;
        }
        inside = mesh.labels[t] != 0;
        if constexpr (Angles)
            Put(i, corners, inside);
    }
    // The last block is filled up with the last tetrahedron.
    if constexpr (Angles)
        for (std::size_t i = count; i < m_blocks.size() * Lanes; ++i)
            Put(i, corners, inside);
}

template void NodeStar::GatherFor<true>(MovingMesh const&, NodeTetrahedra const&, std::uint32_t);
template void NodeStar::GatherFor<false>(MovingMesh const&, NodeTetrahedra const&, std::uint32_t);

void NodeStar::Put(std::size_t index, std::array<Position, 3> const& corners, bool inside) noexcept {
    Block& block = m_blocks[index / Lanes];
    std::size_t const lane = index % Lanes;
    Position const normal = (corners[1] - corners[0]).Cross(corners[2] - corners[0]);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (std::size_t k = 0; k < 3; ++k)
            block.corners[k][axis][lane] = corners[k][axis];
        block.normal[axis][lane] = normal[axis];
    }
    block.squared[lane] = normal.Dot(normal);
    block.inside[lane] = inside ? 1.0 : 0.0;
}

Position NodeStar::Normal() const noexcept {
    Position normal = m_normal;
    return normal.Normalize() ? normal : Position{0.0, 0.0, 1.0};
}

double NodeStar::WorstOf(Block const& block, Position const& p) noexcept {
    double const x = p[0], y = p[1], z = p[2];
    double results[Lanes];
    for (std::size_t i = 0; i < Lanes; ++i) {
        double const ax = block.corners[0][0][i] - x, ay = block.corners[0][1][i] - y,
                     az = block.corners[0][2][i] - z;
        double const bx = block.corners[1][0][i] - x, by = block.corners[1][1][i] - y,
                     bz = block.corners[1][2][i] - z;
        double const cx = block.corners[2][0][i] - x, cy = block.corners[2][1][i] - y,
                     cz = block.corners[2][2][i] - z;
        // Normals of the faces across from each corner, outwards, and their squared lengths.
        double const x0 = block.normal[0][i], y0 = block.normal[1][i], z0 = block.normal[2][i];
        double const x1 = cy * bz - cz * by, y1 = cz * bx - cx * bz, z1 = cx * by - cy * bx;
        double const x2 = ay * cz - az * cy, y2 = az * cx - ax * cz, z2 = ax * cy - ay * cx;
        double const x3 = by * az - bz * ay, y3 = bz * ax - bx * az, z3 = bx * ay - by * ax;
        double const q0 = block.squared[i], q1 = x1 * x1 + y1 * y1 + z1 * z1;
        double const q2 = x2 * x2 + y2 * y2 + z2 * z2, q3 = x3 * x3 + y3 * y3 + z3 * z3;
        double const d01 = x0 * x1 + y0 * y1 + z0 * z1, d02 = x0 * x2 + y0 * y2 + z0 * z2;
        double const d03 = x0 * x3 + y0 * y3 + z0 * z3, d12 = x1 * x2 + y1 * y2 + z1 * z2;
        double const d13 = x1 * x3 + y1 * y3 + z1 * z3, d23 = x2 * x3 + y2 * y3 + z2 * z3;
        // The angle between two faces is that of their normals, taken from 180 degrees.
        double const s01 = -d01 * std::fabs(d01) / (q0 * q1), s02 = -d02 * std::fabs(d02) / (q0 * q2);
        double const s03 = -d03 * std::fabs(d03) / (q0 * q3), s12 = -d12 * std::fabs(d12) / (q1 * q2);
        double const s13 = -d13 * std::fabs(d13) / (q1 * q3), s23 = -d23 * std::fabs(d23) / (q2 * q3);
        double const m0 = s01 > s02 ? s01 : s02, m1 = s03 > s12 ? s03 : s12, m2 = s13 > s23 ? s13 : s23;
        double const m3 = m0 > m1 ? m0 : m1;
        double const largest = m3 > m2 ? m3 : m2;
        double const outside = largest > OutsideLimit ? Worst : -1.0;
        double const result = block.inside[i] > 0.0 ? largest : outside;
        double const volume = -(x3 * cx + y3 * cy + z3 * cz);
        results[i] = volume > 0.0 ? result : Worst;
    }
    return *std::max_element(results, results + Lanes);
}

double NodeStar::WorstAt(Position const& p, double limit) noexcept {
    double worst = -1.0;
    for (std::size_t i = 0; i < m_blocks.size(); ++i) {
        // What failed for one position is likely to fail for the next.
        std::size_t const at = i == 0 ? m_suspect : i <= m_suspect ? i - 1 : i;
        worst = std::max(worst, WorstOf(m_blocks[at], p));
        if (worst > limit) {
            m_suspect = at;
            break;
        }
    }
    return worst;
}

} // namespace KetSDK::Mesh::Detail
