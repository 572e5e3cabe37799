// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace KetSDK::Mesh::Detail {

// The cosine of the smallest dihedral angle of a tetrahedron, which is the largest of the six; 2 when its
// volume is not positive. The angle between two faces is that of their normals, taken from 180 degrees.
inline double CosineOfSmallestDihedral(MMVector<double, 3> const& p0, MMVector<double, 3> const& p1,
                                       MMVector<double, 3> const& p2,
                                       MMVector<double, 3> const& p3) noexcept {
    using Vector = MMVector<double, 3>;
    Vector const a = p1 - p0, b = p2 - p0, c = p3 - p0;
    // Of the faces across from each corner, pointing outwards.
    Vector const n1 = c.Cross(b), n2 = a.Cross(c), n3 = b.Cross(a);
    Vector const n0 = (n1 + n2 + n3) * -1.0;
    if (!(-n3.Dot(c) > 0.0))
        return 2.0;
    double const l0 = 1.0 / std::sqrt(n0.Dot(n0)), l1 = 1.0 / std::sqrt(n1.Dot(n1));
    double const l2 = 1.0 / std::sqrt(n2.Dot(n2)), l3 = 1.0 / std::sqrt(n3.Dot(n3));
    double const smallest =
        std::min({n0.Dot(n1) * (l0 * l1), n0.Dot(n2) * (l0 * l2), n0.Dot(n3) * (l0 * l3),
                  n1.Dot(n2) * (l1 * l2), n1.Dot(n3) * (l1 * l3), n2.Dot(n3) * (l2 * l3)});
    return -smallest;
}

} // namespace KetSDK::Mesh::Detail
