// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace KetSDK::MeshSolver::Detail {

// Finds the place of a number in a list of numbers, none of which may be there twice.
class IdIndex {
public:
    static constexpr std::uint32_t None = 0xFFFFFFFF;

    // The list is borrowed. `what` they are numbers of stands in the error. Throws Error for one that is
    // there twice.
    IdIndex(std::vector<std::int32_t> const& ids, std::string const& what);

    // None when the number is not in the list.
    std::uint32_t Find(std::int32_t id) const noexcept {
        if (!m_is_consecutive)
            return FindInOrder(id);
        bool const is_there = !m_ids.empty() && id >= m_ids.front() && id <= m_ids.back();
        return is_there ? static_cast<std::uint32_t>(id - m_ids.front()) : None;
    }

private:
    std::uint32_t FindInOrder(std::int32_t id) const noexcept;

    std::vector<std::int32_t> const& m_ids;
    bool m_is_consecutive = true;
    std::vector<std::uint32_t> m_order; // of ascending numbers, when they are not consecutive
};

} // namespace KetSDK::MeshSolver::Detail
