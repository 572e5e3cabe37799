// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/geometry/detail/SafeLength.h>
#include <KetSDK/Mesh/geometry/detail/VectorPair.h>

namespace KetSDK::Mesh::Detail {

// The unit normal (b - a) x (c - a) of the triangles that are written to surfaces; the zero vector when the
// points lie on a line.
inline MMVector<double, 3> UnitNormal(MMVector<double, 3> const& a, MMVector<double, 3> const& b,
                                      MMVector<double, 3> const& c) noexcept {
    MMVector<double, 3> const normal = (b - a).Cross(c - a);
    return normal / ScaledLength(normal[0], normal[1], normal[2]);
}

// Those of two triangles side by side, with the same bits: most of the time goes into divisions and the root.
inline VectorPair UnitNormals(VectorPair const& a, VectorPair const& b, VectorPair const& c) noexcept {
    VectorPair const normal = Cross(b - a, c - a);
    DoublePair const length = ScaledLength(normal);
    return {normal.x / length, normal.y / length, normal.z / length};
}

} // namespace KetSDK::Mesh::Detail
