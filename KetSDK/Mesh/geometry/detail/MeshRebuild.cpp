// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/detail/MeshRebuild.h>

#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/MMeshOrientOperator.h>

#include <algorithm>
#include <utility>

namespace KetSDK::Mesh::Detail {

MeshRebuild::MeshRebuild(MMeshBase const& source, MMeshBase& target, MMeshOrigins* origins)
    : m_source(source)
    , m_target(target)
    , m_members(source, nullptr)
    , m_node_of(static_cast<std::size_t>(source.NumberOfPoints()), nullptr)
    , m_origins(origins) {
    target.ClearSubVolumes();
    target.GetNeighborsInfo()->Disable(); // elements are coming
    if (origins)
        BeginRecord();
}

int MeshRebuild::Orient() {
    MMeshOrientOperator orient;
    orient.SetMesh(&m_target);
    orient.Operate();
    return orient.GetNbCorrected();
}

void MeshRebuild::BeginRecord() {
    *m_origins = {};
    m_origins->elements.assign(static_cast<std::size_t>(m_target.NumberOfElements()), -1);
    m_origins->nodes.resize(static_cast<std::size_t>(m_target.NumberOfPoints()));
    MLong index = 0;
    for (MMeshElement const& e : m_source.Elements()) {
        if (std::uint64_t const slot = e.GetMaskIndex(); slot != MMeshElement::NotRegistered) {
            m_index_at.resize(std::max(m_index_at.size(), static_cast<std::size_t>(slot) + 1), -1);
            m_index_at[static_cast<std::size_t>(slot)] = index;
        }
        ++index;
    }
}

void MeshRebuild::RecordElements(std::uint64_t mask_index) {
    m_origins->elements.resize(static_cast<std::size_t>(m_target.NumberOfElements()),
                               m_index_at[static_cast<std::size_t>(mask_index)]);
}

MMeshOrigins::Node& MeshRebuild::OriginOf(MMeshPoint const& node) {
    auto const index = static_cast<std::size_t>(node.GetIndex());
    if (index >= m_origins->nodes.size())
        m_origins->nodes.resize(index + 1);
    return m_origins->nodes[index];
}

void MeshRebuild::RecordNode(MMeshPoint const& node, MLong parent) {
    // What was taken for new in the middle of an edge may be found to be a node.
    if (MMeshOrigins::Node& origin = OriginOf(node); origin.a < 0 || !origin.IsOne())
        origin = {parent, parent};
}

void MeshRebuild::RecordMiddle(MMeshPoint const& node, MMeshPoint const& a, MMeshPoint const& b) {
    // Of several nodes at the end of the edge that one whose values the end has.
    auto const parent = [this](MMeshPoint const& end) {
        auto const index = static_cast<std::size_t>(end.GetIndex());
        return index < m_node_of.size() ? OriginOf(*m_node_of[index]).a : -1;
    };
    MMeshOrigins::Node const ends{parent(a), parent(b)};
    if (MMeshOrigins::Node& origin = OriginOf(node); origin.a < 0)
        origin = ends;
}

void MeshRebuild::RecordInside(MMeshPoint const& node, MMeshElement const& e) {
    if (OriginOf(node).a >= 0) // a node of the parent lies there
        return;
    auto& corners = m_origins->inside[node.GetIndex()];
    corners.clear();
    for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
        corners.push_back(e.GetNode(i)->GetIndex());
}

void MeshRebuild::CountJoinedNodes() {
    auto const used = m_node_of.size() - static_cast<std::size_t>(std::ranges::count(m_node_of, nullptr));
    auto const is_one = [](MMeshOrigins::Node const& node) { return node.a >= 0 && node.IsOne(); };
    m_origins->joined_nodes =
        used - static_cast<std::uint64_t>(std::ranges::count_if(m_origins->nodes, is_one));
}

void MeshRebuild::RegisterUsed() {
    auto next = m_used.begin();
    m_target.GetPointMasks()->RegisterMaskObjects(std::exchange(m_used_count, 0),
                                                  [&next]() -> MMeshPoint& { return **next++; });
}

MMeshSubVolume& MeshRebuild::AddSubVolumeLike(MMeshSubVolume const& source) {
    MMeshSubVolume& sub_volume = *m_target.AddSubVolume();
    sub_volume.SetName(source.GetName());
    sub_volume.SetMatID(source.GetMatID());
    return sub_volume;
}

} // namespace KetSDK::Mesh::Detail
