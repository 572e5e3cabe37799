// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/detail/NeighborBlocks.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <utility>

using Descriptor = MMeshElementDescriptor;

namespace {

unsigned int CornersInUse(MMeshElement const& e) {
    return std::min<unsigned int>(e.GetNodeCount(), 4);
}

// The bit of a node in signatures.
std::uint32_t NodeBit(std::uint64_t mask_index) {
    return std::uint32_t{1} << (static_cast<std::uint32_t>(mask_index) * 0x9E3779B1u >> 27);
}

// Calls use(mask index of the node, number of the element, signature of its other corners) for the
// first four nodes of elements first to last - 1, as far as their mask index lies below `slots`.
template <typename Use>
void ForEachCorner(MMeshBase const& mesh, std::uint64_t first, std::uint64_t last, std::size_t slots,
                   Use&& use) {
    mesh.Elements().ForEachWithNodes(first, last, [&use, slots](MMeshElement const& e, std::uint64_t number) {
        std::uint64_t slot[4] = {};
        std::uint32_t bit[4] = {};
        unsigned int const corners = CornersInUse(e);
        for (unsigned int i = 0; i < corners; ++i) {
            slot[i] = e.GetNode(i)->GetMaskIndex();
            bit[i] = NodeBit(slot[i]);
        }
        std::uint32_t const others[4] = {bit[1] | bit[2] | bit[3], bit[0] | bit[2] | bit[3],
                                         bit[0] | bit[1] | bit[3], bit[0] | bit[1] | bit[2]};
        for (unsigned int i = 0; i < corners; ++i)
            if (slot[i] < slots)
                use(static_cast<std::size_t>(slot[i]), static_cast<std::uint32_t>(number), others[i]);
    });
}

using FourNumbers = std::uint32_t __attribute__((vector_size(16)));

FourNumbers Four(std::uint32_t const (&numbers)[4]) noexcept {
    FourNumbers four;
    std::memcpy(&four, numbers, sizeof four);
    return four;
}

// One bit for each of four comparisons.
template <typename FourFlags>
std::uint64_t FourBits(FourFlags const& flags) {
    using TwoHalves = std::uint64_t __attribute__((vector_size(16)));
    auto const halves =
        reinterpret_cast<TwoHalves>(reinterpret_cast<FourNumbers>(flags) & FourNumbers{1, 2, 4, 8});
    std::uint64_t const bits = halves[0] | halves[1];
    return (bits | bits >> 32) & 15;
}

} // namespace

MMeshBaseNeighborsInfo& MMeshBaseNeighborsInfo::operator=(MMeshBaseNeighborsInfo const& other) {
    if (this != &other) {
        Disable();
        if (other.IsEnabled())
            Enable();
    }
    return *this;
}

MMeshBaseNeighborsInfo::~MMeshBaseNeighborsInfo() {
    Disable();
}

// A counting sort of elements by node, which threads do together: each counts and then enters the elements of
// a piece of its own, behind those of the pieces before. So the lists are those of a single piece.
class MMeshBaseNeighborsInfo::Sorting {
public:
    Sorting(MMeshBase const& mesh, std::size_t slots, bool parallel)
        : m_mesh(mesh)
        , m_slots(slots)
        , m_pieces(KetSDK::Support::OneStepPerThread(mesh.Elements().GetNumElements(), 16384, 16, parallel))
        , m_next(static_cast<std::size_t>(m_pieces.NumberOfSteps())) {}

    // Counts how long the lists are.
    void Count() {
        ForEachPiece([this](std::uint64_t first, std::uint64_t last, std::vector<std::uint32_t>& count) {
            count.assign(m_slots, 0);
            ForEachCorner(m_mesh, first, last, m_slots,
                          [&count](std::size_t slot, std::uint32_t, std::uint32_t) { ++count[slot]; });
        });
    }

    // Says where the lists lie; returns how many blocks they take.
    std::uint32_t Place(MDataMask<MMeshPoint, ElementList>& lists) {
        KetSDK::Mesh::Detail::NeighborBlocks blocks;
        for (std::size_t slot = 0; slot < m_slots; ++slot) {
            ElementList list{blocks.Used(), 0};
            for (std::vector<std::uint32_t>& next : m_next)
                if (!next.empty())
                    list.size += std::exchange(next[slot], 4 * list.first_block + list.size);
            blocks.Take(list.size);
            lists.GetSlot(slot) = list;
        }
        return blocks.Used();
    }

