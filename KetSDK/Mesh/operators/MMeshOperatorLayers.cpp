// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshOperatorLayers.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/detail/FaceMatcher.h>

#include <cstdint>
#include <utility>
#include <vector>

using namespace KetSDK::Mesh::Detail;

namespace {

// A set of nodes, entered and asked by way of elements.
class NodeSet {
public:
    explicit NodeSet(MMeshBase const& mesh)
        : m_held(static_cast<std::size_t>(mesh.NumberOfPoints()), false) {}

    void Add(MMeshPoint const& p) { m_held[static_cast<std::size_t>(p.GetIndex())] = true; }
    void AddCornersOf(MMeshElement const& e) {
        for (unsigned int i = 0; i < Corners(e); ++i)
            Add(*e.GetNode(i));
    }
    bool HoldsCornerOf(MMeshElement const& e) const {
        for (unsigned int i = 0; i < Corners(e); ++i)
            if (m_held[static_cast<std::size_t>(e.GetNode(i)->GetIndex())])
                return true;
        return false;
    }

private:
    static unsigned int Corners(MMeshElement const& e) noexcept {
        return MMeshElementDescriptor::GetNumSimpleNodes(e.GetNodeCount());
    }

    std::vector<bool> m_held;
};

template <bool WithQuadrilaterals>
void AddNodesOfBoundaryFaces(MMeshBase const& mesh, bool parallel, NodeSet& nodes) {
    // All elements are of one group: what is visited are the faces without a neighbour.
    FaceMatcher<WithQuadrilaterals> matcher(mesh, parallel, OneGroup());
    matcher.ForEachBoundaryFace([&](std::uint32_t element, std::uint32_t face, int, int, bool) {
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

// The elements that are not in a layer yet.
using Elements = std::vector<MMeshElement const*>;

// Takes the elements with a corner among the nodes out of `rest`.
Elements TakeLayer(Elements& rest, NodeSet const& nodes) {
    Elements layer;
    std::erase_if(rest, [&](MMeshElement const* e) {
        bool const taken = nodes.HoldsCornerOf(*e);
        if (taken)
            layer.push_back(e);
        return taken;
    });
    return layer;
}

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
    Elements rest;
    rest.reserve(static_cast<std::size_t>(mesh->NumberOfElements()));
    for (MMeshElement const& e : mesh->Elements())
        rest.push_back(&e);
    for (unsigned int number = 1; number <= m_nb_layers; ++number) {
        Elements const layer = TakeLayer(rest, reached);
        if (layer.empty())
            break; // and so is every further one
        for (MMeshElement const* const e : layer) {
            m_layers->SetValue(*e, static_cast<MLong>(number));
            reached.AddCornersOf(*e);
        }
        m_nb_elements += static_cast<int>(layer.size());
    }
    return true;
}
