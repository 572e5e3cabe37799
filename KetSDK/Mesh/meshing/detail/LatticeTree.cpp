// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/LatticeTree.h>

#include <algorithm>

namespace KetSDK::Mesh::Detail {

LatticeTree::LatticeTree(std::array<int, 3> const& top_cubes, int top_level)
    : m_top(top_cubes)
    , m_refined(static_cast<std::size_t>(top_level) + 1) {
    for (int level = 1; level <= top_level; ++level) {
        Cube const last = Count(level);
        m_refined[static_cast<std::size_t>(level)].resize(At(level, {0, 0, last[2]}), 0);
    }
    m_marked.resize(m_refined[1].size(), 0);
}

LatticeTree::Cube LatticeTree::Count(int level) const noexcept {
    int const shift = TopLevel() - level;
    return {m_top[0] << shift, m_top[1] << shift, m_top[2] << shift};
}

bool LatticeTree::Contains(int level, Cube const& cube) const noexcept {
    Cube const count = Count(level);
    bool inside = true;
    for (std::size_t axis = 0; axis < 3; ++axis)
        inside &= cube[axis] >= 0 && cube[axis] < count[axis];
    return inside;
}

void LatticeTree::Mark(Cube first, Cube last) {
    Cube const count = Count(1);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        first[axis] = std::max(first[axis], 0);
        last[axis] = std::min(last[axis], count[axis] - 1);
    }
    for (int k = first[2]; k <= last[2]; ++k)
        for (int j = first[1]; j <= last[1]; ++j)
            for (int i = first[0]; i <= last[0]; ++i)
                m_marked[At(1, {i, j, k})] = m_refined[1][At(1, {i, j, k})] = 1;
}

void LatticeTree::RefineAll() {
    for (int level = 1; level <= TopLevel(); ++level)
        std::ranges::fill(m_refined[static_cast<std::size_t>(level)], std::uint8_t{1});
}

void LatticeTree::Balance() {
    for (int level = 1; level < TopLevel(); ++level) {
        Cube const count = Count(level);
        Flags const& flags = m_refined[static_cast<std::size_t>(level)];
        Flags& parents = m_refined[static_cast<std::size_t>(level) + 1];
        std::size_t at = 0;
        for (int k = 0; k < count[2]; ++k)
            for (int j = 0; j < count[1]; ++j)
                for (int i = 0; i < count[0]; ++i, ++at) {
                    if (!flags[at])
                        continue;
                    // The cubes that share a face or an edge with this one are not larger than it is.
                    for (int around = 0; around < 27; ++around) {
                        int const di = around % 3 - 1, dj = around / 3 % 3 - 1, dk = around / 9 - 1;
                        Cube const cube = {i + di, j + dj, k + dk};
                        if (di * dj * dk == 0 && Contains(level, cube))
                            parents[At(level + 1, {cube[0] / 2, cube[1] / 2, cube[2] / 2})] = 1;
                    }
                }
    }
}

bool LatticeTree::AnyAround(Flags const& flags, int level, Cube const& cube) const noexcept {
    for (int around = 0; around < 27; ++around) {
        Cube const other = {cube[0] + around % 3 - 1, cube[1] + around / 3 % 3 - 1, cube[2] + around / 9 - 1};
        if (Contains(level, other) && flags[At(level, other)])
            return true;
    }
    return false;
}

} // namespace KetSDK::Mesh::Detail