    // Fills the blocks, the last of each list up with entries that nobody uses.
    void Fill(MDataMask<MMeshPoint, ElementList> const& lists, Block* blocks) {
        KetSDK::Support::ComputeSteps({.items = m_slots, .step = 4096, .parallel = m_pieces.parallel},
                                      [&](std::uint64_t first, std::uint64_t last) {
                                          for (std::uint64_t slot = first; slot < last; ++slot) {
                                              ElementList const& list = lists.GetValueAt(slot);
                                              if (list.size % 4 != 0)
                                                  blocks[list.first_block + list.size / 4] = Block{};
                                          }
                                      });
        ForEachPiece([&](std::uint64_t first, std::uint64_t last, std::vector<std::uint32_t>& next) {
            ForEachCorner(m_mesh, first, last, m_slots,
                          [&](std::size_t slot, std::uint32_t element, std::uint32_t signature) {
                              std::uint32_t const entry = next[slot]++;
                              blocks[entry / 4].element[entry % 4] = element;
                              blocks[entry / 4].signature[entry % 4] = signature;
                          });
        });
    }

private:
    template <typename Work>
    void ForEachPiece(Work const& work) {
        KetSDK::Support::ComputeSteps(m_pieces, [&](std::uint64_t first, std::uint64_t last) {
            work(first, last, m_next[static_cast<std::size_t>(first / m_pieces.step)]);
        });
    }

    MMeshBase const& m_mesh;
    std::size_t m_slots;
    KetSDK::Support::WorkSteps m_pieces;            // of the elements
    std::vector<std::vector<std::uint32_t>> m_next; // of each piece, by the node's slot
};

void MMeshBaseNeighborsInfo::Enable(bool parallel) {
    if (IsEnabled())
        return;
    auto incident = std::make_unique<MDataMask<MMeshPoint, ElementList>>();
    m_parent->GetPointMasks()->AddMask(incident.get());
    // Nodes that are registered with no mask have no list.
    Sorting sorting(*m_parent, static_cast<std::size_t>(incident->GetSize()), parallel);
    sorting.Count();
    decltype(m_blocks) blocks(sorting.Place(*incident));
    sorting.Fill(*incident, blocks.data());
    m_blocks.swap(blocks);
    m_incident = std::move(incident);
}

void MMeshBaseNeighborsInfo::Disable() {
    m_incident.reset();
    decltype(m_blocks)().swap(m_blocks);
}

MMeshElement const* MMeshBaseNeighborsInfo::Max3(MMeshElement const* a, MMeshElement const* b,
                                                 MMeshElement const* c) noexcept {
    std::less<> const less;
    MMeshElement const* const ab = less(a, b) ? b : a;
    return less(ab, c) ? c : ab;
}

MMeshElement* MMeshBaseNeighborsInfo::GetNeighbor(MMeshElement* e, unsigned int f) {
    if (f > 3 || CornersInUse(*e) < 4)
        return nullptr;
    FaceLists const face = ListsAround(*e, f);
    MMeshElement* lowest = nullptr;
    ForEachCandidate(face, [&](std::uint32_t number) {
        MMeshElement* const other = m_parent->GetElement(number);
        if (other != e && Contains(face.list[1], number) && Contains(face.list[2], number) &&
            (!lowest || std::less<>()(other, lowest)))
            lowest = other;
    });
    return lowest;
}

MMeshBaseNeighborsInfo::FaceLists MMeshBaseNeighborsInfo::ListsAround(MMeshElement const& e,
                                                                      unsigned int f) const {
    FaceLists face;
    for (unsigned int i = 0; i < 3; ++i) {
        face.node[i] = e.GetNode(Descriptor::descr_triangle_point[f][i]);
        face.list[i] = m_incident->GetValue(*face.node[i]);
    }
    for (unsigned int i = 1; i < 3; ++i) {
        if (face.list[i].size < face.list[0].size) {
            std::swap(face.list[i], face.list[0]);
            std::swap(face.node[i], face.node[0]);
        }
    }
    return face;
}

