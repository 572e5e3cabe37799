// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshElementContainer.h>
#include <KetSDK/Mesh/operators/detail/ElementFaces.h>
#include <KetSDK/Support/MHash.h>

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
// asking for one neighbour after another.
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

    // group(element) says to which group an element belongs. One of the walks below uses the matcher up.
    template <typename Group>
    FaceMatcher(MMeshElementContainer const& elements, Group&& group)
        : m_elements(elements) {
        std::uint64_t bins = 1;
        while (bins < MaxBins && bins * RecordsPerBin < 4 * elements.GetNumElements()) {
            bins *= 2;
            --m_bin_shift;
        }
        m_bins.resize(bins);
        Spread(group);
    }

    // Calls visit(element, face, group, group of the neighbour, whether there is a neighbour) for every
    // face whose neighbour is of another group or missing, in no particular order. Where more than two
    // elements meet at a face, the neighbour is the one of lowest address that is not the element itself.
    template <typename Visit>
    void ForEachBoundaryFace(Visit&& visit) {
        for (Bin& bin : m_bins) {
            MatchRecords(
                bin, [&](Bin const& records, std::uint32_t first) { VisitRecords(records, first, visit); });
            bin = Bin();
        }
    }

    // Calls visit(element, other) for elements of one group that have a face in common, in no particular
    // order. Where more than two of them meet at a face, enough pairs are visited to connect all.
    template <typename Visit>
    void ForEachConnection(Visit&& visit) {
        for (Bin& bin : m_bins) {
            MatchRecords(bin, [&](Bin const& records, std::uint32_t first) {
                for (std::uint32_t own = m_next[first]; own != End; own = m_next[own]) {
                    std::uint32_t other = first;
                    while (other != own && records[other].group != records[own].group)
                        other = m_next[other];
                    if (other != own)
                        visit(records[other].element, records[own].element);
                }
            });
            bin = Bin();
        }
    }

    // Calls visit(elements) for every face, in no particular order: the one, two or more elements that have
    // it.
    template <typename Visit>
    void ForEachFace(Visit&& visit) {
        std::vector<Number> elements;
        for (Bin& bin : m_bins) {
            MatchRecords(bin, [&](Bin const& records, std::uint32_t first) {
                elements.clear();
                for (std::uint32_t i = first; i != End; i = m_next[i])
                    elements.push_back(records[i].element);
                visit(std::span<Number const>(elements));
            });
            bin = Bin();
        }
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

    // Records of one bin, in blocks that are filled one after another.
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

    private:
        static constexpr std::uint32_t BlockSize = 512;
        std::vector<std::unique_ptr<Record[]>> m_blocks;
        Record* m_next = nullptr;
        std::uint32_t m_room = 0;
    };

    template <typename Group>
    void Spread(Group& group) {
        Record record{};
        m_elements.ForEachWithNodes([&](MMeshElement const& e, std::uint64_t number) {
            record.element = static_cast<Number>(number);
            record.group = group(e);
            auto const faces = FacesOf(e.GetNodeCount());
            for (record.face = 0; record.face < faces.size(); ++record.face) {
                if (SetCorners(record, e, faces[record.face]))
                    m_bins[m_bin_shift < 64 ? record.Hash() >> m_bin_shift : 0].Add(record);
                else
                    m_collapsed.push_back({record.element, record.face});
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

    // Links records with the same corners to chains and calls visit_chain(records, first of the chain).
    template <typename VisitChain>
    void MatchRecords(Bin const& records, VisitChain const& visit_chain) {
        std::size_t size = 64;
        while (size < 2 * records.Size())
            size *= 2;
        m_first.assign(size, End);
        m_next.assign(records.Size(), End);
        m_chains.clear();
        for (std::uint32_t i = 0; i < records.Size(); ++i) {
            std::size_t at = static_cast<std::size_t>(records[i].Hash()) & (size - 1);
            while (m_first[at] != End && !records[m_first[at]].Matches(records[i]))
                at = (at + 1) & (size - 1);
            if (m_first[at] == End) {
                m_first[at] = i;
                m_chains.push_back(i);
            } else {
                std::uint32_t last = m_first[at];
                while (m_next[last] != End)
                    last = m_next[last];
                m_next[last] = i;
            }
        }
        for (std::uint32_t const first : m_chains)
            visit_chain(records, first);
    }

    template <typename Visit>
    void VisitRecords(Bin const& records, std::uint32_t first, Visit& visit) const {
        std::uint32_t const second = m_next[first];
        if (second != End && m_next[second] == End && records[first].group == records[second].group &&
            records[first].element != records[second].element)
            return; // what most faces are
        for (std::uint32_t own = first; own != End; own = m_next[own]) {
            Record const& r = records[own];
            Record const* const other = Neighbour(records, first, r.element);
            int const other_group = other ? other->group : NoNeighbour;
            if (!other || r.group != other_group)
                visit(r.element, r.face, r.group, other_group, other != nullptr);
        }
    }

    Record const* Neighbour(Bin const& records, std::uint32_t first, Number own) const {
        Record const* lowest = nullptr;
        for (std::uint32_t i = first; i != End; i = m_next[i]) {
            Record const& r = records[i];
            if (r.element != own && (!lowest || m_elements.GetElementPtrAt(r.element) <
                                                    m_elements.GetElementPtrAt(lowest->element)))
                lowest = &r;
        }
        return lowest;
    }

    static constexpr std::uint32_t End = std::numeric_limits<std::uint32_t>::max();

    MMeshElementContainer const& m_elements;
    std::vector<Face> m_collapsed;
    unsigned int m_bin_shift = 64; // the highest bits of the hash number the bin
    std::vector<Bin> m_bins;
    std::vector<std::uint32_t> m_first;  // hash table: first record of a chain
    std::vector<std::uint32_t> m_next;   // next record of the same chain
    std::vector<std::uint32_t> m_chains; // first records of all chains
};

} // namespace KetSDK::Mesh::Detail
