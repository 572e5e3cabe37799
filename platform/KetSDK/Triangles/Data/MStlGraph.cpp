// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Triangles/Data/MStlGraph.h>

#include <KetSDK/Support/MHash.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Triangles/Data/MStlPointLookup.h>

#include <tsl/robin_set.h>

#include <cstdint>
#include <new>
#include <utility>
#include <vector>

namespace {

using EdgeElement = DLIST_ELEMENT<MStlEdge>;
using Ends = std::pair<MStlPoint const*, MStlPoint const*>;

Ends EndsOf(Ends const& ends) noexcept {
    return ends;
}
Ends EndsOf(EdgeElement const* edge) noexcept {
    return {edge->GetPoint(0), edge->GetPoint(1)};
}

struct Hash {
    template <typename K>
    std::size_t operator()(K const& key) const noexcept {
        Ends const ends = EndsOf(key);
        return static_cast<std::size_t>(KetSDK::Support::HashOfPair(
            reinterpret_cast<std::uintptr_t>(ends.first), reinterpret_cast<std::uintptr_t>(ends.second)));
    }
};

struct Equal {
    using is_transparent = void;
    template <typename A, typename B>
    bool operator()(A const& a, B const& b) const noexcept {
        return EndsOf(a) == EndsOf(b);
    }
};

} // namespace

// The first edge for every ordered pair of vertices. Brought up to date before each look-up, so that edges
// which nobody looks up cost nothing.
struct MStlGraph::EdgeLookup {
    tsl::robin_set<EdgeElement*, Hash, Equal, std::allocator<EdgeElement*>, true> edges;
    std::size_t entered = 0;

    template <typename Edges>
    void Update(Edges const& storage) {
        for (; entered < storage.size(); ++entered)
            edges.insert(&storage[entered]);
    }
    EdgeElement* Find(Ends const& ends) const {
        auto const found = edges.find(ends);
        return found == edges.end() ? nullptr : *found;
    }
};

MStlGraph::MStlGraph()
    : m_vertex_lookup(std::make_unique<MStlPointLookup>())
    , m_edge_lookup(std::make_unique<EdgeLookup>()) {}

MStlGraph::~MStlGraph() = default;

MStlPoint* MStlGraph::AddVertex(MLong x, MLong y, MLong z) {
    return m_vertex_lookup->FindOrAppend(m_vertices, x, y, z);
}

DLIST_ELEMENT<MStlEdge>* MStlGraph::AddEdge(MStlPoint* p, MStlPoint* q) {
    if (p == q)
        return nullptr;
    m_edge_storage.MakeRoom(1);
    EdgeElement* const edge = new (m_edge_storage.At(m_edge_storage.size())) EdgeElement(p, q);
    m_edge_storage.Grow(1);
    m_edges.Append(*edge);
    return edge;
}

void MStlGraph::AddEdges(std::span<std::array<std::uint32_t, 2> const> ends, bool parallel) {
    m_edge_storage.MakeRoom(ends.size());
    std::size_t const before = m_edge_storage.size();
    m_edges.Append(
        ends.size(), [&](std::uint64_t i) { return m_edge_storage.At(before + static_cast<std::size_t>(i)); },
        [&](auto const& link) {
            KetSDK::Support::ComputeStepsSafely(
                {.items = ends.size(), .step = 4096, .parallel = parallel},
                [&](std::uint64_t first, std::uint64_t last) {
                    for (auto i = static_cast<std::size_t>(first); i < last; ++i) {
                        new (m_edge_storage.At(before + i))
                            EdgeElement(&m_vertices[ends[i][0]], &m_vertices[ends[i][1]]);
                        link(i);
                    }
                });
        });
    m_edge_storage.Grow(ends.size());
}

void MStlGraph::EdgeStorage::MakeRoom(std::size_t edges) {
    while (m_blocks.size() * BlockSize < m_size + edges)
        m_blocks.push_back(static_cast<EdgeElement*>(m_arena.Allocate(BlockSize * sizeof(EdgeElement))));
}

DLIST_ELEMENT<MStlEdge>* MStlGraph::FindEdge(MStlPoint const* p, MStlPoint const* q, bool directed) const {
    // The table beside the edges is a cache: bringing it up to date changes nothing that can be seen.
    m_edge_lookup->Update(m_edge_storage);
    EdgeElement* const found = m_edge_lookup->Find({p, q});
    return found || directed ? found : m_edge_lookup->Find({q, p});
}

void MStlGraph::AddCopy(MStlGraph const& other) {
    // Counted first: a graph may be copied into itself.
    std::size_t const vertices = other.m_vertices.size();
    std::uint64_t const edges = other.NumberOfEdges();
    std::vector<MStlPoint*> copies;
    copies.reserve(vertices);
    for (std::size_t i = 0; i < vertices; ++i) {
        MStlPoint const& vertex = other.m_vertices[i];
        copies.push_back(AddVertex(vertex.GetX(), vertex.GetY(), vertex.GetZ()));
    }
    for (std::size_t i = 0; i < edges; ++i) {
        MStlEdge const& edge = other.m_edge_storage[i];
        AddEdge(copies[static_cast<std::size_t>(edge.GetPoint(0)->GetIndex())],
                copies[static_cast<std::size_t>(edge.GetPoint(1)->GetIndex())]);
    }
    SetName(other.GetName().c_str());
}