// The candidates are found by signature and as bits: whether a block has one cannot be foreseen. The elements
// themselves, which lie anywhere in memory, are not looked at.
template <typename Visit>
void MMeshBaseNeighborsInfo::ForEachCandidate(FaceLists const& face, Visit&& visit) const {
    // A node that the face repeats is in no signature of its own list.
    std::uint32_t wanted = 0;
    for (unsigned int i = 1; i < 3; ++i)
        if (face.node[i] != face.node[0])
            wanted |= NodeBit(face.node[i]->GetMaskIndex());
    constexpr std::uint32_t blocks_at_once = 16;
    for (std::uint32_t done = 0; done < face.list[0].Blocks(); done += blocks_at_once) {
        Block const* const block = m_blocks.data() + face.list[0].first_block + done;
        std::uint32_t const count = std::min(blocks_at_once, face.list[0].Blocks() - done);
        std::uint64_t candidates = 0;
        for (std::uint32_t i = 0; i < count; ++i)
            candidates |= FourBits((Four(block[i].signature) & wanted) == wanted) << 4 * i;
        for (; candidates != 0; candidates &= candidates - 1) {
            auto const entry = static_cast<unsigned int>(std::countr_zero(candidates));
            visit(block[entry / 4].element[entry % 4]);
        }
    }
}

bool MMeshBaseNeighborsInfo::Contains(ElementList const& list, std::uint32_t element) const noexcept {
    // An entry that is not used may hold the number 0, but never the signature of an element.
    FourNumbers found{};
    for (std::uint32_t i = list.first_block; i < list.first_block + list.Blocks(); ++i)
        found |=
            reinterpret_cast<FourNumbers>(Four(m_blocks[i].element) == element) & Four(m_blocks[i].signature);
    return FourBits(found != 0u) != 0;
}

char MMeshBaseNeighborsInfo::GetEdgeIndex(MMeshElement* e, MMeshPoint* p, MMeshPoint* q) {
    unsigned int a = 0;
    unsigned int b = 0;
    for (unsigned int i = 0; i < CornersInUse(*e); ++i) {
        if (e->GetNode(i) == p)
            a = i;
        if (e->GetNode(i) == q)
            b = i;
    }
    for (char edge = 0; edge < 6; ++edge) {
        auto const& ends = Descriptor::descr_tet4_tet10_point[static_cast<unsigned char>(edge)];
        if ((ends[0] == a && ends[1] == b) || (ends[0] == b && ends[1] == a))
            return edge;
    }
    return 0;
}

void MMeshBaseNeighborsInfo::GetEdgeNeighbors(MMeshElement* e, char edge, std::vector<MMeshElement*>& out) {
    auto const number = static_cast<unsigned char>(edge);
    if (number > 5 || CornersInUse(*e) < 4)
        return;
    std::size_t const first = out.size();
    out.push_back(e);
    MMeshPoint* const p = e->GetNode(Descriptor::descr_tet4_tet10_point[number][0]);
    MMeshPoint* const q = e->GetNode(Descriptor::descr_tet4_tet10_point[number][1]);
    auto const& faces = Descriptor::descr_tet4_edge_faces[number];
    if (!WalkAroundEdge(e, faces[0], p, q, out, first))
        WalkAroundEdge(e, faces[1], p, q, out, first);
}

bool MMeshBaseNeighborsInfo::WalkAroundEdge(MMeshElement* e, unsigned int f, MMeshPoint* p, MMeshPoint* q,
                                            std::vector<MMeshElement*>& out, std::size_t first) {
    MMeshElement* before = e;
    MMeshElement* current = GetNeighbor(e, f);
    while (current) {
        if (current == out[first])
            return true;
        // Only a face with more than two elements leads back into the middle of the walk.
        if (std::find(out.begin() + static_cast<std::ptrdiff_t>(first), out.end(), current) != out.end())
            return false;
        out.push_back(current);
        auto const edge = static_cast<unsigned char>(GetEdgeIndex(current, p, q));
        auto const& faces = Descriptor::descr_tet4_edge_faces[edge];
        MMeshElement* next = GetNeighbor(current, faces[0]);
        if (next == before || !next)
            next = GetNeighbor(current, faces[1]);
        if (next == before)
            return false;
        before = std::exchange(current, next);
    }
    return false;
}
