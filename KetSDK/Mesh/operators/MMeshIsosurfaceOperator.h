// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Math/MathCore/MTriangle.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/geometry/VertexValuedTetrahedron.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>

#include <memory>
#include <vector>

class MStlBase;
struct MSurfaceOrigins;

// The surface on which a scalar field, given at the nodes and linear in each tetrahedron, has a given value.
// Marching tetrahedra (Doi and Koide 1991), element by element in their order. Normals point to higher
// values. The surface of a continuous field is closed, except where it leaves the mesh.
//
// Every element counts as the tetrahedron of its first four nodes: that is right for linear ones, takes
// quadratic ones as straight, and is meaningless for hexahedra and wedges. A node exactly on the level
// lies above it. An element with a NaN at a corner gives nothing; infinite values give no useful points.
// Points are rounded to internal units and shared. Where the surface cuts off less than a unit, a
// triangle may so have a point twice; it is there all the same (kept: callers count triangles).
// Reads no settings. One thread at a time uses operator, mesh, mask and surface.
class KETSDK_MESH_API MMeshIsosurfaceOperator : public MMeshOperator {
public:
    using NodesMask = MDataMask<MMeshPoint, double>;

    MMeshIsosurfaceOperator() = default;
    MMeshIsosurfaceOperator(MMeshIsosurfaceOperator const&) = default;
    MMeshIsosurfaceOperator(MMeshIsosurfaceOperator&&) = default;
    MMeshIsosurfaceOperator& operator=(MMeshIsosurfaceOperator const&) = default;
    MMeshIsosurfaceOperator& operator=(MMeshIsosurfaceOperator&&) = default;
    ~MMeshIsosurfaceOperator() override;

    // The value of every node; required. Never owned here.
    void SetNodesMask(NodesMask* values) noexcept { m_nodes_mask = values; }

    // The level of the surface; 0 unless set.
    void SetIsoValue(double level) noexcept { m_iso_value = level; }
    double GetIsoValue() const noexcept { return m_iso_value; }

    // The container whose first surface the triangles are added to. Never owned here. With null, Operate()
    // makes one, which belongs to the caller.
    void SetIsoSurface(MStlBase* surface) noexcept { m_iso_surface = surface; }
    MStlBase* GetIsoSurface() const noexcept { return m_iso_surface; }

    // Where to record in which element each triangle lies; null, as at first, records nothing. Borrowed.
    // Points have no node.
    void SetOrigins(MSurfaceOrigins* origins) noexcept { m_origins = origins; }

    // Fills the nodes mask with values to try the operator on: the distance in model units from a sphere,
    // negative inside. It lies in the middle of the mesh's box and has a quarter of its shortest side as
    // radius. Does nothing without a mesh or a nodes mask.
    void GenerateDemoValues();

    // Extracts. False without a mesh or without a nodes mask. Throws std::domain_error("integer division by
    // zero") for a mesh with fewer than 1000 elements, whose progress cannot be counted in thousandths
    // (kept). Nothing is added in these cases, and no container made.
    bool Operate() override;

protected:
    // The triangles of one tetrahedron: none, one, or two that make up a quadrilateral. The caller deletes
    // them.
    std::vector<MTriangle<double, 3> const*> _GetIsoTriangles(VertexValuedTetrahedron& tetrahedron);
    // Adds a triangle to the container, unless two of its corners are the same in doubles.
    void _AddTriangle(MStlBase* surface, MTriangle<double, 3> const& triangle) const;

private:
    std::shared_ptr<KetSDK::Common::IProgressDelegate> m_progress; // nobody sets it
    MStlBase* m_iso_surface = nullptr;
    MSurfaceOrigins* m_origins = nullptr;
    NodesMask* m_nodes_mask = nullptr;
    double m_iso_value = 0.0;
};
