// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/ParallelWork.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
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
        Support::ComputeSteps(Steps(), [this](std::uint64_t first, std::uint64_t last) {
            for (std::uint64_t i = first; i < last; ++i)
                m_first[static_cast<std::size_t>(i)] = static_cast<Number>(i);
        });
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
    // The smallest number of the set that each is in. Valid until sets are joined.
    std::span<Number const> FirstOfEach() {
        Support::ComputeSteps(Steps(), [this](std::uint64_t first, std::uint64_t last) {
            for (std::uint64_t i = first; i < last; ++i)
                std::atomic_ref(m_first[static_cast<std::size_t>(i)])
                    .store(FirstOf(static_cast<Number>(i)), std::memory_order_relaxed);
        });
        return m_first;
    }
    // Calls visit(first, begin, end) for runs of numbers of one set, given the smallest in the set of each:
    // neighbours mostly share a set.
    template <typename Visit>
    static void ForEachRun(std::span<Number const> first_of, Visit const& visit) {
        for (std::size_t begin = 0; begin < first_of.size();) {
            std::size_t end = begin + 1;
            while (end < first_of.size() && first_of[end] == first_of[begin])
                ++end;
            visit(first_of[begin], begin, end);
            begin = end;
        }
    }
    std::uint64_t CountSets() const noexcept {
        std::uint64_t count = 0;
        for (std::size_t i = 0; i < m_first.size(); ++i)
            count += m_first[i] == i;
        return count;
    }

private:
    Support::WorkSteps Steps() const noexcept {
        return {.items = m_first.size(), .step = 16384, .parallel = m_parallel};
    }
    Number Load(Number number) noexcept {
        return std::atomic_ref(m_first[number]).load(std::memory_order_relaxed);
    }

    bool m_parallel;
    // A number of the same set that is no larger.
    std::vector<Number, Support::MUninitializedAllocator<Number>> m_first;
};

} // namespace KetSDK::Mesh::Detail
