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
    void Update(Edges& storage) {
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
    EdgeElement& edge = m_edge_storage.emplace_back(p, q);
    m_edges.Append(edge);
    return &edge;
}

void MStlGraph::AddEdges(std::span<std::array<std::uint32_t, 2> const> ends, bool parallel) {
    std::size_t const before = m_edge_storage.Claim(ends.size());
    auto const at = [this, before](std::uint64_t i) {
        return &m_edge_storage[before + static_cast<std::size_t>(i)];
    };
    KetSDK::Support::ComputeStepsSafely({.items = ends.size(), .step = 4096, .parallel = parallel},
                                        [&](std::uint64_t first, std::uint64_t last) {
                                            for (std::uint64_t i = first; i < last; ++i) {
                                                auto const& [p, q] = ends[static_cast<std::size_t>(i)];
                                                ::new (static_cast<void*>(at(i)))
                                                    EdgeElement(&m_vertices[p], &m_vertices[q]);
                                                m_edges.Link(i, ends.size(), at);
                                            }
                                        });
    m_edge_storage.Settle(true);
    m_edges.Append(ends.size(), at);
}

DLIST_ELEMENT<MStlEdge>* MStlGraph::FindEdge(MStlPoint const* p, MStlPoint const* q, bool directed) const {
    // The table beside the edges is a cache: bringing it up to date changes nothing that can be seen.
    m_edge_lookup->Update(const_cast<MStlGraph*>(this)->m_edge_storage);
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
