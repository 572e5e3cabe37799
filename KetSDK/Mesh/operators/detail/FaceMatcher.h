// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshElementContainer.h>
#include <KetSDK/Mesh/operators/detail/ElementFaces.h>
#include <KetSDK/Support/MHash.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <type_traits>
#include <vector>

namespace KetSDK::Mesh::Detail {

// Whether all faces are triangles, so that the smaller matcher will do.
inline bool HasTrianglesOnly(MMeshElementContainer const& elements) {
    return std::ranges::all_of(elements, [](MMeshElement const& e) {
        return MMeshElementDescriptor::GetNumSimpleNodes(e.GetNodeCount()) <= 4;
    });
}

// Finds the faces at which a mesh ends or at which elements of two groups meet, or else those at which
// elements of one group meet. Takes elements of every kind.
//
// Each face becomes a record of its corners. The records are spread by a hash of the corners over bins that
// fit into the processor's cache, where equal faces find one another through a small table. So the elements
// are read once and in order, and nothing is looked up at random in a large table: several times faster than
// asking for one neighbour after another. On several threads each spreads elements of its own, and bins are
// matched at the same time.
//
// Faces match when they have the same corners; a quadrilateral with a repeated corner counts as a
// triangle. Faces with fewer than three different corners have no area; they are only listed.
//
// Without quadrilaterals every element is read as the tetrahedron of its first four nodes.
template <bool WithQuadrilaterals>
class FaceMatcher {
public:
    using Number = std::uint32_t; // of an element
    // Stands for the group of the neighbour where there is none.
    static constexpr int NoNeighbour = std::numeric_limits<int>::max();

    // group(element) or group(element, its number) says to which group an element belongs, on several threads
    // at once when parallel. One of the walks below uses the matcher up.
    template <typename Group>
    FaceMatcher(MMeshElementContainer const& elements, bool parallel, Group const& group)
        : m_elements(elements)
        , m_parallel(parallel) {
        while (m_bins < MaxBins && m_bins * RecordsPerBin < 4 * elements.GetNumElements()) {
            m_bins *= 2;
            --m_bin_shift;
        }
        Spread(group);
    }

    // Calls visit(element, face, group, group of the neighbour, whether there is a neighbour) for every
    // face whose neighbour is of another group or missing. It does so on the calling thread, in an order that
    // is the same on any number of threads. Where more than two elements meet at a face, the neighbour is the
    // one of lowest address that is not the element itself.
    template <typename Visit>
    void ForEachBoundaryFace(Visit const& visit) {
        struct Found : Table {
            std::vector<BoundaryFace> faces;
        };
        auto const match = [this](std::uint64_t first, std::uint64_t last, Found& found) {
            found.faces.clear();
            auto const keep = [&found](Number element, std::uint32_t face, int group, int other, bool has) {
                found.faces.push_back({element, face, group, other, has});
            };
            MatchBins(first, last, found,
                      [this, &keep](auto const& chain) { this->VisitChain(chain, keep); });
        };
        auto const hand_on = [&visit](std::uint64_t, std::uint64_t, Found const& found) {
            for (BoundaryFace const& f : found.faces)
                visit(f.element, f.face, f.group, f.other, f.has_neighbour);
            return true;
        };
        Support::ComputeSteps<Found>(Bins(), match, hand_on);
    }
    // The same on the threads that find the faces: visit writes for each face where no other face does.
    template <typename Visit>
    void ForEachBoundaryFaceAtOnce(Visit const& visit) {
        ForEachChainAtOnce([this, &visit](auto const& chain) { this->VisitChain(chain, visit); });
    }

    // Calls visit(element, other) for elements of one group that have a face in common, in no particular
    // order and on several threads at once. Where more than two of them meet at a face, enough pairs are
    // visited to connect all.
    template <typename Visit>
    void ForEachConnectionAtOnce(Visit const& visit) {
        ForEachChainAtOnce([&visit](auto const& chain) {
            for (std::uint32_t own = chain.Next(chain.first); own != End; own = chain.Next(own)) {
                std::uint32_t other = chain.first;
                while (other != own && chain[other].group != chain[own].group)
                    other = chain.Next(other);
                if (other != own)
                    visit(chain[other].element, chain[own].element);
            }
        });
    }

