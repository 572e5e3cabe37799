// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshSection.h>

#include <KetSDK/Mesh/mesh/MMeshElementPrefetch.h>
#include <KetSDK/Mesh/operators/detail/CellLoops.h>
#include <KetSDK/Support/MHash.h>

#include <tsl/robin_map.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <set>
#include <utility>

using namespace KetSDK::Mesh::Detail;

namespace {

using Point = MMeshSection::Point;

struct PairHash {
    std::size_t operator()(std::uint64_t key) const noexcept {
        return static_cast<std::size_t>(KetSDK::Support::HashOfPair(key >> 32, key));
    }
};

// Nodes of an element between which it is cut, with their distances from the plane, in some unit.
struct Cell {
    std::array<MMeshPoint const*, 8> node;
    std::array<double, 8> distance;
    unsigned int count = 0;
    unsigned int below = 0; // a bit for each node that is

    void Add(MMeshPoint const* p, double d) {
        node[count] = p;
        distance[count] = d;
        below |= static_cast<unsigned int>(d < 0.0) << count++;
    }
};

} // namespace

class MMeshSection::Cutter {
public:
    Cutter(MMeshSection& section, Point const& normal, Point const& point)
        : m_section(section)
        , m_normal(normal)
        , m_offset(normal.Dot(point)) {}

    void Cut(std::span<MMeshElement const* const> elements) {
        m_points.reserve(elements.size());
        m_section.m_points.reserve(elements.size());
        m_section.m_nodes.reserve(elements.size());
        m_section.m_elements.reserve(elements.size());
        m_section.m_first.reserve(elements.size() + 1);
        m_section.m_corners.reserve(4 * elements.size());
        // They lie far apart, and so do their nodes.
        auto const element_at = [elements](std::size_t i) { return elements[i]; };
        for (std::size_t i = 0; i < elements.size(); ++i) {
            KetSDK::Mesh::PrefetchWithNodes<8>(i, elements.size(), element_at);
            CutElement(*elements[i]);
        }
        for (FaceInPlane const& face : m_faces_above)
            AddFaceUnlessThere(face);
    }

private:
    using FaceKey = std::array<std::uint32_t, 4>; // numbers of the corners, ascending
    // A face in the plane whose element lies above.
    struct FaceInPlane {
        MMeshElement const* element;
        std::array<MMeshPoint const*, 4> corner;
        unsigned int corners;
    };

    void CutElement(MMeshElement const& e) {
        std::array<double, 10> distance;
        unsigned char const kind = e.GetNodeCount();
        if (FacesOfElement(kind).empty())
            return;
        for (unsigned int i = 0; i < kind; ++i)
            distance[i] = m_normal.Dot(e.GetNode(i)->GetPosition()) - m_offset;
        if (kind != 10) {
            Cell cell;
            for (unsigned int i = 0; i < kind; ++i)
                cell.Add(e.GetNode(i), distance[i]);
            CutCell(e, cell, FacesOfElement(kind));
            return;
        }
        for (auto const& indices : MMeshElementDescriptor::descr_8tetra_point) {
            Cell cell;
            for (unsigned char const index : indices)
                cell.Add(e.GetNode(index), distance[index]);
            CutCell(e, cell, TetrahedronFaces);
        }
    }

    void CutCell(MMeshElement const& e, Cell const& cell, std::span<ElementFace const> faces) {
        if (cell.below == 0) {
            FindFacesInPlane(e, cell, faces);
        } else if (cell.count == 4) {
            AddLoops(e, cell, TetrahedronLoops[cell.below]);
        } else {
            // The middle of the face decides; the sum is the same from whichever corner one begins.
            auto const joins_above = [&d = cell.distance](ElementFace const& face) {
                return (d[face.node[0]] + d[face.node[2]]) + (d[face.node[1]] + d[face.node[3]]) >= 0.0;
            };
            AddLoops(e, cell, TraceLoops(faces, cell.below, joins_above));
        }
    }

