// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshConvertTetToGraphOperator.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/mesh/MMeshElementPrefetch.h>
#include <KetSDK/Mesh/operators/detail/CornerJoiner.h>
#include <KetSDK/Mesh/operators/detail/EdgeSet.h>
#include <KetSDK/Mesh/operators/detail/FaceMatcher.h>
#include <KetSDK/Mesh/operators/detail/SubVolumeIDs.h>
#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Triangles/Data/MStlFeature.h>

#include <tsl/robin_map.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

using namespace KetSDK;
using namespace KetSDK::Mesh::Detail;
using KetSDK::Support::Prefetch;
using Descriptor = MMeshElementDescriptor;

namespace {

using Elements = std::vector<MMeshElement*, Support::MLargePageAllocator<MMeshElement*>>;

// Elements with four nodes, in the order of the mesh, and how many of one sub-volume follow one another.
struct ElementRuns {
    struct Run {
        int number; // of the sub-volume
        std::size_t size;
    };
    std::vector<MMeshElement*> elements;
    std::vector<Run> runs;
};

// The elements of all sub-volumes by identifier, as far as they have four nodes, gathered in one pass:
// walking each sub-volume by itself takes a pass for each.
tsl::robin_map<int, Elements> MembersOf(MMeshBase& mesh, bool parallel) {
    tsl::robin_map<int, Elements> members;
    std::uint64_t left = mesh.Elements().GetNumElements(); // counts of sub-volumes may be anything
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it) {
        std::uint64_t const expected = std::min((*it)->GetNbElements(), left);
        left -= expected;
        members[(*it)->GetID()].reserve(static_cast<std::size_t>(expected));
    }
    auto const* const numbers = std::as_const(*mesh.GetElementMasks()).GetSubvolumeMask();
    Support::ComputeSteps<ElementRuns>(
        {.items = mesh.Elements().GetNumElements(), .step = 4096, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last, ElementRuns& found) {
            found.elements.clear();
            found.runs.clear();
            for (std::uint64_t i = first; i < last; ++i) {
                MMeshElement& e = *mesh.GetElement(i);
                if (e.GetNodeCount() < 4)
                    continue;
                int const number = numbers ? numbers->GetValue(e) : -1;
                if (found.runs.empty() || found.runs.back().number != number)
                    found.runs.push_back({number, 0});
                ++found.runs.back().size;
                found.elements.push_back(&e);
            }
        },
        [&members](std::uint64_t, std::uint64_t, ElementRuns const& found) {
            auto next = found.elements.begin();
            for (auto const& [number, size] : found.runs) {
                auto const end = next + static_cast<std::ptrdiff_t>(size);
                if (auto const group = members.find(number); group != members.end())
                    group.value().insert(group.value().end(), next, end);
                next = end;
            }
            return true;
        });
    return members;
}

// Fills graphs with the edges of elements, some thousand elements at a time. An edge is owned by one of its
// vertices, and each thread finds out which edges are new of those that some of the vertices own.
class GraphWriter {
public:
    GraphWriter(MMeshBase const& mesh, bool parallel)
        : m_parallel(parallel)
        , m_sets(parallel ? std::min(std::bit_ceil(Support::NumberOfThreads()), MostSets) : 1)
        , m_vertices(static_cast<std::size_t>(mesh.NumberOfPoints()))
        , m_steps(StepsPerRound) {
        for (EdgeSet& set : m_sets)
            set.Reserve(OwnersPerSet(m_vertices.size()));
    }

    // Fills an empty graph without edges for which is_left_out(element, edge) holds; it is asked on several
    // threads at once when parallel.
    template <typename IsLeftOut>
    void Write(Elements const& elements, IsLeftOut const& is_left_out, MStlGraph& graph) {
        ++m_graph_number;
        for (EdgeSet& set : m_sets)
            set.Clear();
        if (!m_parallel || elements.size() < ElementsPerStep)
            return WriteOnOneThread(elements, is_left_out, graph);
        WriteOnThreads(elements, is_left_out, graph);
    }

private:
    static constexpr std::size_t ElementsPerStep = 2048;
    static constexpr std::size_t StepsPerRound = 16;
    static constexpr std::size_t MostSets = 16;
    // So many vertices that follow one another, and mostly belong to the same elements, own edges of one set.
    static constexpr std::uint32_t OwnersInARow = 64;

    // Of owners among sets, as many as a power of two.
    struct Division {
        int bits;

