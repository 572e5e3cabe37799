// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementContainer.h>
#include <KetSDK/Mesh/mesh/detail/AllElements.h>
#include <KetSDK/Mesh/operators/detail/ElementFaces.h>
#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/MHash.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

// Whether all faces are triangles, so that the smaller matcher will do.
inline bool HasTrianglesOnly(MMeshElementContainer const& elements, bool parallel) {
    return AllElements(elements, parallel, [](MMeshElement const& e) {
        return MMeshElementDescriptor::GetNumSimpleNodes(e.GetNodeCount()) <= 4;
    });
}

inline bool HasTetrahedraOnly(MMeshElementContainer const& elements, bool parallel) {
    return AllElements(elements, parallel,
                       [](MMeshElement const& e) { return e.GetNodeCount() == 4 || e.GetNodeCount() == 10; });
}

// Makes one group of all elements, for whoever asks where the mesh ends or which elements are connected.
struct OneGroup {
    int operator()(MMeshElement const&) const noexcept { return 0; }
};

// Finds the faces at which a mesh ends or at which elements of two groups meet, or else those at which
// elements of one group meet. Takes elements of every kind.
//
// Each face becomes a record of its corners. The records are spread by their second lowest corner over bins
// that fit into the processor's cache, where equal faces find one another through a small table. So the
// elements are read once and in order, and nothing is looked up at random in a large table: several times
// faster than asking for one neighbour after another. Where neighbouring nodes have near numbers, so have
// the bins that are written at a time. On several threads each spreads elements of its own, and bins are
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
    FaceMatcher(MMeshBase const& mesh, bool parallel, Group const& group)
        : m_elements(mesh.Elements())
        , m_parallel(parallel)
        , m_groups(static_cast<std::size_t>(m_elements.GetNumElements())) {
        CutIntoBins(static_cast<std::uint64_t>(mesh.NumberOfPoints()));
        Spread(group);
    }

    // Calls visit(element, face, group, group of the neighbour, whether there is a neighbour) for every
    // face whose neighbour is of another group or missing. It does so on the calling thread, in an order that
    // is the same on any number of threads. Where more than two elements meet at a face, the neighbour is the
    // one of lowest address that is not the element itself.
    template <typename Visit>
    void ForEachBoundaryFace(Visit const& visit) {
        using Found = std::vector<BoundaryFace>;
        auto const match = [this](std::uint64_t first, std::uint64_t last, Found& found) {
            found.clear();
            auto const keep = [&found](Number element, std::uint32_t face, int group, int other, bool has) {
                found.push_back({element, face, group, other, has});
            };
            MatchBins(first, last, [this, &keep](Chain const& chain) { this->VisitChain(chain, keep); });
        };
        auto const hand_on = [&visit](std::uint64_t, std::uint64_t, Found const& found) {
            for (BoundaryFace const& f : found)
                visit(f.element, f.face, f.group, f.other, f.has_neighbour);
            return true;
        };
        Support::ComputeSteps<Found>(Bins(), match, hand_on);
    }
    // The same on the threads that find the faces: visit writes for each face where no other face does.
    template <typename Visit>
    void ForEachBoundaryFaceAtOnce(Visit const& visit) {
        ForEachChainAtOnce([this, &visit](Chain const& chain) { this->VisitChain(chain, visit); });
    }

    // Calls visit(element, other) for elements of one group that have a face in common, in no particular
    // order and on several threads at once. Where more than two of them meet at a face, enough pairs are
    // visited to connect all.
    template <typename Visit>
    void ForEachConnectionAtOnce(Visit const& visit) {
        ForEachChainAtOnce([this, &visit](Chain const& chain) {
            std::uint32_t const second = chain.Next(chain.first);
            if (second == End)
                return;
            if (chain.Next(second) == End) { // nearly always
                if (GroupOf(chain[chain.first]) == GroupOf(chain[second]))
                    visit(chain[chain.first].element, chain[second].element);
                return;
            }
            std::vector<std::pair<int, Number>> elements; // by their groups
            for (std::uint32_t i = chain.first; i != End; i = chain.Next(i))
                elements.push_back({GroupOf(chain[i]), chain[i].element});
            std::ranges::sort(elements);
            for (std::size_t i = 1; i < elements.size(); ++i)
                if (elements[i - 1].first == elements[i].first)
                    visit(elements[i - 1].second, elements[i].second);
        });
    }

    // Calls visit(elements) for every face, in no particular order and on several threads at once: the one,
    // two or more elements that have it.
    template <typename Visit>
    void ForEachFaceAtOnce(Visit const& visit) {
        ForEachChainAtOnce([&visit](Chain const& chain) {
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
    static constexpr std::uint64_t RecordsPerBin = 8192;
    static constexpr std::uint64_t MaxBins = 1024;
    static constexpr unsigned int FaceBits = 3; // enough for six faces

    // A face with its corners by ascending index; a triangle among quadrilaterals ends with NoNode.
    struct Record {
        std::uint32_t first;
        std::uint32_t second_and_face; // the corner counted from the first of its bin
        std::uint32_t others[WithQuadrilaterals ? 2 : 1];
        Number element;

        std::uint32_t Second() const noexcept { return second_and_face >> FaceBits; }
        std::uint32_t Face() const noexcept { return second_and_face & ((1U << FaceBits) - 1); }
        bool Matches(Record const& o) const noexcept {
            return first == o.first && Second() == o.Second() && std::ranges::equal(others, o.others);
        }
        std::uint64_t Hash() const noexcept {
            return Support::HashOfPair(std::uint64_t{first} << 32 | others[0], Second());
        }
    };

    struct BoundaryFace {
        Number element;
        std::uint32_t face;
        int group;
        int other;
        bool has_neighbour;
    };

    static constexpr std::size_t BlockSize = 128; // of records

    // Records of one bin from one piece of the elements, in blocks that are filled one after another.
    struct Bin {
        std::vector<Record*> blocks;
        Record* next = nullptr;
        Record* end = nullptr;

        void AppendTo(std::vector<Record>& records) const {
            for (Record const* const block : blocks)
                records.insert(records.end(), block, block == blocks.back() ? next : block + BlockSize);
        }
    };

    // The records of the elements of one piece.
    struct Piece {
        std::vector<Bin> bins;
        Record* memory = nullptr; // for the blocks to come
        std::vector<Face> collapsed;

        void Add(std::uint32_t number, Record const& r) {
            Bin& bin = bins[number];
            if (bin.next == bin.end) {
                bin.blocks.push_back(memory);
                bin.next = memory;
                memory += BlockSize;
                bin.end = memory;
            }
            *bin.next++ = r;
        }
    };

    // What matching a bin needs; used again for every bin.
    struct Table {
        std::vector<Record> records;
        std::vector<std::uint32_t> first;  // hash table: first record of a chain
        std::vector<std::uint32_t> last;   // last record of a chain of three records and more
        std::vector<std::uint32_t> next;   // next record of the same chain
        std::vector<std::uint32_t> chains; // first records of all chains
    };

    // Records that came of the same corners.
    struct Chain {
        Table const& table;
        std::uint32_t first;

        Record const& operator[](std::uint32_t i) const noexcept { return table.records[i]; }
        std::uint32_t Next(std::uint32_t i) const noexcept { return table.next[i]; }
    };

    // Each bin takes the faces whose second corner is one of 2^m_bin_shift nodes.
    void CutIntoBins(std::uint64_t nodes) {
        std::uint64_t const wanted =
            std::clamp<std::uint64_t>(4 * m_elements.GetNumElements() / RecordsPerBin, 1, MaxBins);
        std::uint64_t const last = std::max<std::uint64_t>(nodes, 1) - 1;
        m_bin_shift = std::min(static_cast<unsigned int>(std::bit_width(last / wanted)), 32 - FaceBits);
        m_bins = (last >> m_bin_shift) + 1;
    }

    // Elements in as many pieces as there are threads, as long as that pays. The calling thread asks for all
    // memory: what another thread asks for goes back to the system each time, and comes as new pages.
    template <typename Group>
    void Spread(Group const& group) {
        Support::WorkSteps const steps =
            Support::OneStepPerThread(m_elements.GetNumElements(), 4096, 16, m_parallel);
        m_pieces = std::vector<Piece>(static_cast<std::size_t>(steps.NumberOfSteps()));
        std::uint64_t const most_faces = WithQuadrilaterals ? 6 : 4;
        std::uint64_t const room = (steps.step * most_faces / BlockSize + m_bins + 1) * BlockSize;
        m_memory.resize(static_cast<std::size_t>(m_pieces.size() * room));
        for (std::size_t i = 0; i < m_pieces.size(); ++i)
            m_pieces[i].memory = m_memory.data() + i * room;
        Support::ComputeSteps(steps, [&](std::uint64_t first, std::uint64_t last) {
            Spread(group, first, last, m_pieces[static_cast<std::size_t>(first / steps.step)]);
        });
        for (Piece const& piece : m_pieces)
            m_collapsed.insert(m_collapsed.end(), piece.collapsed.begin(), piece.collapsed.end());
    }
    template <typename Group>
    void Spread(Group const& group, std::uint64_t first, std::uint64_t last, Piece& piece) {
        piece.bins.resize(static_cast<std::size_t>(m_bins));
        m_elements.ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t number) {
            auto const element = static_cast<Number>(number);
            if constexpr (std::is_invocable_v<Group const&, MMeshElement const&, Number>)
                m_groups[number] = group(e, element);
            else
                m_groups[number] = group(e);
            if constexpr (WithQuadrilaterals) {
                std::uint32_t face = 0;
                for (ElementFace const& corners : FacesOfElement(e.GetNodeCount()))
                    Add({element, face++}, SortedCorners(e, corners), piece);
            } else if (MMeshElementDescriptor::GetNumSimpleNodes(e.GetNodeCount()) > 0) {
                std::uint32_t const node[] = {IndexOf(e, 0), IndexOf(e, 1), IndexOf(e, 2), IndexOf(e, 3)};
                for (std::uint32_t face = 0; face < 4; ++face) {
                    auto const& corners = TetrahedronFaces[face].node;
                    Add({element, face}, Sorted(node[corners[0]], node[corners[1]], node[corners[2]]), piece);
                }
            }
        });
    }
    static std::uint32_t IndexOf(MMeshElement const& e, unsigned char node) noexcept {
        return static_cast<std::uint32_t>(e.GetNode(node)->GetIndex());
    }

    // The corners of a face by ascending index, filled up with NoNode.
    using Corners = std::array<std::uint32_t, WithQuadrilaterals ? 4 : 3>;

    static Corners Sorted(std::uint32_t a, std::uint32_t b, std::uint32_t c) noexcept {
        std::uint32_t const low = std::min(std::min(a, b), c);
        std::uint32_t const high = std::max(std::max(a, b), c);
        return {low, a ^ b ^ c ^ low ^ high, high};
    }
    // Without repetition.
    static Corners SortedCorners(MMeshElement const& e, ElementFace const& face) noexcept {
        Corners sorted;
        sorted.fill(NoNode);
        for (unsigned int i = 0; i < face.corners; ++i) {
            std::uint32_t const corner = IndexOf(e, face.node[i]);
            unsigned int at = i;
            while (at > 0 && sorted[at - 1] >= corner)
                --at;
            if (sorted[at] == corner)
                continue;
            for (unsigned int k = i; k > at; --k)
                sorted[k] = sorted[k - 1];
            sorted[at] = corner;
        }
        return sorted;
    }

    void Add(Face const& face, Corners const& corners, Piece& piece) const {
        bool const collapsed =
            WithQuadrilaterals ? corners[2] == NoNode : corners[0] == corners[1] || corners[1] == corners[2];
        if (collapsed) {
            piece.collapsed.push_back(face);
            return;
        }
        std::uint32_t const bin = corners[1] >> m_bin_shift;
        Record record{
            corners[0], (corners[1] - (bin << m_bin_shift)) << FaceBits | face.face, {}, face.element};
        std::copy(corners.begin() + 2, corners.end(), record.others);
        piece.Add(bin, record);
    }

    // Bins as steps of work.
    Support::WorkSteps Bins() const noexcept {
        return {.items = m_elements.GetNumElements() > 0 ? m_bins : 0, .parallel = m_parallel};
    }

    template <typename VisitChain>
    void ForEachChainAtOnce(VisitChain const& visit) {
        Support::ComputeSteps(
            Bins(), [&](std::uint64_t first, std::uint64_t last) { MatchBins(first, last, visit); });
    }

    // Calls visit(chain) for all chains of the bins.
    template <typename Visit>
    void MatchBins(std::uint64_t first, std::uint64_t last, Visit const& visit) {
        m_tables.With([&](Table& table) {
            for (auto bin = static_cast<std::size_t>(first); bin < last; ++bin) {
                table.records.clear();
                for (Piece const& piece : m_pieces)
                    if (!piece.bins.empty())
                        piece.bins[bin].AppendTo(table.records);
                LinkRecords(table);
                for (std::uint32_t const i : table.chains)
                    visit(Chain{table, i});
            }
        });
    }

    // Links records with the same corners to chains. By itself, because inlined it has fewer registers.
    [[gnu::noinline]] static void LinkRecords(Table& table) {
        auto const count = static_cast<std::uint32_t>(table.records.size());
        std::size_t const size = std::bit_ceil(std::max<std::size_t>(2 * table.records.size(), 64));
        table.first.assign(size, End);
        table.next.assign(count, End);
        table.chains.clear();
        Record const* const records = table.records.data();
        std::uint32_t* const first = table.first.data();
        std::uint32_t* const next = table.next.data();
        for (std::uint32_t i = 0; i < count; ++i) {
            std::size_t at = static_cast<std::size_t>(records[i].Hash()) & (size - 1);
            while (first[at] != End && !records[first[at]].Matches(records[i]))
                at = (at + 1) & (size - 1);
            if (first[at] == End) {
                first[at] = i;
                table.chains.push_back(i);
            } else if (std::uint32_t& second = next[first[at]]; second == End) {
                second = i;
            } else {
                AppendThird(table, at, second, i);
            }
        }
    }

    // Or a later one. Many elements may have one face, so no chain is walked to its end.
    [[gnu::noinline, gnu::cold]] static void AppendThird(Table& table, std::size_t at, std::uint32_t second,
                                                         std::uint32_t record) {
        table.last.resize(table.first.size());
        table.next[table.next[second] == End ? second : table.last[at]] = record;
        table.last[at] = record;
    }

    int GroupOf(Record const& r) const noexcept { return m_groups[r.element]; }

    template <typename Visit>
    void VisitChain(Chain const& chain, Visit const& visit) const {
        std::uint32_t const second = chain.Next(chain.first);
        if (second != End && chain.Next(second) == End &&
            GroupOf(chain[chain.first]) == GroupOf(chain[second]) &&
            chain[chain.first].element != chain[second].element)
            return; // what most faces are
        Lowest const lowest = LowestOf(chain);
        for (std::uint32_t own = chain.first; own != End; own = chain.Next(own)) {
            Record const& r = chain[own];
            bool const is_lowest = r.element == chain[lowest.first].element;
            std::uint32_t const other = is_lowest ? lowest.other : lowest.first;
            bool const has_other = other != End;
            int const group = GroupOf(r);
            int const other_group = has_other ? GroupOf(chain[other]) : NoNeighbour;
            if (!has_other || group != other_group)
                visit(r.element, r.Face(), group, other_group, has_other);
        }
    }

    // The records of the two elements of lowest address; an element may have a face twice.
    struct Lowest {
        std::uint32_t first;
        std::uint32_t other = End;
    };
    Lowest LowestOf(Chain const& chain) const {
        Lowest lowest{chain.first};
        for (std::uint32_t i = chain.Next(chain.first); i != End; i = chain.Next(i)) {
            if (chain[i].element == chain[lowest.first].element)
                continue;
            if (IsBefore(chain[i], chain[lowest.first]))
                lowest = {i, lowest.first};
            else if (lowest.other == End || IsBefore(chain[i], chain[lowest.other]))
                lowest.other = i;
        }
        return lowest;
    }
    bool IsBefore(Record const& a, Record const& b) const {
        return m_elements.GetElementPtrAt(a.element) < m_elements.GetElementPtrAt(b.element);
    }

    static constexpr std::uint32_t End = std::numeric_limits<std::uint32_t>::max();

    MMeshElementContainer const& m_elements;
    bool m_parallel;
    std::uint64_t m_bins = 1;
    unsigned int m_bin_shift = 0;
    std::vector<int, Support::MUninitializedAllocator<int>> m_groups; // of the elements
    std::vector<Record, Support::MUninitializedAllocator<Record>> m_memory;
    std::vector<Piece> m_pieces;
    Support::Pool<Table> m_tables;
    std::vector<Face> m_collapsed;
};

} // namespace KetSDK::Mesh::Detail
