// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>
#include <KetSDK/Mesh/operators/MMeshSection.h>

#include <cstdint>
#include <vector>

class MStlBase;
struct MSurfaceOrigins;

// Cuts a mesh of any kinds of elements by a plane, without changing nodes or elements: says on which side
// each element lies, hides those above, and keeps the section.
//
// An element is above or below when every node of it is, mid-edge nodes included, and cut otherwise; so one
// that merely touches the plane counts as cut. Elements below and cut are visible afterwards, those above
// are not: who looks against the normal sees the section.
//
// Reads no settings, reports no progress. One thread at a time uses operator and mesh.
class KETSDK_MESH_API MMeshOperatorCutPlane : public MMeshOperator {
public:
    using Point = MMeshSection::Point; // model units
    enum Side : int { Below = -1, Cut = 0, Above = 1 };

    MMeshOperatorCutPlane() = default;
    MMeshOperatorCutPlane(MMeshOperatorCutPlane const&) = default;
    MMeshOperatorCutPlane& operator=(MMeshOperatorCutPlane const&) = default;
    ~MMeshOperatorCutPlane() override;

    // The plane through `point` to which `normal`, of any length, is perpendicular; it points upwards. The
    // plane z = 0 unless set.
    void SetPlane(Point const& normal, Point const& point);
    Point const& GetNormal() const noexcept { return m_normal; }
    Point const& GetPoint() const noexcept { return m_point; }

    // Cuts, and sets the visibility of every element. False, with nothing changed and no results, without a
    // mesh and for a plane whose normal is zero or which is not given by finite numbers.
    bool Operate() override;

    // How many elements of the last run are on each side; together all.
    std::uint64_t GetNbAbove() const noexcept { return m_nb_above; }
    std::uint64_t GetNbBelow() const noexcept { return m_nb_below; }
    std::uint64_t GetNbCut() const noexcept { return m_nb_cut; }
    // The side of one element, worked out anew.
    Side GetSide(MMeshElement& e) const;

    // The polygons of the last run.
    MMeshSection const& GetSection() const noexcept { return m_section; }
    // The same as closed contours.
    MSection GetContours() const { return m_section.GetContours(); }
    // Appends them to a container, as triangles that wind counterclockwise for who looks against the normal.
    // Each sub-volume that is cut has a surface, named after it, in their order. At last comes one without a
    // name for elements in none. Returns the element of each triangle that was appended, in their order.
    // Triangles that collapse when rounded to internal units are left out. When origins are not null they get
    // what is in the container then. Each surface has its sub-volume inside, each triangle its element and,
    // when it lies on one, the face of it. Each point on a node has that node.
    std::vector<MMeshElement const*> AddSurfaces(MStlBase& stl, MSurfaceOrigins* origins = nullptr) const;

private:
    Point m_normal{0.0, 0.0, 1.0};
    Point m_point;
    std::uint64_t m_nb_above = 0;
    std::uint64_t m_nb_below = 0;
    std::uint64_t m_nb_cut = 0;
    std::vector<MLong> m_cut_elements; // their indices
    MMeshSection m_section;
    MMeshBase const* m_cut_mesh = nullptr; // what the section belongs to
};
