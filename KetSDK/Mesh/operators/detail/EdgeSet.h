// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/MPrefetch.h>

#include <tsl/robin_set.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace KetSDK::Mesh::Detail {

// The edges of a graph that some of its vertices own, told apart without a look into the graph's tables.
class EdgeSet {
public:
    void Clear() noexcept {
        m_ends.clear();
        m_more.clear();
        m_many.clear();
    }
    // Asks at once for the memory of so many owners at most.
    void Reserve(std::size_t owners) { m_ends.reserve(owners); }
    // Makes room for the edges of so many owners.
    void MakeRoom(std::size_t owners) {
        if (owners > m_ends.size())
            m_ends.resize(owners);
    }
    void Fetch(std::size_t owner) const { Support::PrefetchToWrite(&m_ends[owner]); }

    // False when the edge from an owner to another vertex is there, or is_left_out() says that it is not
    // to be. That takes longer to find out than whether it is there, as most are.
    template <typename IsLeftOut>
    bool Enter(std::size_t owner, std::uint32_t other, IsLeftOut const& is_left_out) {
        return !m_ends[owner].Has(other + 1) && !is_left_out() && EnterUnlessThere(owner, other + 1);
    }

private:
    // The other ends of the edges that a vertex owns, as many as fit, and where there are more. A vertex of a
    // tetrahedral mesh owns seven on average.
    struct alignas(64) Ends {
        using Four [[gnu::vector_size(16)]] = std::uint32_t;
        static constexpr std::uint32_t Room = 12;

        Four end[Room / 4] = {}; // the vertex + 1
        std::uint32_t count = 0;
        std::uint32_t more = 0; // the index of the next ones + 1

        // Compares all at once.
        bool Has(std::uint32_t wanted) const noexcept {
            auto const same = (end[0] == wanted) | (end[1] == wanted) | (end[2] == wanted);
            auto const halves = std::bit_cast<std::array<std::uint64_t, 2>>(same);
            return (halves[0] | halves[1]) != 0;
        }
    };
    static constexpr unsigned int MostLookedAt = 16; // of Ends of one vertex

    bool EnterUnlessThere(std::size_t owner, std::uint32_t end) {
        Ends* ends = &m_ends[owner];
        for (unsigned int looked_at = 1; !ends->Has(end); ++looked_at) {
            if (ends->count < Ends::Room) {
                ends->end[ends->count / 4][ends->count % 4] = end;
                ++ends->count;
                return true;
            }
            if (looked_at == MostLookedAt)
                return m_many.insert(std::uint64_t{owner} << 32 | end).second;
            if (ends->more == 0) {
                ends->more = static_cast<std::uint32_t>(m_more.size()) + 1;
                m_more.emplace_back();
                ends = &m_more.back();
            } else {
                ends = &m_more[ends->more - 1];
            }
        }
        return false;
    }

    std::vector<Ends, Support::MLargePageAllocator<Ends>> m_ends; // by owner
    std::vector<Ends> m_more;
    tsl::robin_set<std::uint64_t> m_many; // the edges beyond those, of vertices that have very many
};

} // namespace KetSDK::Mesh::Detail
