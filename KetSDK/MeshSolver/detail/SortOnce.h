// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace KetSDK::MeshSolver::Detail {

// Puts items in ascending order, each once.
template <typename Item>
void SortOnce(std::vector<Item>& items) {
    if (!std::ranges::is_sorted(items))
        std::ranges::sort(items);
    items.erase(std::unique(items.begin(), items.end()), items.end());
}

// The same where there are more items than the limit, which becomes twice those that differ at least. So
// memory grows with these, however often a short deck repeats them.
template <typename Item>
void SortOnceBeyond(std::size_t& limit, std::vector<Item>& items) {
    if (items.size() <= limit)
        return;
    SortOnce(items);
    limit = std::max(limit, 2 * items.size());
}

} // namespace KetSDK::MeshSolver::Detail