    // Calls visit(elements) for every face, in no particular order and on several threads at once: the one,
    // two or more elements that have it.
    template <typename Visit>
    void ForEachFaceAtOnce(Visit const& visit) {
        ForEachChainAtOnce([&visit](auto const& chain) {
            Number few[2] = {};
            std::uint32_t count = 0;
            for (std::uint32_t i = chain.first; i != End; i = chain.Next(i))
                if (count++ < 2)
                    few[count - 1] = chain[i].element;
            if (count <= 2) // nearly always
                return visit(std::span<Number const>(few, count));
            std::vector<Number> elements;
            for (std::uint32_t i = chain.first; i != End; i = chain.Next(i))
                elements.push_back(chain[i].element);
            visit(std::span<Number const>(elements));
        });
    }

    struct Face {
        Number element;
        std::uint32_t face;
    };
    // The faces with fewer than three different corners.
    std::vector<Face> const& CollapsedFaces() const noexcept { return m_collapsed; }

private:
    static constexpr std::uint32_t NoNode = std::numeric_limits<std::uint32_t>::max();
    static constexpr std::uint64_t RecordsPerBin = 16384;
    static constexpr std::uint64_t MaxBins = 1024;

    struct Record {
        std::uint32_t corner[WithQuadrilaterals ? 4 : 3]; // ascending; a triangle ends with NoNode
        Number element;
        int group;
        std::uint32_t face;

        bool Matches(Record const& o) const noexcept { return std::ranges::equal(corner, o.corner); }
        std::uint64_t Hash() const noexcept {
            return Support::HashOfPair(std::uint64_t{corner[0]} << 32 | corner[1], corner[2]);
        }
    };

    struct BoundaryFace {
        Number element;
        std::uint32_t face;
        int group;
        int other;
        bool has_neighbour;
    };

    // Records of one bin from one piece of the elements, in blocks that are filled one after another.
    class Bin {
    public:
        void Add(Record const& r) {
            if (m_room == 0) {
                m_blocks.push_back(std::make_unique_for_overwrite<Record[]>(BlockSize));
                m_next = m_blocks.back().get();
                m_room = BlockSize;
            }
            *m_next++ = r;
            --m_room;
        }
        std::uint32_t Size() const noexcept {
            return static_cast<std::uint32_t>(m_blocks.size() * BlockSize - m_room);
        }
        Record const& operator[](std::uint32_t i) const noexcept {
            return m_blocks[i / BlockSize][i % BlockSize];
        }
        void AppendTo(std::vector<Record>& records) const {
            for (std::uint32_t left = Size(); auto const& block : m_blocks) {
                records.insert(records.end(), block.get(), block.get() + std::min(left, BlockSize));
                left -= std::min(left, BlockSize);
            }
        }

    private:
        static constexpr std::uint32_t BlockSize = 512;
        std::vector<std::unique_ptr<Record[]>> m_blocks;
        Record* m_next = nullptr;
        std::uint32_t m_room = 0;
    };

    // The records of the elements of one piece.
    struct Piece {
        std::vector<Bin> bins;
        std::vector<Face> collapsed;
    };

    // Records that came of the same corners, of a bin that is a Bin or a list of records.
    template <typename Records>
    struct Chain {
        Records const& records;
        std::vector<std::uint32_t> const& next;
        std::uint32_t first;

        Record const& operator[](std::uint32_t i) const noexcept { return records[i]; }
        std::uint32_t Next(std::uint32_t i) const noexcept { return next[i]; }
    };

