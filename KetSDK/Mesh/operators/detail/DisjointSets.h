// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <atomic>
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

    // When parallel, several threads may join at the same time, which takes longer on one.
    explicit DisjointSets(std::size_t size, bool parallel = false)
        : m_parallel(parallel)
        , m_first(size) {
        std::iota(m_first.begin(), m_first.end(), Number{0});
    }

    // The smallest number of the set that one is in.
    Number FirstOf(Number number) noexcept {
        for (;;) {
            Number const next = Load(number);
            if (next == number)
                return number;
            Number const after = Load(next);
            if (after == next)
                return next;
            // Halves the way for those who come later.
            std::atomic_ref(m_first[number]).store(after, std::memory_order_relaxed);
            number = after;
        }
    }
    // Makes one set of the two that these are in. The sets are the same in whatever order.
    void Join(Number a, Number b) noexcept {
        for (;;) {
            a = FirstOf(a);
            b = FirstOf(b);
            if (a == b)
                return;
            if (a < b)
                std::swap(a, b);
            if (!m_parallel) {
                m_first[a] = b;
                return;
            }
            Number expected = a;
            if (std::atomic_ref(m_first[a]).compare_exchange_weak(expected, b, std::memory_order_relaxed))
                return;
        }
    }
    std::uint64_t CountSets() const noexcept {
        std::uint64_t count = 0;
        for (std::size_t i = 0; i < m_first.size(); ++i)
            count += m_first[i] == i;
        return count;
    }

private:
    Number Load(Number number) noexcept {
        return std::atomic_ref(m_first[number]).load(std::memory_order_relaxed);
    }

    bool m_parallel;
    std::vector<Number> m_first; // a number of the same set that is no larger
};

} // namespace KetSDK::Mesh::Detail
