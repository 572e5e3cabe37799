// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/detail/SubVolumeElements.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementPrefetch.h>
#include <KetSDK/Mesh/mesh/MMeshOrigins.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace KetSDK::Mesh::Detail {

// What is common to building a mesh of other elements on the places of a source mesh, sub-volume by
// sub-volume. Nodes at one place become one node. The source must not change meanwhile.
class MeshRebuild {
public:
    // Empties the target's list of sub-volumes; whatever else it holds stays. Origins are recorded when they
    // are not null.
    MeshRebuild(MMeshBase const& source, MMeshBase& target, MMeshOrigins* origins);

    // Whether nodes at one place become one node, as unless set.
    void SetJoinNodes(bool join) noexcept { m_join_nodes = join; }

    // Calls visit(sub-volume of the source, new sub-volume of the target) for each in the order of the list,
    // until visit returns false; false when it did.
    template <typename Visit>
    bool ForEachSubVolume(Visit&& visit) {
        for (auto it = m_source.BeginSubVolume(); it != m_source.EndSubVolume(); ++it)
            if (!visit(**it, AddSubVolumeLike(**it)))
                return false;
        if (m_origins)
            CountJoinedNodes();
        return true;
    }

    // Calls visit(element) for each of a sub-volume in the order of the mesh, until visit returns false;
    // false when it did. The nodes of later elements are fetched ahead of prefetch(element), which comes some
    // elements before visit.
    template <typename Prefetch, typename Visit>
    bool ForEachElement(MMeshSubVolume const& sub_volume, Prefetch&& prefetch, Visit&& visit) {
        constexpr std::size_t near = 8, far = 24;
        auto const indices = m_members.Of(sub_volume);
        bool going_on = true;
        for (std::size_t i = 0; i < indices.size() && going_on; ++i) {
            if (i + far < indices.size())
                PrefetchNodes(ElementAt(indices[i + far]));
            if (i + near < indices.size())
                prefetch(ElementAt(indices[i + near]));
            going_on = visit(ElementAt(indices[i]));
            if (m_origins)
                RecordElements(indices[i]);
        }
        RegisterUsed();
        return going_on;
    }
    template <typename Visit>
    bool ForEachElement(MMeshSubVolume const& sub_volume, Visit&& visit) {
        return ForEachElement(
            sub_volume, [](MMeshElement const&) {}, visit);
    }

    // The target's node at the place of a node, which is one of the source or in no container. What follows
    // is that of AddPointUnique, of which only the search is saved: each time the node gets a fresh mask
    // index, also when it was entered before. It has it when ForEachElement is through.
    MMeshPoint* NodeFor(MMeshPoint const& source) {
        auto const number = static_cast<std::size_t>(source.GetIndex());
        if (number >= m_node_of.size())
            return Enter(source.x, source.y, source.z);
        MMeshPoint*& node = m_node_of[number];
        if (node)
            return Use(*node);
        node = Enter(source.x, source.y, source.z);
        if (m_origins)
            RecordNode(*node, source.GetIndex());
        return node;
    }
    // Node i of an element seen as a tetrahedron. It is a node at the origin where the element has none, and
    // in place of mid-edge nodes when it has fewer than ten.
    static MMeshPoint const* SourceOf(MMeshElement const& e, unsigned int i) noexcept {
        static MMeshPoint const origin;
        bool const exists = i < (i < 4 || e.GetNodeCount() >= 10 ? e.GetNodeCount() : 4u);
        return exists ? e.GetNode(i) : &origin;
    }
    // The target's node there.
    MMeshPoint* NodeFor(MMeshElement const& e, unsigned int i) { return NodeFor(*SourceOf(e, i)); }
    // The target's node in the middle between two nodes of the source that NodeFor was asked for, halves
    // rounded away from zero.
    MMeshPoint* MiddleOf(MMeshPoint const& a, MMeshPoint const& b) {
        MMeshPoint* const node = Enter(Middle(a.x, b.x), Middle(a.y, b.y), Middle(a.z, b.z));
        if (m_origins)
            RecordMiddle(*node, a, b);
        return node;
    }
    // The target's node at a place inside an element, for the corners of which its values stand.
    MMeshPoint* NodeInside(MMeshElement const& e, MMVector<MLong, 3> const& place) {
        MMeshPoint* const node = Enter(place[0], place[1], place[2]);
        if (m_origins)
            RecordInside(*node, e);
        return node;
    }
    // Fetches what MiddleOf of the nodes there will look up.
    void PrefetchMiddleOf(MMeshPoint const& a, MMeshPoint const& b) const noexcept {
        m_target.PrefetchPoint(Middle(a.x, b.x), Middle(a.y, b.y), Middle(a.z, b.z));
    }
    // Turns the inverted tetrahedra of the target, those that it had before too; returns how many.
    int Orient();

private:
    static MLong Middle(MLong a, MLong b) noexcept {
        std::int64_t const sum = std::int64_t{a} + b;
        return static_cast<MLong>((sum + (sum > 0) - (sum < 0)) / 2);
    }
    MMeshPoint* Enter(MLong x, MLong y, MLong z) {
        if (m_join_nodes)
            m_target.ForbidDuplicatePoints();
        else
            m_target.AllowDuplicatePoints();
        m_target.m_box.Widen({x, y, z});
        return Use(m_target.m_points->AddPoint(x, y, z));
    }
    // Notes that the node is to be registered. Such nodes lie anywhere in memory: waiting for one after the
    // other would double the time of a conversion.
    MMeshPoint* Use(MMeshPoint& node) {
        Support::PrefetchToWrite(&node);
        if (m_used_count == m_used.size())
            RegisterUsed();
        return m_used[m_used_count++] = &node;
    }
    void RegisterUsed();
    void BeginRecord();
    // What the target got last came from the element with that mask index.
    void RecordElements(std::uint64_t mask_index);
    void RecordNode(MMeshPoint const& node, MLong parent);
    void RecordMiddle(MMeshPoint const& node, MMeshPoint const& a, MMeshPoint const& b);
    void RecordInside(MMeshPoint const& node, MMeshElement const& e);
    MMeshOrigins::Node& OriginOf(MMeshPoint const& node);
    void CountJoinedNodes();
    MMeshElement const& ElementAt(std::uint64_t index) const noexcept {
        return *m_source.GetElementMasks()->GetObjectAt(index);
    }
    MMeshSubVolume& AddSubVolumeLike(MMeshSubVolume const& source);

    MMeshBase const& m_source;
    MMeshBase& m_target;
    SubVolumeElements m_members;
    std::vector<MMeshPoint*> m_node_of;  // by number of the source's node; null while not entered
    std::array<MMeshPoint*, 512> m_used; // in the order of use, not yet registered
    std::size_t m_used_count = 0;
    MMeshOrigins* m_origins;
    bool m_join_nodes = true;
    std::vector<MLong> m_index_at; // of elements of the source, by mask index; when origins are recorded
};

} // namespace KetSDK::Mesh::Detail
