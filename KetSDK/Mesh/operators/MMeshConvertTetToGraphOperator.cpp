// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshConvertTetToGraphOperator.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/detail/FaceMatcher.h>
#include <KetSDK/Mesh/operators/detail/SubVolumeIDs.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Triangles/Data/MStlFeature.h>

#include <tsl/robin_map.h>
#include <tsl/robin_set.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

using namespace KetSDK::Mesh::Detail;
using KetSDK::Support::Prefetch;
using Descriptor = MMeshElementDescriptor;

namespace {

using Elements = std::vector<MMeshElement*>;

// The elements of all sub-volumes by identifier, as far as they have four nodes, gathered in one pass:
// walking each sub-volume by itself takes a pass for each.
tsl::robin_map<int, Elements> MembersOf(MMeshBase& mesh) {
    tsl::robin_map<int, Elements> members;
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
        members[(*it)->GetID()];
    auto const* const numbers = std::as_const(*mesh.GetElementMasks()).GetSubvolumeMask();
    auto group = members.end();
    int last_number = 0;
    for (MMeshElement& e : mesh.Elements()) {
        int const number = numbers ? numbers->GetValue(e) : -1;
        if (group == members.end() || number != last_number)
            group = members.find(number);
        last_number = number;
        if (group != members.end() && e.GetNodeCount() >= 4)
            group.value().push_back(&e);
    }
    return members;
}

// The vertices and edges that one graph has already, told apart without a look into the graph's own tables:
// vertices by the node, edges by what stands beside their lower vertex.
class GraphWriter {
public:
    explicit GraphWriter(MMeshBase const& mesh)
        : m_vertices(static_cast<std::size_t>(mesh.NumberOfPoints())) {}

    struct Vertex {
        MStlPoint* point = nullptr;
        std::uint32_t index = 0;
        std::uint32_t graph_number = 0; // of the graph that it belongs to
    };

    void Begin(MStlGraph& graph) {
        m_graph = &graph;
        ++m_graph_number;
        m_ends.clear();
        m_more.resize(1);
        m_many.clear();
    }

    // Fetches ahead what AddVertex and AddEdge read; the node must have been fetched before.
    void Fetch(MMeshPoint const& node) const { Prefetch(&m_vertices[Place(node)]); }
    void FetchEnds(MMeshPoint const& node) const {
        if (Vertex const& vertex = m_vertices[Place(node)]; vertex.graph_number == m_graph_number)
            Prefetch(&m_ends[vertex.index]);
    }

    // The node's vertex, added when there is none.
    Vertex AddVertex(MMeshPoint const& node) {
        Vertex& vertex = m_vertices[Place(node)];
        if (vertex.graph_number != m_graph_number) {
            MStlPoint* const point = m_graph->AddVertex(node.x, node.y, node.z);
            vertex = {point, static_cast<std::uint32_t>(point->GetIndex()), m_graph_number};
            if (vertex.index >= m_ends.size()) // a node at the same position may have the vertex already
                m_ends.emplace_back();
        }
        return vertex;
    }

    // Adds the edge unless there is one between the two vertices, in either direction.
    void AddEdge(Vertex const& p, Vertex const& q) {
        auto const [low, high] = std::minmax({p.index, q.index});
        if (low != high && Enter(low, high))
            m_graph->AddEdge(p.point, q.point);
    }

private:
    // The upper ends of the edges from one vertex, as many as fit, and where there are more: seven is what a
    // vertex of a tetrahedral mesh has on average. Vertex 0 is nobody's upper end.
    struct Ends {
        std::uint32_t vertex[7] = {};
        std::uint32_t more = 0;
    };

    static constexpr unsigned int MostLookedAt = 16; // of Ends from one vertex

    static std::size_t Place(MMeshPoint const& node) { return static_cast<std::size_t>(node.GetIndex()); }

    // False when the edge is there.
    bool Enter(std::uint32_t low, std::uint32_t high) {
        Ends* ends = &m_ends[low];
        for (unsigned int looked_at = 0; looked_at < MostLookedAt; ++looked_at) {
            for (std::uint32_t& vertex : ends->vertex) {
                if (vertex == high)
                    return false;
                if (vertex == 0) {
                    vertex = high;
                    return true;
                }
            }
            if (ends->more == 0) {
                ends->more = static_cast<std::uint32_t>(m_more.size());
                m_more.emplace_back().vertex[0] = high;
                return true;
            }
            ends = &m_more[ends->more];
        }
        return m_many.insert(std::uint64_t{low} << 32 | high).second;
    }

