// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/IdIndex.h>

#include <KetSDK/MeshSolver/Error.h>

#include <algorithm>
#include <numeric>

namespace KetSDK::MeshSolver::Detail {

IdIndex::IdIndex(std::vector<std::int32_t> const& ids, std::string const& what)
    : m_ids(ids) {
    for (std::size_t i = 1; i < ids.size(); ++i)
        m_is_consecutive &= ids[i] - ids[i - 1] == 1;
    if (m_is_consecutive)
        return;
    m_order.resize(ids.size());
    std::iota(m_order.begin(), m_order.end(), 0U);
    auto const less = [&ids](std::uint32_t a, std::uint32_t b) { return ids[a] < ids[b]; };
    if (!std::ranges::is_sorted(m_order, less))
        std::ranges::sort(m_order, less);
    for (std::size_t i = 1; i < m_order.size(); ++i)
        if (ids[m_order[i]] == ids[m_order[i - 1]])
            throw Error(what + " " + std::to_string(ids[m_order[i]]) + " is defined twice");
}

std::uint32_t IdIndex::FindInOrder(std::int32_t id) const noexcept {
    auto const found =
        std::ranges::lower_bound(m_order, id, {}, [this](std::uint32_t i) { return m_ids[i]; });
    return found != m_order.end() && m_ids[*found] == id ? *found : None;
}

} // namespace KetSDK::MeshSolver::Detail
