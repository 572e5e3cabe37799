// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

class MStlBase;
struct MSurfaceOrigins;

// Writes every tetrahedron of a mesh, or of a selection, as four triangles of its own into a surface
// container. On request it is shrunk towards its centroid, so that the elements stand apart: an exploded
// view. A face between two elements comes twice, once from each side. Triangles wind outwards, and their
// normals point outwards, for correctly oriented elements.
//
// Every element is read as the tetrahedron of its first four nodes. The triangles follow one another in the
// order of the elements, each with its faces 0 to 3 as GetFaceOriented gives them. They go into the
// container's first surface, which is made when there is none. Points at the same integer position are
// shared. Reads no settings, reports no progress. One thread at a time uses operator, mesh and surface.
class KETSDK_MESH_API MMeshConvertToStlOperator : public MMeshOperator {
public:
    MMeshConvertToStlOperator() = default;
    // Copies refer to the same mesh, container and selection.
    MMeshConvertToStlOperator(MMeshConvertToStlOperator const&) = default;
    MMeshConvertToStlOperator(MMeshConvertToStlOperator&&) = default;
    MMeshConvertToStlOperator& operator=(MMeshConvertToStlOperator const&) = default;
    MMeshConvertToStlOperator& operator=(MMeshConvertToStlOperator&&) = default;
    ~MMeshConvertToStlOperator() override;

    // How far every corner moves towards the centroid, as a part of the way: 0 (unless set) leaves the
    // elements as they are, 1 collapses them.
    void SetEpsilon(double epsilon) noexcept { m_epsilon = epsilon; }
    double GetEpsilon() const noexcept { return m_epsilon; }

    // The container that the triangles are added to. Never owned here. With null, Operate() makes one, which
    // belongs to the caller.
    void SetStl(MStlBase* stl) noexcept { m_stl = stl; }
    MStlBase* GetStl() const noexcept { return m_stl; }

    // Only elements with the value true are converted; null, as at first, stands for all. Not owned.
    void SetSelectionMask(MDataMask<MMeshElement, bool>* selection) noexcept { m_selection = selection; }

    // Where to record what triangles and points came from; null, as at first, records nothing. Borrowed. Of
    // hexahedra and wedges a triangle has a face where its corners lie on one. A shrunk point stands for the
    // node that it has moved away from.
    void SetOrigins(MSurfaceOrigins* origins) noexcept { m_origins = origins; }

    // Converts. False without a mesh, otherwise true.
    bool Operate() override;

private:
    double m_epsilon = 0.0;
    MStlBase* m_stl = nullptr;
    MSurfaceOrigins* m_origins = nullptr;
    MDataMask<MMeshElement, bool>* m_selection = nullptr;
};