    // What matching a bin needs; used again for every bin.
    struct Table {
        std::vector<std::uint32_t> first;  // hash table: first record of a chain
        std::vector<std::uint32_t> next;   // next record of the same chain
        std::vector<std::uint32_t> chains; // first records of all chains
        std::vector<Record> records;       // of all pieces, where there are several
    };

    // Elements in as many pieces as there are threads, as long as that pays.
    template <typename Group>
    void Spread(Group const& group) {
        std::uint64_t const elements = m_elements.GetNumElements();
        constexpr std::uint64_t fewest = 4096, most_pieces = 16;
        std::uint64_t const pieces =
            m_parallel
                ? std::clamp<std::uint64_t>(elements / fewest, 1,
                                            std::min<std::uint64_t>(Support::NumberOfThreads(), most_pieces))
                : 1;
        m_pieces.resize(static_cast<std::size_t>(pieces));
        std::uint64_t const size = std::max<std::uint64_t>((elements + pieces - 1) / pieces, 1);
        Support::ComputeSteps({.items = elements, .step = size, .parallel = m_parallel},
                              [&](std::uint64_t first, std::uint64_t last) {
                                  Spread(group, first, last,
                                         m_pieces[static_cast<std::size_t>(first / size)]);
                              });
        for (Piece const& piece : m_pieces)
            m_collapsed.insert(m_collapsed.end(), piece.collapsed.begin(), piece.collapsed.end());
    }
    template <typename Group>
    void Spread(Group const& group, std::uint64_t first, std::uint64_t last, Piece& piece) const {
        piece.bins.resize(m_bins);
        Record record{};
        m_elements.ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t number) {
            record.element = static_cast<Number>(number);
            if constexpr (std::is_invocable_v<Group const&, MMeshElement const&, Number>)
                record.group = group(e, record.element);
            else
                record.group = group(e);
            auto const faces = FacesOf(e.GetNodeCount());
            for (record.face = 0; record.face < faces.size(); ++record.face) {
                if (SetCorners(record, e, faces[record.face]))
                    piece.bins[m_bin_shift < 64 ? record.Hash() >> m_bin_shift : 0].Add(record);
                else
                    piece.collapsed.push_back({record.element, record.face});
            }
        });
    }

    static std::span<ElementFace const> FacesOf(unsigned char n) noexcept {
        if constexpr (!WithQuadrilaterals)
            if (MMeshElementDescriptor::GetNumSimpleNodes(n) > 0)
                return TetrahedronFaces;
        return FacesOfElement(n);
    }

    // False for a face with fewer than three different corners.
    static bool SetCorners(Record& record, MMeshElement const& e, ElementFace const& face) noexcept {
        std::uint32_t corner[4];
        for (unsigned int i = 0; i < face.corners; ++i)
            corner[i] = static_cast<std::uint32_t>(e.GetNode(face.node[i])->GetIndex());
        if constexpr (WithQuadrilaterals) {
            // Inserts one corner after the other, in order and without repetition.
            unsigned int count = 0;
            std::ranges::fill(record.corner, NoNode);
            for (unsigned int i = 0; i < face.corners; ++i) {
                unsigned int at = count;
                while (at > 0 && record.corner[at - 1] > corner[i])
                    --at;
                if (at > 0 && record.corner[at - 1] == corner[i])
                    continue;
                for (unsigned int k = count++; k > at; --k)
                    record.corner[k] = record.corner[k - 1];
                record.corner[at] = corner[i];
            }
            return count >= 3;
        } else {
            std::uint32_t const low = std::min(std::min(corner[0], corner[1]), corner[2]);
            std::uint32_t const high = std::max(std::max(corner[0], corner[1]), corner[2]);
            record.corner[0] = low;
            record.corner[1] = corner[0] ^ corner[1] ^ corner[2] ^ low ^ high;
            record.corner[2] = high;
            return low != record.corner[1] && record.corner[1] != high;
        }
    }

    // Bins as steps of work: few at a time, since each takes a table of its own.
    Support::WorkSteps Bins() const noexcept {
        return {.items = m_elements.GetNumElements() > 0 ? m_bins : 0,
                .parallel = m_parallel,
                .window = 2 * Support::NumberOfThreads()};
    }

    template <typename VisitChain>
    void ForEachChainAtOnce(VisitChain const& visit) {
        Support::ComputeSteps<Table>(
            Bins(),
            [&](std::uint64_t first, std::uint64_t last, Table& table) {
                MatchBins(first, last, table, visit);
            },
            [](std::uint64_t, std::uint64_t, Table const&) { return true; });
    }

    // Calls visit(chain) for all chains of the bins, and drops these.
    template <typename Visit>
    void MatchBins(std::uint64_t first, std::uint64_t last, Table& table, Visit const& visit) {
        for (auto bin = static_cast<std::size_t>(first); bin < last; ++bin) {
            if (m_pieces.size() == 1) {
                Bin& records = m_pieces.front().bins[bin];
                MatchRecords(records, records.Size(), table, visit);
            } else {
                table.records.clear();
                for (Piece const& piece : m_pieces)
                    if (!piece.bins.empty())
                        piece.bins[bin].AppendTo(table.records);
                MatchRecords(table.records, static_cast<std::uint32_t>(table.records.size()), table, visit);
            }
            for (Piece& piece : m_pieces)
                if (!piece.bins.empty())
                    piece.bins[bin] = Bin();
        }
    }

    // Links records with the same corners to chains and calls visit(chain) for each.
    template <typename Records, typename Visit>
    static void MatchRecords(Records const& records, std::uint32_t count, Table& table, Visit const& visit) {
        std::size_t size = 64;
        while (size < 2 * std::size_t{count})
            size *= 2;
        table.first.assign(size, End);
        table.next.assign(count, End);
        table.chains.clear();
        for (std::uint32_t i = 0; i < count; ++i) {
            std::size_t at = static_cast<std::size_t>(records[i].Hash()) & (size - 1);
            while (table.first[at] != End && !records[table.first[at]].Matches(records[i]))
                at = (at + 1) & (size - 1);
            if (table.first[at] == End) {
                table.first[at] = i;
                table.chains.push_back(i);
            } else {
                std::uint32_t last = table.first[at];
                while (table.next[last] != End)
                    last = table.next[last];
                table.next[last] = i;
            }
        }
        for (std::uint32_t const first : table.chains)
            visit(Chain<Records>{records, table.next, first});
    }

    template <typename Records, typename Visit>
    void VisitChain(Chain<Records> const& chain, Visit const& visit) const {
        std::uint32_t const second = chain.Next(chain.first);
        if (second != End && chain.Next(second) == End && chain[chain.first].group == chain[second].group &&
            chain[chain.first].element != chain[second].element)
            return; // what most faces are
        for (std::uint32_t own = chain.first; own != End; own = chain.Next(own)) {
            Record const& r = chain[own];
            Record const* const other = Neighbour(chain, r.element);
            int const other_group = other ? other->group : NoNeighbour;
            if (!other || r.group != other_group)
                visit(r.element, r.face, r.group, other_group, other != nullptr);
        }
    }

    template <typename Records>
    Record const* Neighbour(Chain<Records> const& chain, Number own) const {
        Record const* lowest = nullptr;
        for (std::uint32_t i = chain.first; i != End; i = chain.Next(i)) {
            Record const& r = chain[i];
            if (r.element != own && (!lowest || m_elements.GetElementPtrAt(r.element) <
                                                    m_elements.GetElementPtrAt(lowest->element)))
                lowest = &r;
        }
        return lowest;
    }

    static constexpr std::uint32_t End = std::numeric_limits<std::uint32_t>::max();

    MMeshElementContainer const& m_elements;
    bool m_parallel;
    std::uint64_t m_bins = 1;
    unsigned int m_bin_shift = 64; // the highest bits of the hash number the bin
    std::vector<Piece> m_pieces;
    std::vector<Face> m_collapsed;
};

} // namespace KetSDK::Mesh::Detail
