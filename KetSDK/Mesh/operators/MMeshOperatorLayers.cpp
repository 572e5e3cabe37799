// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshOperatorLayers.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/mesh/MMeshElementPrefetch.h>
#include <KetSDK/Mesh/operators/detail/FaceMatcher.h>
#include <KetSDK/Support/ParallelWork.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

using namespace KetSDK::Mesh::Detail;
using KetSDK::Mesh::PrefetchWithNodes;
namespace Support = KetSDK::Support;

namespace {

// A set of nodes, entered and asked by way of elements. Several threads may enter nodes at once, and several
// may ask while none enters.
class NodeSet {
public:
    explicit NodeSet(MMeshBase const& mesh)
        : m_held(static_cast<std::size_t>(mesh.NumberOfPoints()), 0) {}

    void Add(MMeshPoint const& p) {
        std::atomic_ref(m_held[static_cast<std::size_t>(p.GetIndex())]).store(1, std::memory_order_relaxed);
    }
    void AddCornersOf(MMeshElement const& e) {
        for (unsigned int i = 0; i < Corners(e); ++i)
            Add(*e.GetNode(i));
    }
    bool HoldsCornerOf(MMeshElement const& e) const {
        for (unsigned int i = 0; i < Corners(e); ++i)
            if (m_held[static_cast<std::size_t>(e.GetNode(i)->GetIndex())] != 0)
                return true;
        return false;
    }

private:
    static unsigned int Corners(MMeshElement const& e) noexcept {
        return MMeshElementDescriptor::GetNumSimpleNodes(e.GetNodeCount());
    }

    std::vector<char> m_held;
};

template <bool WithQuadrilaterals>
void AddNodesOfBoundaryFaces(MMeshBase const& mesh, bool parallel, NodeSet& nodes) {
    // All elements are of one group: what is visited are the faces without a neighbour.
    FaceMatcher<WithQuadrilaterals> matcher(mesh, parallel, OneGroup());
    matcher.ForEachBoundaryFaceAtOnce([&](std::uint32_t element, std::uint32_t face, int, int, bool) {
        MMeshElement const& e = *mesh.GetElement(element);
        ElementFace const& corners = FacesOfElement(e.GetNodeCount())[face];
        for (unsigned int i = 0; i < corners.corners; ++i)
            nodes.Add(*e.GetNode(corners.node[i]));
    });
}

NodeSet NodesOnBoundary(MMeshBase const& mesh, bool parallel) {
    NodeSet nodes(mesh);
    if (HasTrianglesOnly(mesh.Elements(), parallel))
        AddNodesOfBoundaryFaces<false>(mesh, parallel, nodes);
    else
        AddNodesOfBoundaryFaces<true>(mesh, parallel, nodes);
    return nodes;
}

// Numbers of elements.
using Elements = std::vector<std::uint32_t>;

// The elements of a mesh, which go into one layer after another.
class LayersOfElements {
public:
    LayersOfElements(MMeshBase const& mesh, bool parallel)
        : m_mesh(mesh)
        , m_parallel(parallel) {}

    // Takes those that are left and have a corner among the nodes; after the last layer nobody asks any more.
    Elements TakeNext(NodeSet const& nodes, bool is_last) {
        Elements layer;
        Elements left;
        Support::ComputeSteps<Halves>(
            Steps(m_is_first ? m_mesh.Elements().GetNumElements() : m_left.size()),
            [&](std::uint64_t first, std::uint64_t last, Halves& found) {
                found.layer.clear();
                found.left.clear();
                ForEachLeft(first, last, [&](MMeshElement const& e, std::uint32_t number) {
                    if (nodes.HoldsCornerOf(e))
                        found.layer.push_back(number);
                    else if (!is_last)
                        found.left.push_back(number);
                });
            },
            [&](std::uint64_t, std::uint64_t, Halves const& found) {
                layer.insert(layer.end(), found.layer.begin(), found.layer.end());
                left.insert(left.end(), found.left.begin(), found.left.end());
                return true;
            });
        m_left.swap(left);
        m_is_first = false;
        return layer;
    }

