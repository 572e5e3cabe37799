// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Mesh/mesh/MSurfaceOrigins.h>
#include <KetSDK/Mesh/operators/detail/ElementFaces.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

namespace KetSDK::Mesh::Detail {

// Records what a surface container gets while it is being filled, triangle by triangle, whatever surface each
// goes to. Records nothing when the origins are null.
class SurfaceRecord {
public:
    // What the container holds now has no origin.
    SurfaceRecord(MSurfaceOrigins* origins, MStlBase const& stl);

    // The container got a triangle, which lies on that face of the element, or on none (0).
    void AddTriangle(MLong element, int face) {
        if (m_origins)
            m_origins->triangles.push_back({element, face});
    }
    // The same with the nodes of an element with n nodes on which the triangle stands.
    void AddTriangle(MLong element, unsigned char n, NodeBits nodes) {
        if (m_origins)
            AddTriangle(element, SolverFaceOf(n, nodes));
    }
    // A point of the container stands for a node, unless it stands for another one already.
    void AddPoint(MStlPoint const& point, MLong node) {
        if (m_origins)
            SetPoint(point, node);
    }
    void AddSurface(MSurfaceOrigins::Surface const& bounds) {
        if (m_origins)
            m_origins->surfaces.push_back(bounds);
    }

    // Brings the triangles into the order of the surfaces. To be called when the container is filled.
    void Finish();

private:
    void SetPoint(MStlPoint const& point, MLong node);

    MSurfaceOrigins* m_origins;
    MStlBase const& m_stl;
};

} // namespace KetSDK::Mesh::Detail