    void AddLoops(MMeshElement const& e, Cell const& cell, CellLoops const& loops) {
        auto const* edge = loops.edges.data();
        for (unsigned int loop = 0; loop < loops.count; edge += loops.length[loop++]) {
            // Edges that meet in a node on the plane give one corner.
            unsigned int nodes_on_plane = 0;
            unsigned int crossed = 0;
            for (unsigned int i = 0; i < loops.length[loop]; ++i)
                if (cell.distance[edge[i].above] == 0.0)
                    nodes_on_plane |= 1u << edge[i].above;
                else
                    ++crossed;
            if (crossed + static_cast<unsigned int>(std::popcount(nodes_on_plane)) < 3)
                continue; // the plane touches the cell
            std::array<std::uint32_t, 12> corners;
            unsigned int count = 0;
            for (unsigned int i = 0; i < loops.length[loop]; ++i) {
                std::uint32_t const corner = PointOn(cell, edge[i]);
                if (count == 0 || (corner != corners[count - 1] && corner != corners[0]))
                    corners[count++] = corner;
            }
            if (count < 3)
                continue; // a collapsed cell
            AddPolygon(e, {corners.data(), count});
            if (crossed == 0 && count <= 4)
                m_faces.insert(KeyOf({corners.data(), count}));
        }
    }

    void AddPolygon(MMeshElement const& e, std::span<std::uint32_t const> corners) {
        auto& all = m_section.m_corners;
        auto const first = static_cast<std::ptrdiff_t>(all.size());
        all.insert(all.end(), corners.begin(), corners.end());
        m_section.m_first.push_back(all.size());
        m_section.m_elements.push_back(&e);
        if (m_section.GetArea(m_section.NumberOfPolygons() - 1) < 0.0)
            std::reverse(all.begin() + first, all.end());
    }

    std::uint32_t PointOn(Cell const& cell, CrossedEdge const& edge) {
        MMeshPoint const& a = *cell.node[edge.above];
        MMeshPoint const& b = *cell.node[edge.below];
        double const da = cell.distance[edge.above];
        if (da == 0.0)
            return PointAt(a);
        auto const [entry, is_new] = m_points.try_emplace(Key(a, b), NextPoint());
        if (is_new) {
            Point const pa = a.GetPosition();
            m_section.m_points.push_back(pa + da / (da - cell.distance[edge.below]) * (b.GetPosition() - pa));
            m_section.m_nodes.push_back(-1);
        }
        return entry->second;
    }
    std::uint32_t PointAt(MMeshPoint const& node) {
        auto const [entry, is_new] = m_points.try_emplace(Key(node, node), NextPoint());
        if (is_new) {
            m_section.m_points.push_back(node.GetPosition());
            m_section.m_nodes.push_back(node.GetIndex());
        }
        return entry->second;
    }
    std::uint32_t NextPoint() const { return static_cast<std::uint32_t>(m_section.m_points.size()); }
    // The end above comes first, so that all elements at an edge have the same key.
    static std::uint64_t Key(MMeshPoint const& a, MMeshPoint const& b) {
        return std::uint64_t{static_cast<std::uint32_t>(a.GetIndex())} << 32 |
               static_cast<std::uint32_t>(b.GetIndex());
    }

    void FindFacesInPlane(MMeshElement const& e, Cell const& cell, std::span<ElementFace const> faces) {
        auto const is_in_plane = [&cell](unsigned int i) { return cell.distance[i] == 0.0; };
        unsigned int in_plane = 0;
        for (unsigned int i = 0; i < cell.count; ++i)
            in_plane += is_in_plane(i);
        if (in_plane < 3 || in_plane == cell.count)
            return;
        for (ElementFace const& face : faces) {
            FaceInPlane found{&e, {}, 0};
            for (unsigned int i = 0; i < face.corners && is_in_plane(face.node[i]); ++i)
                found.corner[found.corners++] = cell.node[face.node[i]];
            if (found.corners == face.corners)
                m_faces_above.push_back(found);
        }
    }

    void AddFaceUnlessThere(FaceInPlane const& face) {
        std::array<std::uint32_t, 4> corners;
        unsigned int count = 0;
        for (unsigned int i = 0; i < face.corners; ++i) {
            std::uint32_t const corner = PointAt(*face.corner[i]);
            if (std::find(corners.data(), corners.data() + count, corner) == corners.data() + count)
                corners[count++] = corner;
        }
        if (count >= 3 && m_faces.insert(KeyOf({corners.data(), count})).second)
            AddPolygon(*face.element, {corners.data(), count});
    }

    static FaceKey KeyOf(std::span<std::uint32_t const> corners) {
        FaceKey key;
        key.fill(std::numeric_limits<std::uint32_t>::max());
        std::ranges::copy(corners, key.begin());
        std::ranges::sort(key);
        return key;
    }

    MMeshSection& m_section;
    Point m_normal;
    double m_offset;
    tsl::robin_map<std::uint64_t, std::uint32_t, PairHash> m_points; // by edge, or twice by node
    std::set<FaceKey> m_faces;                                       // in the plane, that have a polygon
    std::vector<FaceInPlane> m_faces_above;
};

namespace {

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
    Cutter(*this, normal, point).Cut(elements);
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
