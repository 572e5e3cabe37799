// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshElementPrefetch.h>
#include <KetSDK/Mesh/operators/MMeshSection.h>
#include <KetSDK/Mesh/operators/detail/CellLoops.h>
#include <KetSDK/Support/MHash.h>

#include <tsl/robin_map.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <set>
#include <span>
#include <vector>

namespace KetSDK::Mesh::Detail {

// Makes the polygons of a section of the elements that it is given, a few at a time.
class SectionCutter {
public:
    using Point = MMeshSection::Point;

    SectionCutter(MMeshSection& section, Point const& normal, Point const& point)
        : m_section(section)
        , m_normal(normal)
        , m_offset(normal.Dot(point)) {}

    // Makes room for so many elements.
    void Reserve(std::size_t elements) {
        m_points.reserve(elements);
        m_section.m_points.reserve(elements);
        m_section.m_nodes.reserve(elements);
        m_section.m_elements.reserve(elements);
        m_section.m_first.reserve(elements + 1);
        m_section.m_corners.reserve(4 * elements);
    }
    void Cut(std::span<MMeshElement const* const> elements) {
        // They lie far apart, and so do their nodes.
        auto const element_at = [elements](std::size_t i) { return elements[i]; };
        for (std::size_t i = 0; i < elements.size(); ++i) {
            PrefetchWithNodes<8>(i, elements.size(), element_at);
            CutElement(*elements[i]);
        }
    }
    // To be called after the last element: whether a face in the plane belongs to an element above depends on
    // all those below.
    void Finish() {
        for (FaceInPlane const& face : m_faces_above)
            AddFaceUnlessThere(face);
    }

private:
    struct PairHash {
        std::size_t operator()(std::uint64_t key) const noexcept {
            return static_cast<std::size_t>(Support::HashOfPair(key >> 32, key));
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
    using FaceKey = std::array<std::uint32_t, 4>; // numbers of the corners, ascending
    // A face in the plane whose element lies above.
    struct FaceInPlane {
        MMeshElement const* element;
        std::array<MMeshPoint const*, 4> corner;
        unsigned int corners;
    };

    void CutElement(MMeshElement const& e) {
        std::array<double, 10> distance{}; // compilers do not see that those of the nodes are set
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

} // namespace KetSDK::Mesh::Detail
