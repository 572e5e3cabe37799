// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

class MStlBase;
struct MSurfaceOrigins;

// Turns the boundary of a mesh into named triangulated surfaces. Every face without a neighbour goes to the
// exterior surface of its sub-volume ("Exterior Surface-" and the number). On request every face between two
// sub-volumes goes to their interface surface ("Interface Surface", the lower number, "-", the other), seen
// from the element of the lower number. Surfaces follow one another in the order in which the walk over the
// elements first meets them. Triangles wind outwards for correctly oriented elements.
//
// Tetrahedra give their four faces (those of ten nodes their corner faces, or, where that is set, each face
// as four triangles on its mid-edge nodes, too). Hexahedra and wedges give their true boundary, each
// quadrilateral as two triangles along the diagonal at which the element is cut into tetrahedra. Elements in
// no sub-volume count as sub-volume -1. A face that collapses gives no triangle. Enables the neighbour
// information of the mesh and leaves it enabled. Reads no settings, reports no progress. One thread at a time
// uses operator, mesh and surface.
class KETSDK_MESH_API MMeshExtractStlSurfaceOperator : public MMeshOperator {
public:
    MMeshExtractStlSurfaceOperator() = default;
    MMeshExtractStlSurfaceOperator(MMeshExtractStlSurfaceOperator const&) = default;
    MMeshExtractStlSurfaceOperator(MMeshExtractStlSurfaceOperator&&) = default;
    MMeshExtractStlSurfaceOperator& operator=(MMeshExtractStlSurfaceOperator const&) = default;
    MMeshExtractStlSurfaceOperator& operator=(MMeshExtractStlSurfaceOperator&&) = default;
    ~MMeshExtractStlSurfaceOperator() override;

    // The container that the surfaces are added to, after those that it has. Never owned here. With
    // null, Operate() makes one, which belongs to the caller.
    void SetStl(MStlBase* stl) noexcept { m_stl = stl; }
    MStlBase* GetStl() const noexcept { return m_stl; }

    // Whether faces between two sub-volumes are extracted as well; false unless set.
    void SetExtractInterfacesBetweenSubVolumes(bool extract) noexcept { m_extract_interfaces = extract; }
    bool GetExtractInterfacesBetweenSubVolumes() const noexcept { return m_extract_interfaces; }

    // Whether the faces of ten-node tetrahedra are cut into four at their mid-edge nodes; false unless set.
    void SetCurved(bool curved) noexcept { m_curved = curved; }
    bool GetCurved() const noexcept { return m_curved; }

    // Where to record what surfaces, triangles and points came from: the sub-volumes inside and outside of
    // each surface among it. Null, as at first, records nothing. Borrowed.
    void SetOrigins(MSurfaceOrigins* origins) noexcept { m_origins = origins; }

    // Extracts. False without a mesh, otherwise true.
    bool Operate() override;

private:
    MStlBase* m_stl = nullptr;
    MSurfaceOrigins* m_origins = nullptr;
    bool m_extract_interfaces = false;
    bool m_curved = false;
};
