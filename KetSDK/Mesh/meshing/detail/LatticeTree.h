// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace KetSDK::Mesh::Detail {

// The cubes of a graded lattice: an octree over a box of equal cubes. A cube of level l is 2^l times as wide
// as the smallest ones, whose level is 0. Cubes that share a face or an edge differ by one level at most.
class LatticeTree {
public:
    using Cube = std::array<int, 3>; // its indices among the cubes of its level

    // Without refinement all cubes have the top level, which is 1 at least.
    LatticeTree(std::array<int, 3> const& top_cubes, int top_level);

    int TopLevel() const noexcept { return static_cast<int>(m_refined.size()) - 1; }
    // Cubes of a level along each axis.
    Cube Count(int level) const noexcept;
    bool Contains(int level, Cube const& cube) const noexcept;

    // Asks for smallest cubes in the cubes of level 1 from `first` to `last`; what lies beyond is cut off.
    void Mark(Cube first, Cube last);
    // Asks for smallest cubes everywhere.
    void RefineAll();
    // To be called when all is marked: refines what is coarser, no faster than level by level.
    void Balance();
    // Whether the interfaces may pass through the cubes of level 1 around one of them, or through it.
    bool IsMarkedAround(Cube const& cube) const noexcept { return AnyAround(m_marked, 1, cube); }
    // Whether a cube, or one of those around it, is cut into smaller ones.
    bool IsRefinedAround(int level, Cube const& cube) const noexcept {
        return AnyAround(m_refined[static_cast<std::size_t>(level)], level, cube);
    }
    // Whether a cube is cut into smaller ones; false for level 0 and beyond the box.
    bool IsRefined(int level, Cube const& cube) const noexcept {
        return level > 0 && Contains(level, cube) &&
               m_refined[static_cast<std::size_t>(level)][At(level, cube)];
    }
    // Whether a cube is part of the lattice, not just of larger ones: the cubes of its parent are cut up.
    bool Exists(int level, Cube const& cube) const noexcept {
        return level == TopLevel() ? Contains(level, cube)
                                   : IsRefined(level + 1, {cube[0] >> 1, cube[1] >> 1, cube[2] >> 1});
    }

    // Blocks of cubes for work that is done piece by piece: the cubes of the highest level, or of a lower one
    // where those would be too large.
    std::uint64_t NumberOfBlocks() const noexcept {
        Cube const count = Count(BlockLevel());
        return std::uint64_t(count[0]) * std::uint64_t(count[1]) * std::uint64_t(count[2]);
    }
    // Calls visit(level, cube) for the cubes that are not cut up, in the blocks `first` to `last` - 1; cubes
    // of several blocks count for the first of them.
    template <typename Visit>
    void ForEach(std::uint64_t first, std::uint64_t last, Visit&& visit) const {
        Cube const count = Count(BlockLevel());
        std::uint64_t const wide = std::uint64_t(count[0]), high = std::uint64_t(count[1]);
        for (std::uint64_t n = first; n < last; ++n) {
            int level = BlockLevel();
            Cube const block = {int(n % wide), int(n / wide % high), int(n / (wide * high))};
            Cube cube = block;
            bool is_first = true;
            for (; !Exists(level, cube); ++level)
                for (int& coordinate : cube) {
                    is_first &= (coordinate & 1) == 0;
                    coordinate >>= 1;
                }
            if (is_first)
                VisitLeaves(level, cube, visit);
        }
    }

private:
    using Flags = std::vector<std::uint8_t>;

    int BlockLevel() const noexcept { return std::min(TopLevel(), 2); }
    std::size_t At(int level, Cube const& cube) const noexcept {
        Cube const count = Count(level);
        return (static_cast<std::size_t>(cube[2]) * static_cast<std::size_t>(count[1]) +
                static_cast<std::size_t>(cube[1])) *
                   static_cast<std::size_t>(count[0]) +
               static_cast<std::size_t>(cube[0]);
    }
    bool AnyAround(Flags const& flags, int level, Cube const& cube) const noexcept;
    template <typename Visit>
    void VisitLeaves(int level, Cube const& cube, Visit& visit) const {
        if (!IsRefined(level, cube)) {
            visit(level, cube);
            return;
        }
        for (int child = 0; child < 8; ++child)
            VisitLeaves(
                level - 1,
                Cube{2 * cube[0] + (child & 1), 2 * cube[1] + (child >> 1 & 1), 2 * cube[2] + (child >> 2)},
                visit);
    }

    std::array<int, 3> m_top;
    std::vector<Flags> m_refined; // by level; none of level 0
    Flags m_marked;               // of level 1
};

} // namespace KetSDK::Mesh::Detail
