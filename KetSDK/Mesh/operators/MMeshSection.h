// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Triangles/Data/MSection.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace KetSDK::Mesh::Detail {
class SectionCutter;
}

// The polygons in which a plane cuts elements of one mesh, each with its element. Their corners are shared
// points: one for each edge between two nodes that the plane crosses, and one for each node on it.
//
// Tetrahedra, wedges and hexahedra are cut along their faces, ten-node tetrahedra as the eight linear ones
// that MMeshBase::GetVolume adds up. So elements of all kinds give one polygon for each of them that is cut.
// A bent hexahedron or wedge, which a plane can meet more than once, gives several. What a face gives depends
// on the face alone: polygons of neighbours meet without gap or overlap.
//
// A node on the plane counts as above it. So a face in the plane is the polygon of the element below it;
// only where there is none, it is that of the element above. Where the plane merely touches an element
// there is no polygon. An inverted element gives the polygon of the right way round.
//
// A value, which refers to elements: it does not outlive the mesh. Concurrent reads are safe.
class KETSDK_MESH_API MMeshSection {
public:
    using Point = MMVector<double, 3>; // model units

    // No polygons.
    MMeshSection() = default;
    // Cuts elements, all of one mesh, by the plane through `point` to which `normal` is perpendicular. Of the
    // normal, whose length does not matter, and the point all coordinates are finite and moderate. The
    // polygons come in the order of the elements.
    MMeshSection(std::span<MMeshElement const* const> elements, Point const& normal, Point const& point);

    // The unit normal.
    Point const& GetNormal() const noexcept { return m_normal; }

    std::uint64_t NumberOfPolygons() const noexcept { return m_elements.size(); }
    // The element that a polygon lies in; the number is not range-checked.
    MMeshElement const* GetElement(std::uint64_t polygon) const noexcept {
        return m_elements[static_cast<std::size_t>(polygon)];
    }
    // The numbers of a polygon's corners, three or more, counterclockwise for who looks against the normal.
    std::span<std::uint32_t const> GetCorners(std::uint64_t polygon) const noexcept {
        auto const i = static_cast<std::size_t>(polygon);
        return std::span(m_corners).subspan(m_first[i], m_first[i + 1] - m_first[i]);
    }
    // In square model units.
    double GetArea(std::uint64_t polygon) const noexcept;

    std::uint64_t NumberOfPoints() const noexcept { return m_points.size(); }
    Point const& GetPoint(std::uint64_t i) const noexcept { return m_points[static_cast<std::size_t>(i)]; }
    // The index of the node on the plane that a point is; -1 for one between two nodes.
    MLong GetNode(std::uint64_t i) const noexcept { return m_nodes[static_cast<std::size_t>(i)]; }

    // The area of all polygons.
    double GetArea() const noexcept;
    // The boundary of all polygons together as closed contours, counterclockwise around what is cut and
    // clockwise around holes; their area is that of the polygons.
    MSection GetContours() const;

private:
    friend class KetSDK::Mesh::Detail::SectionCutter;

    std::vector<Point> m_points;
    std::vector<MLong> m_nodes; // by point
    std::vector<std::uint32_t> m_corners;
    std::vector<std::size_t> m_first{0}; // of each polygon's corners, and behind the last one
    std::vector<MMeshElement const*> m_elements;
    Point m_normal;
};
