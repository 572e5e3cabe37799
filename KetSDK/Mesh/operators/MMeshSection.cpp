// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshSection.h>

#include <KetSDK/Mesh/operators/detail/SectionCutter.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

using namespace KetSDK::Mesh::Detail;

namespace {

using Point = MMeshSection::Point;

// From one point of the section to another.
struct Edge {
    std::uint32_t from;
    std::uint32_t to;
};

// The edges that a polygon goes along and no other polygon goes back, by ascending first point. At every
// point as many end as begin.
std::vector<Edge> BoundaryEdges(MMeshSection const& section) {
    struct Use {
        std::uint32_t low, high;
        int direction; // 1 from low to high, -1 back
    };
    std::vector<Use> uses;
    for (std::uint64_t i = 0; i < section.NumberOfPolygons(); ++i) {
        auto const corners = section.GetCorners(i);
        std::uint32_t from = corners.back();
        for (std::uint32_t const to : corners) {
            uses.push_back({std::min(from, to), std::max(from, to), from < to ? 1 : -1});
            from = to;
        }
    }
    auto const ends = [](Use const& use) { return std::uint64_t{use.low} << 32 | use.high; };
    std::ranges::sort(uses, {}, ends);
    std::vector<Edge> edges;
    for (std::size_t i = 0; i < uses.size();) {
        Use const edge = uses[i];
        int net = 0;
        for (; i < uses.size() && ends(uses[i]) == ends(edge); ++i)
            net += uses[i].direction;
        Edge const forward{edge.low, edge.high};
        Edge const back{edge.high, edge.low};
        edges.insert(edges.end(), static_cast<std::size_t>(std::abs(net)), net > 0 ? forward : back);
    }
    std::ranges::stable_sort(edges, {}, &Edge::from);
    return edges;
}

// Joins boundary edges to closed contours.
class ContourTracer {
public:
    ContourTracer(MMeshSection const& section, Point const& normal)
        : m_section(section)
        , m_normal(normal)
        , m_edges(BoundaryEdges(section))
        , m_is_used(m_edges.size(), false) {}

    MSection Trace() {
        MSection contours;
        for (std::size_t i = 0; i < m_edges.size(); ++i) {
            std::vector<Point> points;
            for (std::size_t at = i; at < m_edges.size() && !m_is_used[at];
                 at = Next(m_edges[at], m_edges[i].from)) {
                m_is_used[at] = true;
                points.push_back(m_section.GetPoint(m_edges[at].from));
            }
            contours.AddContour(std::move(points), true);
        }
        return contours;
    }

private:
    // The edge with which a contour goes on; none at its first point. Where parts of the section touch in a
    // point there are several: that furthest to the left stays with the part that the edge belongs to.
    std::size_t Next(Edge const& edge, std::uint32_t first) const {
        std::size_t best = m_edges.size();
        if (edge.to == first)
            return best;
        double best_turn = 0.0;
        auto const begin = std::ranges::lower_bound(m_edges, edge.to, {}, &Edge::from);
        for (auto i = static_cast<std::size_t>(begin - m_edges.begin());
             i < m_edges.size() && m_edges[i].from == edge.to; ++i) {
            double const turn = m_is_used[i] ? 0.0 : Turn(edge, m_edges[i]);
            if (!m_is_used[i] && (best == m_edges.size() || turn > best_turn)) {
                best = i;
                best_turn = turn;
            }
        }
        return best;
    }

    // The angle, positive to the left, by which a contour turns.
    double Turn(Edge const& a, Edge const& b) const {
        Point const in = m_section.GetPoint(a.to) - m_section.GetPoint(a.from);
        Point const out = m_section.GetPoint(b.to) - m_section.GetPoint(b.from);
        return std::atan2(m_normal.Dot(in.Cross(out)), in.Dot(out));
    }

    MMeshSection const& m_section;
    Point m_normal;
    std::vector<Edge> m_edges;
    std::vector<bool> m_is_used;
};

} // namespace

MMeshSection::MMeshSection(std::span<MMeshElement const* const> elements, Point const& normal,
                           Point const& point)
    : m_normal(normal) {
    m_normal.Normalize();
    SectionCutter cutter(*this, normal, point);
    cutter.Reserve(elements.size());
    cutter.Cut(elements);
    cutter.Finish();
}

double MMeshSection::GetArea(std::uint64_t polygon) const noexcept {
    auto const corners = GetCorners(polygon);
    Point doubled;
    for (std::size_t i = 2; i < corners.size(); ++i)
        doubled += (GetPoint(corners[i - 1]) - GetPoint(corners[0]))
                       .Cross(GetPoint(corners[i]) - GetPoint(corners[0]));
    return 0.5 * m_normal.Dot(doubled);
}

double MMeshSection::GetArea() const noexcept {
    double area = 0.0;
    for (std::uint64_t i = 0; i < NumberOfPolygons(); ++i)
        area += GetArea(i);
    return area;
}

MSection MMeshSection::GetContours() const {
    return ContourTracer(*this, m_normal).Trace();
}
