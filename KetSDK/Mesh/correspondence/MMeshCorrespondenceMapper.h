// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>

class MMeshElement;
class MStlTriangle;

// Says which triangle of a surface lies on which face of a tetrahedral mesh. A face is given by an element
// and a row of descr_triangle_point. It has the same triangle from both of its elements, except where two
// triangles lie on it back to back.
//
// Every query maps first when there is no mapping yet. The mapping is that of mesh and surface as they
// were then: whoever changes elements, nodes or triangles calls Map() again. Elements and triangles
// belong to mesh and surface. Queries are safe from several threads once Map() has returned.
class KETSDK_MESH_API MMeshCorrespondenceMapper {
public:
    virtual ~MMeshCorrespondenceMapper();

    // Finds the triangle of every face, in place of what was found before.
    virtual void Map() = 0;
    virtual bool IsMapped() const = 0;

    // The triangle on a face; null when there is none, and for a face above 3. Of two that lie on it back
    // to back, the one that faces away from the element.
    virtual MStlTriangle* GetTriangle(MMeshElement* e, unsigned int face) = 0;
    // The triangle on the face between two elements, as GetTriangle gives it for the first; null when
    // there is none or they share no face.
    virtual MStlTriangle* GetSharedTriangle(MMeshElement* e1, MMeshElement* e2) = 0;
    // The element that a triangle is assigned to. Of the elements at its face that is the one that it faces
    // away from (its normal points out of that element). At the boundary of the mesh it is the only one. When
    // it lies on several faces, the first such element of the mesh. Null for a triangle on no face.
    virtual MMeshElement* GetElement(MStlTriangle const* triangle) = 0;
    // Whether a triangle is assigned to an element. It can be to several, when it lies on several faces.
    virtual bool IsAssignedTo(MStlTriangle const* triangle, MMeshElement* e);
    // 1 when a triangle lies on the face between two elements, 0 when none does, -1 when they share no face.
    virtual int IsBoundaryCrossing(MMeshElement* e1, MMeshElement* e2) = 0;

protected:
    MMeshCorrespondenceMapper() = default;
    MMeshCorrespondenceMapper(MMeshCorrespondenceMapper const&) = default;
    MMeshCorrespondenceMapper& operator=(MMeshCorrespondenceMapper const&) = default;
};
