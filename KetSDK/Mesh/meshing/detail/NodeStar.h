// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/meshing/detail/MovingMesh.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace KetSDK::Mesh::Detail {

// What lies around a node, gathered once for all the positions that are tried for it. Angles are told by the
// square of their cosine with its sign, so that none needs a root: 1 for 0 degrees, 0 for 90, -1 for 180.
class NodeStar {
public:
    using Position = MovingMesh::Position;

    // Worse than every angle.
    static constexpr double Worst = 4.0;
    static double SignedSquare(double cosine) noexcept {
        return cosine < 0.0 ? -cosine * cosine : cosine * cosine;
    }

    void Gather(MovingMesh const& mesh, NodeTetrahedra const& around, std::uint32_t node) {
        GatherFor<true>(mesh, around, node);
    }
    // The same for all but WorstAt().
    void GatherNormal(MovingMesh const& mesh, NodeTetrahedra const& around, std::uint32_t node) {
        GatherFor<false>(mesh, around, node);
    }

    // Where the node was.
    Position const& Centre() const noexcept { return m_centre; }
    // The mean of its neighbours, each counted as often as there are tetrahedra that have it; of all, or of
    // those on interfaces.
    Position MeanOfNeighbours(bool on_interfaces) const noexcept {
        std::size_t const which = on_interfaces;
        return m_counts[which] > 0.0 ? m_centre + m_sums[which] * (1.0 / m_counts[which]) : m_centre;
    }
    // Of a node on an interface: from other labels towards the first of its own, of length 1.
    Position Normal() const noexcept;
    // The smallest angle of the tetrahedra around the node if it were at p: Worst when one is not positive
    // or, outside, nearly flat. Any number above `limit` as soon as it is clear that it is above.
    double WorstAt(Position const& p, double limit) noexcept;

private:
    // Tetrahedra side by side, so that the compiler computes several at a time.
    static constexpr std::size_t Lanes = 8;
    struct Block {
        double corners[3][3][Lanes]; // the other three, by axis
        double normal[3][Lanes];     // of the face between them, outwards
        double squared[Lanes];       // length of the normal
        double inside[Lanes];        // 1, or 0 for tetrahedra outside
    };

    template <bool Angles>
    void GatherFor(MovingMesh const& mesh, NodeTetrahedra const& around, std::uint32_t node);
    void Put(std::size_t index, std::array<Position, 3> const& corners, bool inside) noexcept;
    static double WorstOf(Block const& block, Position const& p) noexcept;

    Position m_centre;
    std::array<Position, 2> m_sums{};
    std::array<double, 2> m_counts{};
    Position m_normal;
    std::vector<Block> m_blocks;
    std::size_t m_suspect = 0; // the block that failed last
};

} // namespace KetSDK::Mesh::Detail
