// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Support/MBlockStorage.h>
#include <KetSDK/Triangles/Data/DLIST.h>
#include <KetSDK/Triangles/Data/MStlEdge.h>
#include <KetSDK/Triangles/Data/MStlFeatureItem.h>
#include <KetSDK/Triangles/Data/MStlPoint.h>
#include <KetSDK/Triangles/Data/MStlPointLookup.h>
#include <KetSDK/Triangles/Data/MStlRange.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

// A named line graph: vertices at integer positions and edges between them, both owned by the graph and
// at fixed addresses. One thread at a time adds to or searches a graph; concurrent walks are safe.
class KETSDK_API MStlGraph : public MStlFeatureItem {
    template <typename T>
    using Storage = KetSDK::Support::MBlockStorage<T, 128>;

public:
    using VertexRange = MStlRange<Storage<MStlPoint>::iterator>;
    using ConstVertexRange = MStlRange<Storage<MStlPoint>::const_iterator>;
    using EdgeRange = MStlRange<DLIST<MStlEdge>::Iterator<MStlEdge>>;
    using ConstEdgeRange = MStlRange<DLIST<MStlEdge>::Iterator<MStlEdge const>>;

    // An empty graph.
    MStlGraph();
    ~MStlGraph() override;

    // The vertex at a position in internal units, added when there is none. Owned by the graph.
    MStlPoint* AddVertex(MLong x, MLong y, MLong z);
    // Fetches what AddVertex will look at first. For a caller who knows a position some vertices ahead.
    [[gnu::always_inline]] void PrefetchVertex(MLong x, MLong y, MLong z) const noexcept {
        m_vertex_lookup->Prefetch(x, y, z);
    }
    // Appends an edge from p to q, vertices of this graph, also when there is one between them. Null,
    // and nothing is added, when both are the same vertex.
    DLIST_ELEMENT<MStlEdge>* AddEdge(MStlPoint* p, MStlPoint* q);
    // Appends an edge for each pair of indices of different vertices, in their order, on several threads when
    // parallel. Out of memory, nothing changes.
    void AddEdges(std::span<std::array<std::uint32_t, 2> const> ends, bool parallel);
    // The first edge from p to q; when `directed` is false and there is none, the first from q to p.
    // Null when there is no such edge.
    DLIST_ELEMENT<MStlEdge>* FindEdge(MStlPoint const* p, MStlPoint const* q, bool directed) const;

    std::uint64_t NumberOfVertices() const noexcept { return m_vertices.size(); }
    // Vertex i, not range-checked.
    MStlPoint* GetVertex(std::uint64_t i) noexcept { return &m_vertices[static_cast<std::size_t>(i)]; }
    MStlPoint const* GetVertex(std::uint64_t i) const noexcept {
        return &m_vertices[static_cast<std::size_t>(i)];
    }
    std::uint64_t NumberOfEdges() const noexcept { return m_edges.GetCount(); }
    // Vertices and edges in order of addition: for (MStlEdge& e : graph.Edges()).
    VertexRange Vertices() noexcept { return {m_vertices.begin(), m_vertices.end()}; }
    ConstVertexRange Vertices() const noexcept { return {m_vertices.begin(), m_vertices.end()}; }
    EdgeRange Edges() noexcept { return {DLIST<MStlEdge>::Iterator<MStlEdge>(m_edges.First()), {}}; }
    ConstEdgeRange Edges() const noexcept {
        return {DLIST<MStlEdge>::Iterator<MStlEdge const>(m_edges.First()), {}};
    }

    // Appends copies of the other graph's vertices and edges and takes over its name. Vertices at
    // positions that are there already are shared.
    void AddCopy(MStlGraph const& other);

private:
    struct EdgeLookup;

    Storage<MStlPoint> m_vertices;
    Storage<DLIST_ELEMENT<MStlEdge>> m_edge_storage;
    DLIST<MStlEdge> m_edges;
    std::unique_ptr<MStlPointLookup> m_vertex_lookup;
    std::unique_ptr<EdgeLookup> m_edge_lookup;
};
