// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshElementContainer.h>
#include <KetSDK/Mesh/mesh/MMeshPointContainer.h>
#include <KetSDK/Support/MPrefetch.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace KetSDK::Mesh::Detail {

// The largest of indices; a negative one counts as larger than all others.
inline std::uint32_t LargestOf(std::span<MLong const> indices) noexcept {
    std::uint32_t largest = 0;
    for (MLong const index : indices)
        largest = std::max(largest, static_cast<std::uint32_t>(index));
    return largest;
}

// How many nodes elements have, and where those of an element stand in one list of all.
class ElementNodeCounts {
public:
    // Elements of a step are made one after the other.
    static constexpr std::uint64_t Step = 4096;

    ElementNodeCounts(std::span<unsigned char const> counts, std::size_t nodes, bool parallel);

    std::uint64_t NumberOfElements() const noexcept { return m_elements; }
    std::uint64_t NumberOfNodes() const noexcept { return m_end; }
    unsigned char CountOf(std::uint64_t element) const noexcept {
        return m_counts.size() == 1 ? m_counts[0] : m_counts[static_cast<std::size_t>(element)];
    }
    // Of an element that begins a step.
    std::uint64_t OffsetOf(std::uint64_t element) const noexcept {
        return m_counts.size() == 1 ? element * m_counts[0]
                                    : m_offset_of_step[static_cast<std::size_t>(element / Step)];
    }

private:
    std::span<unsigned char const> m_counts; // a single one for all elements
    std::uint64_t m_elements = 0;
    std::uint64_t m_end = 0;
    std::vector<std::uint64_t> m_offset_of_step; // none with a single count
};

// Room for elements at the end of a container and for their nodes, to be filled on any threads while the
// container goes on growing. The elements belong to the container when it settles them.
class ElementRoom {
public:
    ElementRoom() = default;
    // Out of memory, nothing is claimed.
    ElementRoom(MMeshElementContainer& container, std::uint64_t elements, std::size_t nodes);

    // The number of the first element.
    std::uint64_t First() const noexcept { return m_first; }

    // Enters the nodes with these indices from the given place on. Throws std::runtime_error("invalid state")
    // for an index that is not there.
    void EnterNodes(std::uint64_t place, std::span<MLong const> indices, MMeshPointContainer& points) const;
    // The same for all of them, on several threads when parallel.
    void EnterAllNodes(std::span<MLong const> indices, MMeshPointContainer& points, bool parallel) const;
    // The same nodes as pointers.
    void EnterAllNodes(std::span<MMeshPoint* const> nodes) const noexcept {
        std::ranges::copy(nodes, m_nodes);
    }

    // Makes all elements of the room from their node counts and the indices of their nodes, one element after
    // another, each with its own number as mask index. Throws as EnterNodes does.
    void MakeNumbered(std::span<MLong const> counts_and_nodes, MMeshPointContainer& points) const;
    // Makes elements first to last - 1 of the room, of which the first begins a step, and calls made(element,
    // i) for each.
    template <typename Made>
    void Make(ElementNodeCounts const& counts, std::uint64_t first, std::uint64_t last,
              Made const& made) const {
        constexpr std::uint64_t in_block = MMeshElementContainer::BlockSize;
        MMeshPoint** nodes = m_nodes + counts.OffsetOf(first);
        for (std::uint64_t i = first; i < last;) {
            std::uint64_t const at = m_first % in_block + i;
            // So many elements lie one behind the other.
            std::uint64_t const end = std::min(last, i + in_block - at % in_block);
            MMeshElement* e = m_blocks[static_cast<std::size_t>(at / in_block)] + at % in_block;
            for (; i < end; ++i, ++e) {
                unsigned char const count = counts.CountOf(i);
                Support::PrefetchAheadToWrite(e);
                made(MMeshElementContainer::MakeBorrowing(e, count, nodes), i);
                nodes += count;
            }
        }
    }

private:
    std::uint64_t m_first = 0;
    std::vector<MMeshElement*> m_blocks; // that of the first one and those behind it
    MMeshPoint** m_nodes = nullptr;
};

} // namespace KetSDK::Mesh::Detail
