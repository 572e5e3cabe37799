// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

inline bool IsQuadratic(MMeshElement const& e) noexcept {
    return e.GetType() == MMeshElementDescriptor::Tet10;
}

inline std::size_t IndexOf(MMeshPoint const& p) noexcept {
    return static_cast<std::size_t>(p.GetIndex());
}

inline MMVector<MLong, 3> PositionOf(MMeshPoint const& p) noexcept {
    return {p.x, p.y, p.z};
}

// False when the node was there already.
inline bool MoveTo(MMeshPoint& p, MMVector<MLong, 3> const& position) noexcept {
    if (PositionOf(p) == position)
        return false;
    p.x = position[0];
    p.y = position[1];
    p.z = position[2];
    return true;
}

// Which nodes of a mesh are proper mid nodes, and of which edge. A node that is a corner too, or lies on
// different edges, is none.
class MidNodes {
public:
    static constexpr unsigned int OfElement = 6;

    explicit MidNodes(MMeshBase const& mesh)
        : m_edges(static_cast<std::size_t>(mesh.NumberOfPoints()), Unused) {
        mesh.Elements().ForEachWithNodes([this](MMeshElement const& e, std::uint64_t) {
            bool const quadratic = IsQuadratic(e);
            for (unsigned int i = 0; i < (quadratic ? 4u : e.GetNodeCount()); ++i)
                m_edges[IndexOf(*e.GetNode(i))] = Improper;
            for (unsigned int m = 0; quadratic && m < OfElement; ++m) {
                auto const& [a, b] = MMeshElementDescriptor::descr_tet4_tet10_point[m];
                Enter(*e.GetNode(4 + m), std::minmax({e.GetNode(a)->GetIndex(), e.GetNode(b)->GetIndex()}));
            }
        });
    }

    bool IsProper(MMeshPoint const& p) const { return m_edges[IndexOf(p)].first >= 0; }
    // Whether some mid node of a ten-node element is a proper one.
    bool HasProperIn(MMeshElement const& e) const {
        bool any = false;
        for (unsigned int m = 0; m < OfElement; ++m)
            any |= IsProper(*e.GetNode(4 + m));
        return any;
    }

    // Calls visit(mid node, one end of its edge, the other) for those of nodes first to last - 1.
    template <typename Visit>
    void ForEach(MMeshBase& mesh, std::uint64_t first, std::uint64_t last, Visit&& visit) const {
        auto const node = [&mesh](auto i) -> MMeshPoint& {
            return *mesh.GetRandomPoint(static_cast<std::uint64_t>(i));
        };
        for (auto i = static_cast<std::size_t>(first); i < last; ++i)
            if (m_edges[i].first >= 0)
                visit(node(i), node(m_edges[i].first), node(m_edges[i].second));
    }

private:
    using Edge = std::pair<MLong, MLong>; // indices of the ends, ascending
    static constexpr Edge Unused{-1, -1};
    static constexpr Edge Improper{-2, -2};

    void Enter(MMeshPoint const& mid, Edge const& edge) {
        Edge& known = m_edges[IndexOf(mid)];
        if (known == Unused)
            known = edge;
        else if (known != edge)
            known = Improper;
    }

    std::vector<Edge> m_edges;
};

} // namespace KetSDK::Mesh::Detail