        std::size_t SetOf(std::uint32_t owner) const noexcept {
            return owner / OwnersInARow & ((std::uint32_t{1} << bits) - 1);
        }
        // In its set.
        std::uint32_t IndexOf(std::uint32_t owner) const noexcept {
            return (owner / OwnersInARow >> bits) * OwnersInARow + owner % OwnersInARow;
        }
    };
    struct alignas(8) Vertex {
        std::uint32_t index = 0;
        std::uint32_t graph_number = 0; // of the graph that it belongs to
    };
    using Corners = std::array<std::uint32_t, 4>;
    // An edge of an element: the index of its owner in the set, and the other vertex.
    struct Use {
        std::uint32_t owner;
        std::uint32_t other;
        std::uint32_t number; // 8 * element + edge
    };
    // Nodes of the elements of a step that may have no vertex yet, in the order of their first use.
    using NewNodes = std::vector<MMeshPoint const*>;
    // Edges that came of late, of which most come again soon: elements that follow one another mostly touch.
    // May forget any, but takes none for another.
    class RecentEdges {
    public:
        // Whether the edge from an owner to another vertex came of late. Notes it.
        bool Has(std::uint32_t owner, std::uint32_t other) noexcept {
            std::uint64_t const edge = std::uint64_t{owner} << 32 | other;
            return std::exchange(m_edges[((owner * 0x9E3779B1U) ^ (other * 0x85EBCA6BU)) >> (32 - Bits)],
                                 edge) == edge;
        }

    private:
        static constexpr unsigned int Bits = 12;

        std::array<std::uint64_t, std::size_t{1} << Bits> m_edges{}; // no edge ends where it begins
    };
    // What threads find out about the edges of a step.
    struct Step {
        std::span<Use> uses;                         // those of each set, with room for all in each
        std::array<std::uint32_t, MostSets> count{}; // of uses
        std::size_t first_edge = 0;                  // of those that are new in the round
        std::size_t new_edges = 0;
    };

    std::size_t OwnersPerSet(std::size_t vertices) const noexcept {
        return vertices / m_sets.size() + OwnersInARow;
    }

    // Takes each edge through all that follows, one after another. Not inlined: beside the other way GCC
    // keeps less of this loop in registers, and it takes a tenth longer.
    template <typename IsLeftOut>
    [[gnu::noinline]] void WriteOnOneThread(Elements const& elements, IsLeftOut const& is_left_out,
                                            MStlGraph& graph) {
        EdgeSet& set = m_sets.front(); // takes all
        for (std::size_t i = 0; i < elements.size(); ++i) {
            FetchAhead(elements, i, graph);
            Corners corners;
            for (std::size_t corner = 0; corner < 4; ++corner)
                corners[corner] = VertexOf(*elements[i]->GetNodes()[corner], graph).index;
            set.MakeRoom(static_cast<std::size_t>(graph.NumberOfVertices()));
            for (unsigned int edge = 0; edge < 6; ++edge) {
                auto const [a, b] = Descriptor::descr_tet4_tet10_point[edge];
                std::uint32_t const p = corners[a], q = corners[b];
                std::uint32_t const owner = OwnerOf(p, q);
                auto const asked = [&] { return is_left_out(*elements[i], edge); };
                if (p != q && set.Enter(owner, p ^ q ^ owner, asked))
                    graph.AddEdge(graph.GetVertex(p), graph.GetVertex(q));
            }
        }
    }
    // Fetches what the elements behind number i read, step by step: they, their nodes and their vertices lie
    // anywhere in memory.
    void FetchAhead(Elements const& elements, std::size_t i, MStlGraph const& graph) {
        auto const nodes_at = [&](std::size_t ahead) {
            return elements[std::min(i + ahead, elements.size() - 1)]->GetNodes();
        };
        Prefetch(nodes_at(48));
        for (std::size_t corner = 0; corner < 4; ++corner) {
            Prefetch(nodes_at(24)[corner]);
            Prefetch(&m_vertices[static_cast<std::size_t>(nodes_at(16)[corner]->GetIndex())]);
            MMeshPoint const& node = *nodes_at(8)[corner];
            Vertex const& vertex = m_vertices[static_cast<std::size_t>(node.GetIndex())];
            if (vertex.graph_number == m_graph_number)
                m_sets.front().Fetch(vertex.index);
            else if (auto const number = static_cast<std::size_t>(node.GetIndex());
                     std::exchange(m_fetched[number % m_fetched.size()], &node) != &node)
                graph.PrefetchVertex(node.x, node.y, node.z);
        }
    }
    Vertex const& VertexOf(MMeshPoint const& node, MStlGraph& graph) {
        Vertex& vertex = m_vertices[static_cast<std::size_t>(node.GetIndex())];
        if (vertex.graph_number != m_graph_number) {
            MStlPoint const& added = *graph.AddVertex(node.x, node.y, node.z);
            std::atomic_ref(vertex).store({static_cast<std::uint32_t>(added.GetIndex()), m_graph_number},
                                          std::memory_order_relaxed);
        }
        return vertex;
    }

