// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>

// Marks the boundary of a mesh in its masks. The surface mask of the elements gets, for every element, its
// faces on the boundary: sub-tetrahedron and face, as a triangle iterator counts them. The neighbour mask of
// the nodes gets, for every node, iterators at those triangles.
//
// A face lies on the boundary when no other element shares it. Faces of elements match when they have the
// same corners, whatever the kinds of the elements. So do those of hexahedra and wedges also where the
// neighbours are cut along different diagonals. Where elements of different kinds meet, the triangles that
// they are cut into match. With faces between sub-volumes as boundary, both elements list theirs. Triangles
// with a node twice are no faces. Both masks are made anew and do not follow later changes of the mesh.
// Reports no progress. One thread at a time uses operator and mesh.
class KETSDK_MESH_API MMeshOperatorSurface : public MMeshOperator {
public:
    MMeshOperatorSurface() = default;
    ~MMeshOperatorSurface() override;

    // Marks, with MMeshOperatorSettingsSurface as settings or the defaults of that class when they are null.
    // False, and the masks are as they were, without a mesh, for one without elements and with settings of
    // another class.
    bool Operate() override;
};