    // Calls use(element) for those of a layer, on several threads at once.
    template <typename Use>
    void ForEachOf(Elements const& layer, Use const& use) const {
        Support::ComputeSteps(Steps(layer.size()), [&](std::uint64_t first, std::uint64_t last) {
            ForEach(layer, first, last, [&](MMeshElement const& e, std::uint32_t) { use(e); });
        });
    }

private:
    struct Halves {
        Elements layer;
        Elements left;
    };

    Support::WorkSteps Steps(std::uint64_t items) const noexcept {
        return {.items = items, .step = 4096, .parallel = m_parallel};
    }
    template <typename Visit>
    void ForEachLeft(std::uint64_t first, std::uint64_t last, Visit const& visit) const {
        if (!m_is_first)
            return ForEach(m_left, first, last, visit);
        m_mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t number) {
            visit(e, static_cast<std::uint32_t>(number));
        });
    }
    template <typename Visit>
    void ForEach(Elements const& elements, std::uint64_t first, std::uint64_t last,
                 Visit const& visit) const {
        auto const element_at = [&](std::size_t i) { return m_mesh.GetElement(elements[i]); };
        for (auto i = static_cast<std::size_t>(first); i < last; ++i) {
            PrefetchWithNodes<12>(i, static_cast<std::size_t>(last), element_at);
            visit(*element_at(i), elements[i]);
        }
    }

    MMeshBase const& m_mesh;
    bool m_parallel;
    bool m_is_first = true; // then all elements are left
    Elements m_left;
};

} // namespace

MMeshOperatorLayers::MMeshOperatorLayers(MMeshOperatorLayers const& other)
    : MMeshOperator(other)
    , m_nb_layers(other.m_nb_layers) {}

MMeshOperatorLayers& MMeshOperatorLayers::operator=(MMeshOperatorLayers const& other) {
    if (this != &other)
        *this = MMeshOperatorLayers(other);
    return *this;
}

MMeshOperatorLayers::MMeshOperatorLayers(MMeshOperatorLayers&& other) noexcept
    : MMeshOperator(other)
    , m_nb_layers(other.m_nb_layers)
    , m_nb_elements(std::exchange(other.m_nb_elements, 0))
    , m_layers(std::move(other.m_layers)) {}

MMeshOperatorLayers& MMeshOperatorLayers::operator=(MMeshOperatorLayers&& other) noexcept {
    MMeshOperator::operator=(other);
    m_nb_layers = other.m_nb_layers;
    m_nb_elements = std::exchange(other.m_nb_elements, 0);
    m_layers = std::move(other.m_layers);
    return *this;
}

MMeshOperatorLayers::~MMeshOperatorLayers() = default;

bool MMeshOperatorLayers::Operate() {
    m_nb_elements = 0;
    m_layers.reset();
    MMeshBase* const mesh = GetMesh();
    if (!mesh)
        return false;
    mesh->GetNeighborsInfo()->Enable(GetParallel()); // for callers, who count on it
    m_layers = std::make_unique<LayerMask>(0);
    mesh->GetElementMasks()->RegisterMask(m_layers.get());

    NodeSet reached = NodesOnBoundary(*mesh, GetParallel());
    LayersOfElements elements(*mesh, GetParallel());
    for (unsigned int number = 1; number <= m_nb_layers; ++number) {
        bool const is_last = number == m_nb_layers;
        Elements const layer = elements.TakeNext(reached, is_last);
        if (layer.empty())
            break; // and so is every further one
        elements.ForEachOf(layer, [&](MMeshElement const& e) {
            m_layers->SetValue(e, static_cast<MLong>(number));
            if (!is_last)
                reached.AddCornersOf(e);
        });
        m_nb_elements += static_cast<int>(layer.size());
    }
    return true;
}