    // Some thousand elements are a round. While its vertices are added, other threads find the corners of the
    // next two: no further, as there are slots for two rounds.
    template <typename IsLeftOut>
    void WriteOnThreads(Elements const& elements, IsLeftOut const& is_left_out, MStlGraph& graph) {
        Support::WorkSteps const steps{
            .items = elements.size(), .step = ElementsPerStep, .parallel = true, .window = StepsPerRound};
        std::vector<NewNodes> new_nodes(static_cast<std::size_t>(steps.NumberOfSlots()));
        constexpr std::size_t room = 3 * StepsPerRound * ElementsPerStep;
        std::vector<Corners, Support::MUninitializedAllocator<Corners>> corners(
            std::min(room, static_cast<std::size_t>(steps.NumberOfSteps()) * ElementsPerStep));
        MakeRoomForUses();
        Support::ComputeSteps(
            steps,
            [&](std::uint64_t first, std::uint64_t, std::size_t slot) {
                auto const begin = static_cast<std::size_t>(first);
                FindCorners(std::span(elements).subspan(begin), new_nodes[slot], &corners[begin % room]);
            },
            [&](std::uint64_t first, std::uint64_t last, std::size_t slot) {
                AddVertices(new_nodes[slot], graph);
                auto const step_of_round = static_cast<std::size_t>(first / ElementsPerStep % StepsPerRound);
                if (last < elements.size() && step_of_round + 1 < StepsPerRound)
                    return true;
                auto const begin = static_cast<std::size_t>(first) - step_of_round * ElementsPerStep;
                m_elements = std::span(elements).subspan(begin, static_cast<std::size_t>(last) - begin);
                m_corners = std::span(corners).subspan(begin % room, m_elements.size());
                SpreadEdges();
                FindNewEdges(graph.NumberOfVertices(), is_left_out);
                AddEdges(graph);
                return true;
            });
    }

    void MakeRoomForUses() {
        std::size_t const of_step = m_sets.size() * UsesPerStep;
        m_uses.resize(m_steps.size() * of_step);
        for (std::size_t i = 0; i < m_steps.size(); ++i)
            m_steps[i].uses = std::span(m_uses).subspan(i * of_step, of_step);
    }

    Support::WorkSteps Steps() const noexcept {
        return {.items = m_elements.size(), .step = ElementsPerStep, .parallel = m_parallel};
    }
    Step& StepAt(std::uint64_t element) {
        return m_steps[static_cast<std::size_t>(element / ElementsPerStep)];
    }

    // Finds the nodes at the corners of a step, the first of the elements.
    void FindCorners(std::span<MMeshElement* const> elements, NewNodes& new_nodes, Corners* corners) {
        new_nodes.clear();
        std::array<MMeshPoint const*, 1024> recent{};
        for (std::size_t i = 0; i < std::min(ElementsPerStep, elements.size()); ++i) {
            Mesh::PrefetchWithNodes<8>(i, elements.size(), [&](std::size_t k) { return elements[k]; });
            for (std::size_t corner = 0; corner < 4; ++corner) {
                MMeshPoint const* const node = elements[i]->GetNodes()[corner];
                auto const number = static_cast<std::uint32_t>(node->GetIndex());
                corners[i][corner] = number;
                // The vertices of the round before are added meanwhile.
                Vertex const vertex = std::atomic_ref(m_vertices[number]).load(std::memory_order_relaxed);
                if (vertex.graph_number != m_graph_number &&
                    std::exchange(recent[number % recent.size()], node) != node)
                    new_nodes.push_back(node);
            }
        }
    }

