// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>
#include <KetSDK/MeshSolver/Surfaces.h>
#include <KetSDK/MeshSolver/detail/Integration.h>

namespace KetSDK::MeshSolver::Detail {

// The normal of a face at a point, outwards; as long as the area there is large.
inline MMVector<double, 3> AreaAt(MMeshElement const& e, FaceNodes const& face, FacePoint const& point) {
    MMVector<double, 3> u(0.0, 0.0, 0.0);
    MMVector<double, 3> v(0.0, 0.0, 0.0);
    for (unsigned int i = 0; i < face.count; ++i) {
        MMVector<double, 3> const position = e.GetNode(face.node[i])->GetPosition();
        u += position * point.slope[i][0];
        v += position * point.slope[i][1];
    }
    return u.Cross(v);
}

// The Jacobian determinant of an element at a point.
inline double JacobianAt(MMeshElement const& e, ElementPoint const& point) {
    MMVector<double, 3> u(0.0, 0.0, 0.0);
    MMVector<double, 3> v(0.0, 0.0, 0.0);
    MMVector<double, 3> w(0.0, 0.0, 0.0);
    for (unsigned int i = 0; i < e.GetNodeCount(); ++i) {
        MMVector<double, 3> const position = e.GetNode(i)->GetPosition();
        u += position * point.slope[i][0];
        v += position * point.slope[i][1];
        w += position * point.slope[i][2];
    }
    return u.Dot(v.Cross(w));
}

} // namespace KetSDK::MeshSolver::Detail
