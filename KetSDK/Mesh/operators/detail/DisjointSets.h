// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

// Numbers in sets without common ones, each on its own at first. A set is named by its smallest number.
class DisjointSets {
public:
    using Number = std::uint32_t;

    explicit DisjointSets(std::size_t size)
        : m_first(size) {
        std::iota(m_first.begin(), m_first.end(), Number{0});
    }

    // The smallest number of the set that one is in.
    Number FirstOf(Number number) noexcept {
        while (m_first[number] != number) {
            m_first[number] = m_first[m_first[number]]; // halves the way for those who come later
            number = m_first[number];
        }
        return number;
    }
    // Makes one set of the two that these are in.
    void Join(Number a, Number b) noexcept {
        a = FirstOf(a);
        b = FirstOf(b);
        m_first[a < b ? b : a] = a < b ? a : b;
    }
    std::uint64_t CountSets() const noexcept {
        std::uint64_t count = 0;
        for (std::size_t i = 0; i < m_first.size(); ++i)
            count += m_first[i] == i;
        return count;
    }

private:
    std::vector<Number> m_first; // a number of the same set that is no larger
};

} // namespace KetSDK::Mesh::Detail