    void AddVertices(NewNodes const& nodes, MStlGraph& graph) {
        constexpr std::size_t ahead = 8;
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            MMeshPoint const& to_come = *nodes[std::min(i + ahead, nodes.size() - 1)];
            graph.PrefetchVertex(to_come.x, to_come.y, to_come.z);
            VertexOf(*nodes[i], graph);
        }
    }

    // Replaces corners by their vertices, and hands each edge to the set of its owner, mostly once a step.
    void SpreadEdges() {
        m_is_new.resize(m_elements.size());
        Support::ComputeSteps(Steps(), [&](std::uint64_t first, std::uint64_t last) {
            Step& step = StepAt(first);
            // Where the next use of each set goes. No members in this loop: what it writes could be one of
            // them.
            std::array<Use*, MostSets> next;
            for (std::size_t set = 0; set < m_sets.size(); ++set)
                next[set] = &step.uses[set * UsesPerStep];
            Division const division = m_division;
            RecentEdges recent;
            for (auto i = static_cast<std::size_t>(first); i < last; ++i) {
                constexpr std::size_t ahead = 8;
                for (std::uint32_t const node :
                     m_corners[std::min(i + ahead, static_cast<std::size_t>(last) - 1)])
                    Prefetch(&m_vertices[node]);
                Corners corners = m_corners[i];
                for (std::uint32_t& corner : corners)
                    corner = m_vertices[corner].index;
                m_corners[i] = corners;
                m_is_new[i] = {};
                for (unsigned int edge = 0; edge < 6; ++edge) {
                    auto const [a, b] = Descriptor::descr_tet4_tet10_point[edge];
                    std::uint32_t const p = corners[a], q = corners[b];
                    std::uint32_t const owner = OwnerOf(p, q);
                    Use*& use = next[division.SetOf(owner)];
                    *use = {division.IndexOf(owner), p ^ q ^ owner, static_cast<std::uint32_t>(8 * i + edge)};
                    use += static_cast<int>(p != q) & static_cast<int>(!recent.Has(owner, p ^ q ^ owner));
                }
            }
            for (std::size_t set = 0; set < m_sets.size(); ++set)
                step.count[set] = static_cast<std::uint32_t>(next[set] - &step.uses[set * UsesPerStep]);
        });
    }

    // Notes which edges no earlier element has.
    template <typename IsLeftOut>
    void FindNewEdges(std::size_t vertices, IsLeftOut const& is_left_out) {
        Support::WorkSteps const sets{.items = m_sets.size(), .parallel = m_parallel};
        Support::ComputeSteps(sets, [&](std::uint64_t first, std::uint64_t) {
            auto const number = static_cast<std::size_t>(first);
            m_sets[number].MakeRoom(OwnersPerSet(vertices));
            for (std::uint64_t element = 0; element < m_elements.size(); element += ElementsPerStep) {
                Step const& step = StepAt(element);
                Enter({&step.uses[number * UsesPerStep], step.count[number]}, m_sets[number], is_left_out);
            }
        });
    }
    template <typename IsLeftOut>
    void Enter(std::span<Use const> uses, EdgeSet& set, IsLeftOut const& is_left_out) {
        for (std::size_t i = 0; i < uses.size(); ++i) {
            constexpr std::size_t ahead = 16;
            set.Fetch(uses[std::min(i + ahead, uses.size() - 1)].owner);
            std::size_t const element = uses[i].number / 8;
            unsigned int const edge = uses[i].number % 8;
            m_is_new[element][edge] = set.Enter(uses[i].owner, uses[i].other,
                                                [&] { return is_left_out(*m_elements[element], edge); });
        }
    }
    // Either vertex, one as often as the other, whatever the order of the elements.
    static std::uint32_t OwnerOf(std::uint32_t p, std::uint32_t q) noexcept {
        return ((p ^ q) & 1) != 0 ? std::min(p, q) : std::max(p, q);
    }

    // A bit for each.
    unsigned int NewEdgesOf(std::size_t element) const noexcept {
        unsigned int bits = 0;
        for (unsigned int edge = 0; edge < 6; ++edge)
            bits |= static_cast<unsigned int>(m_is_new[element][edge]) << edge;
        return bits;
    }

    void AddEdges(MStlGraph& graph) {
        Support::ComputeSteps(Steps(), [this](std::uint64_t first, std::uint64_t last) {
            int count = 0;
            for (auto i = static_cast<std::size_t>(first); i < last; ++i)
                count += std::popcount(NewEdgesOf(i));
            StepAt(first).new_edges = static_cast<std::size_t>(count);
        });
        std::size_t edges = 0;
        for (std::uint64_t first = 0; first < m_elements.size(); first += ElementsPerStep)
            StepAt(first).first_edge = std::exchange(edges, edges + StepAt(first).new_edges);
        m_ends.resize(edges);
        Support::ComputeSteps(Steps(), [this](std::uint64_t first, std::uint64_t last) {
            auto* ends = m_ends.data() + StepAt(first).first_edge;
            for (auto i = static_cast<std::size_t>(first); i < last; ++i)
                for (unsigned int left = NewEdgesOf(i); left != 0; left &= left - 1) {
                    auto const [a, b] = Descriptor::descr_tet4_tet10_point[std::countr_zero(left)];
                    *ends++ = {m_corners[i][a], m_corners[i][b]};
                }
        });
        graph.AddEdges(m_ends, m_parallel);
    }

    // With one behind them, as one that does not count is overwritten by the next.
    static constexpr std::size_t UsesPerStep = 6 * ElementsPerStep + 1;

    bool m_parallel;
    std::vector<EdgeSet> m_sets;
    Division m_division{std::countr_zero(m_sets.size())};
    std::uint32_t m_graph_number = 0;
    std::vector<Vertex, Support::MLargePageAllocator<Vertex>> m_vertices; // by node
    std::array<MMeshPoint const*, 64> m_fetched{}; // nodes whose vertices were fetched of late
    // Of one round.
    std::span<MMeshElement* const> m_elements;
    std::vector<Step> m_steps;
    std::vector<Use, Support::MUninitializedAllocator<Use>> m_uses; // of all steps
    std::span<Corners> m_corners;                     // of the elements, as nodes and then as vertices
    std::vector<std::array<std::uint32_t, 2>> m_ends; // of new edges
    std::vector<std::array<bool, 8>> m_is_new;        // the edges of the elements
};

