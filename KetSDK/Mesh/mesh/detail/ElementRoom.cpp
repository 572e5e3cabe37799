// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/detail/ElementRoom.h>

#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Support/ParallelWork.h>

#include <numeric>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace KetSDK::Mesh::Detail {

namespace {

// Finds nodes by their indices.
class NodeFinder {
public:
    explicit NodeFinder(MMeshPointContainer& points) noexcept
        : m_blocks(points.GetBlocks())
        , m_count(static_cast<std::uint32_t>(points.GetNumPoints())) {}

    // Throws std::runtime_error("invalid state") for an index that is not there.
    template <typename Count>
    void Find(MLong const* indices, Count count, MMeshPoint** nodes) const {
        constexpr std::size_t in_block = MMeshPointContainer::NodesPerBlock;
        for (std::size_t i = 0; i < count;) {
            Support::PrefetchAheadToWrite(nodes + i);
            for (std::size_t const end = std::min<std::size_t>(i + NodesInLine, count); i < end; ++i) {
                auto const node = static_cast<std::uint32_t>(indices[i]); // a negative one becomes large
                if (node >= m_count)
                    throw std::runtime_error("invalid state");
                nodes[i] = m_blocks[node / in_block] + node % in_block;
            }
        }
    }

private:
    static constexpr std::size_t NodesInLine = 8; // of the cache

    MMeshPoint* const* m_blocks;
    std::uint32_t m_count;
};

} // namespace

ElementNodeCounts::ElementNodeCounts(std::span<unsigned char const> counts, std::size_t nodes, bool parallel)
    : m_counts(counts) {
    if (m_counts.size() == 1) {
        m_elements = m_counts[0] > 0 ? nodes / m_counts[0] : 1; // one without nodes
        m_end = m_elements * m_counts[0];
        return;
    }
    m_elements = m_counts.size();
    Support::ComputeSteps<std::uint64_t>(
        {.items = m_elements, .step = Step, .parallel = parallel},
        [this](std::uint64_t first, std::uint64_t last, std::uint64_t& sum) {
            sum = std::accumulate(&m_counts[first], &m_counts[last - 1] + 1, std::uint64_t{0});
        },
        [this](std::uint64_t, std::uint64_t, std::uint64_t sum) {
            m_offset_of_step.push_back(std::exchange(m_end, m_end + sum));
            return true;
        });
}

ElementRoom::ElementRoom(MMeshElementContainer& container, std::uint64_t elements, std::size_t nodes) {
    constexpr std::uint64_t in_block = MMeshElementContainer::BlockSize;
    auto& storage = container.m_elements;
    m_blocks.reserve(static_cast<std::size_t>(elements / in_block) + 2);
    m_nodes = container.LendArray(nodes);
    m_first = storage.Claim(static_cast<std::size_t>(elements));
    for (std::uint64_t i = m_first / in_block * in_block; i < m_first + elements; i += in_block)
        m_blocks.push_back(&storage[static_cast<std::size_t>(i)]);
}

void ElementRoom::EnterNodes(std::uint64_t place, std::span<MLong const> indices,
                             MMeshPointContainer& points) const {
    NodeFinder(points).Find(indices.data(), indices.size(), m_nodes + place);
}

void ElementRoom::MakeNumbered(std::span<MLong const> counts_and_nodes, MMeshPointContainer& points) const {
    constexpr std::uint64_t in_block = MMeshElementContainer::BlockSize;
    MLong const* next = counts_and_nodes.data();
    MLong const* const end = next + counts_and_nodes.size();
    MMeshPoint** nodes = m_nodes;
    NodeFinder const find(points);
    for (std::uint64_t number = m_first; next < end; ++number) {
        std::uint64_t const at = number - m_first / in_block * in_block;
        MMeshElement* const element = m_blocks[static_cast<std::size_t>(at / in_block)] + at % in_block;
        auto const count = static_cast<unsigned char>(*next++);
        Support::PrefetchAheadToWrite(element);
        if (count == 4)
            find.Find(next, std::integral_constant<std::size_t, 4>(), nodes); // a loop without a count
        else
            find.Find(next, count, nodes);
        MMeshElementContainer::MakeBorrowing(element, count, nodes).SetMaskIndex(number);
        next += count;
        nodes += count;
    }
}

void ElementRoom::EnterAllNodes(std::span<MLong const> indices, MMeshPointContainer& points,
                                bool parallel) const {
    Support::ComputeSteps({.items = indices.size(), .step = 1 << 14, .parallel = parallel},
                          [&](std::uint64_t first, std::uint64_t last) {
                              EnterNodes(first,
                                         indices.subspan(static_cast<std::size_t>(first),
                                                         static_cast<std::size_t>(last - first)),
                                         points);
                          });
}

} // namespace KetSDK::Mesh::Detail
