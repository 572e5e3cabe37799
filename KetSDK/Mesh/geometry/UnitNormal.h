#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/geometry/SafeLength.h>

namespace KetSDK::Mesh::Detail {

// The unit normal (b - a) x (c - a) of the triangles that are written to surfaces; the zero vector when the
// points lie on a line.
inline MMVector<double, 3> UnitNormal(MMVector<double, 3> const& a, MMVector<double, 3> const& b,
                                      MMVector<double, 3> const& c) noexcept {
    MMVector<double, 3> const normal = (b - a).Cross(c - a);
    return normal / ScaledLength(normal[0], normal[1], normal[2]);
}

} // namespace KetSDK::Mesh::Detail