// Whether a sorted set has a node. Few nodes are all looked at: which half one lies in cannot be predicted.
bool Contains(std::span<MMeshPoint* const> set, MMeshPoint const* node) {
    if (set.size() > 16)
        return std::ranges::binary_search(set, node, std::less<>());
    bool is_there = false;
    for (MMeshPoint const* const other : set)
        is_there |= other == node;
    return is_there;
}

} // namespace

MMeshConvertTetToGraphOperator::MMeshConvertTetToGraphOperator(MMeshBase& mesh, MStlFeature& feature) noexcept
    : m_mesh(&mesh)
    , m_feature(&feature) {}

MMeshConvertTetToGraphOperator::~MMeshConvertTetToGraphOperator() = default;

bool MMeshConvertTetToGraphOperator::Operate() {
    FindBoundaryEdges();
    auto const members = MembersOf(*m_mesh, GetParallel());
    GraphWriter writer(*m_mesh, GetParallel());
    auto const is_on_boundary = [this](MMeshElement const& e, unsigned int edge) {
        auto const [a, b] = Descriptor::descr_tet4_tet10_point[edge];
        NodeSet const joined = m_boundary_edges->GetValue(*e.GetNodes()[a]);
        return Contains(joined, e.GetNodes()[b]);
    };
    auto const none = [](MMeshElement const&, unsigned int) { return false; };
    for (auto it = m_mesh->BeginSubVolume(); it != m_mesh->EndSubVolume(); ++it) {
        MStlGraph& graph = *m_feature->AddNewGraph();
        graph.SetName((*it)->GetName().c_str());
        Elements const& elements = members.at((*it)->GetID());
        if (m_only_interior_edges)
            writer.Write(elements, is_on_boundary, graph);
        else
            writer.Write(elements, none, graph);
    }
    return true;
}

void MMeshConvertTetToGraphOperator::FindBoundaryEdges() {
    m_boundary_edges = std::make_unique<BoundaryEdges>();
    m_mesh->GetPointMasks()->RegisterMask(m_boundary_edges.get());
    m_joined_nodes.clear();
    if (!m_only_interior_edges)
        return;
    MMeshBaseNeighborsInfo& neighbors = *m_mesh->GetNeighborsInfo();
    neighbors.Enable(GetParallel());
    SubVolumeIDs const ids(*m_mesh);
    FaceMatcher<false> matcher(*m_mesh, GetParallel(), ids);
    std::vector<CornerJoiner::Face> faces;
    matcher.ForEachBoundaryFace([&](std::uint32_t element, std::uint32_t face, int id, int, bool) {
        if (id != -1 || m_mesh->GetSubVolume(*m_mesh->GetElement(element)))
            faces.push_back({m_mesh->GetElement(element), face});
    });
    // The others are all told apart at once; collapsed ones, which are rare, are asked for one by one.
    for (auto const& [element, face] : matcher.CollapsedFaces()) {
        MMeshElement* const e = m_mesh->GetElement(element);
        MMeshElement const* const neighbor = neighbors.GetNeighbor(e, face);
        if ((!neighbor || ids(*neighbor) != ids(*e)) && m_mesh->GetSubVolume(*e))
            faces.push_back({e, face});
    }
    m_joined_nodes.resize(6 * faces.size());
    CornerJoiner(faces, m_boundary_edges->GetSize(), GetParallel())
        .Join(m_joined_nodes,
              [this](std::uint64_t slot, NodeSet joined) { m_boundary_edges->GetSlot(slot) = joined; });
}
