// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/detail/BuiltInMasks.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshOrigins.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

// Copies parts of one mesh into another: first sub-volumes and nodes, then elements, at last their values.
// What they are copies of is recorded in order when origins are not null.
class MeshCopy {
public:
    MeshCopy(MMeshBase const& source, MMeshBase& target, MMeshOrigins* origins)
        : m_source(source)
        , m_target(target)
        , m_origins(origins)
        , m_nodes(static_cast<std::size_t>(source.NumberOfPoints()), nullptr) {
        if (m_origins)
            *m_origins = {};
    }

    // Appends a sub-volume with name and material number of the given one.
    MMeshSubVolume* AddSubVolumeLike(MMeshSubVolume const& sub_volume) {
        MMeshSubVolume* const copy = m_target.AddSubVolume();
        copy->SetName(sub_volume.GetName());
        copy->SetMatID(sub_volume.GetMatID());
        return copy;
    }

    // Says that a node of the target, which is there already, stands for one of the source.
    void JoinNode(MMeshPoint const& node, MMeshPoint* stand_in) {
        m_nodes[Index(node)] = stand_in;
        if (m_origins)
            ++m_origins->joined_nodes;
    }
    // Adds a copy of a node, with its values, which from now on stands for it.
    MMeshPoint* AddNode(MMeshPoint const& node) {
        MMeshPoint* const copy = m_target.AddPoint(node.x, node.y, node.z);
        CopyBuiltInValues(*m_source.GetPointMasks(), node, *m_target.GetPointMasks(), *copy);
        m_nodes[Index(node)] = copy;
        if (m_origins)
            m_origins->nodes.push_back({node.GetIndex(), node.GetIndex()});
        return copy;
    }
    // What stands for the nodes of the source, in their order; null for those that were not entered.
    std::vector<MMeshPoint*> const& Nodes() const noexcept { return m_nodes; }

    // Adds a copy of the element with that index, whose nodes were entered, to a sub-volume; to none when
    // that is null.
    void AddElement(MMeshElement const& e, MLong index, MMeshSubVolume* sub_volume) {
        m_node_list.clear();
        for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
            m_node_list.push_back(m_nodes[Index(*e.GetNode(i))]);
        MMeshElementContainer& elements = m_target.Elements();
        MMeshElement* const copy = elements.GetElementPtrAt(elements.AddElement(m_node_list));
        m_target.GetElementMasks()->RegisterMaskObject(*copy);
        if (sub_volume)
            sub_volume->IncludeElement(*copy);
        m_elements.emplace_back(&e, copy);
        if (m_origins)
            m_origins->elements.push_back(index);
    }
    // The elements that were added, each with what it is a copy of.
    MMeshElementMaskContainer::CopiedElements const& Elements() const noexcept { return m_elements; }

    // Copies the values of the elements, all but the number of the sub-volume.
    void CopyValues() {
        m_target.GetElementMasks()->CopyBuiltInMasks(*m_source.GetElementMasks(), m_elements, false);
    }

private:
    static std::size_t Index(MMeshPoint const& node) noexcept {
        return static_cast<std::size_t>(node.GetIndex());
    }

    MMeshBase const& m_source;
    MMeshBase& m_target;
    MMeshOrigins* m_origins;
    std::vector<MMeshPoint*> m_nodes;
    std::vector<MMeshPoint*> m_node_list; // of one element
    MMeshElementMaskContainer::CopiedElements m_elements;
};

} // namespace KetSDK::Mesh::Detail