    MStlGraph* m_graph = nullptr;
    std::uint32_t m_graph_number = 0;
    std::vector<Vertex> m_vertices; // by node
    std::vector<Ends> m_ends;       // by vertex
    std::vector<Ends> m_more = std::vector<Ends>(1);
    tsl::robin_set<std::uint64_t> m_many; // the edges beyond those, of vertices that have very many
};

// Fetches what the elements behind number i read, step by step: they, their nodes and their vertices lie
// anywhere in memory.
void FetchAhead(Elements const& elements, std::size_t i, GraphWriter const& writer) {
    auto const nodes_at = [&](std::size_t ahead) {
        return elements[std::min(i + ahead, elements.size() - 1)]->GetNodes();
    };
    for (std::size_t corner = 0; corner < 4; ++corner) {
        Prefetch(nodes_at(24)[corner]);
        writer.Fetch(*nodes_at(16)[corner]);
        writer.FetchEnds(*nodes_at(8)[corner]);
    }
}

} // namespace

MMeshConvertTetToGraphOperator::MMeshConvertTetToGraphOperator(MMeshBase& mesh, MStlFeature& feature) noexcept
    : m_mesh(&mesh)
    , m_feature(&feature) {}

MMeshConvertTetToGraphOperator::~MMeshConvertTetToGraphOperator() = default;

bool MMeshConvertTetToGraphOperator::Operate() {
    FindBoundaryEdges();
    auto const members = MembersOf(*m_mesh);
    GraphWriter writer(*m_mesh);
    for (auto it = m_mesh->BeginSubVolume(); it != m_mesh->EndSubVolume(); ++it) {
        MStlGraph& graph = *m_feature->AddNewGraph();
        graph.SetName((*it)->GetName().c_str());
        writer.Begin(graph);
        Elements const& elements = members.at((*it)->GetID());
        for (std::size_t i = 0; i < elements.size(); ++i) {
            FetchAhead(elements, i, writer);
            MMeshPoint* const* const nodes = elements[i]->GetNodes();
            GraphWriter::Vertex vertices[4];
            for (std::size_t corner = 0; corner < 4; ++corner)
                vertices[corner] = writer.AddVertex(*nodes[corner]);
            for (auto const& [a, b] : Descriptor::descr_tet4_tet10_point)
                if (!m_only_interior_edges || !m_boundary_edges->GetValue(*nodes[a]).contains(nodes[b]))
                    writer.AddEdge(vertices[a], vertices[b]);
        }
    }
    return true;
}

void MMeshConvertTetToGraphOperator::FindBoundaryEdges() {
    m_boundary_edges = std::make_unique<BoundaryEdges>();
    m_mesh->GetPointMasks()->RegisterMask(m_boundary_edges.get());
    if (!m_only_interior_edges)
        return;
    MMeshBaseNeighborsInfo& neighbors = *m_mesh->GetNeighborsInfo();
    neighbors.Enable(GetParallel());
    SubVolumeIDs const ids(*m_mesh);
    FaceMatcher<false> matcher(m_mesh->Elements(), GetParallel(), ids);
    matcher.ForEachBoundaryFace([this](std::uint32_t element, std::uint32_t face, int, int, bool) {
        JoinCorners(*m_mesh->GetElement(element), face);
    });
    // The others are all told apart at once; collapsed ones, which are rare, are asked for one by one.
    for (auto const& [element, face] : matcher.CollapsedFaces()) {
        MMeshElement* const e = m_mesh->GetElement(element);
        MMeshElement const* const neighbor = neighbors.GetNeighbor(e, face);
        if (!neighbor || ids(*neighbor) != ids(*e))
            JoinCorners(*e, face);
    }
}

// Enters the edges of a face of an element that is in a sub-volume.
void MMeshConvertTetToGraphOperator::JoinCorners(MMeshElement const& e, unsigned int face) {
    if (!m_mesh->GetSubVolume(e))
        return;
    for (unsigned char const i : Descriptor::descr_triangle_point_ORIENTED[face])
        for (unsigned char const j : Descriptor::descr_triangle_point_ORIENTED[face])
            if (std::uint64_t const slot = e.GetNode(i)->GetMaskIndex();
                i != j && slot < m_boundary_edges->GetSize())
                m_boundary_edges->GetSlot(slot).insert(e.GetNode(j));
}
