#pragma once

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>

namespace KetSDK::Mesh::Detail {

// Signed volume of an element in cubic model units: the sum over the tetrahedra that it is cut into.
// The tables wind their tetrahedra against the element, so the sum is negated: a correctly oriented
// element has a positive volume.
inline double ElementVolume(MMeshElement const& e) noexcept {
    constexpr double unit = Common::MInternalUnits::Get();
    auto const position = [&e](unsigned char offset) {
        MMeshPoint const& p = *e.GetNode(offset);
        return MMVector<double, 3>(p.x / unit, p.y / unit, p.z / unit);
    };
    unsigned char const n = e.GetNodeCount();
    double volume = 0.0;
    for (unsigned char t = 0; t < MMeshElementDescriptor::GetNumTetraOfElement(n); ++t) {
        MMVector<double, 3> const origin = position(MMeshElementDescriptor::GetOffsetForTetra(n, t, 0));
        MMVector<double, 3> const a = position(MMeshElementDescriptor::GetOffsetForTetra(n, t, 1)) - origin;
        MMVector<double, 3> const b = position(MMeshElementDescriptor::GetOffsetForTetra(n, t, 2)) - origin;
        MMVector<double, 3> const c = position(MMeshElementDescriptor::GetOffsetForTetra(n, t, 3)) - origin;
        volume -= a.Dot(b.Cross(c)) / 6.0;
    }
    return volume;
}

} // namespace KetSDK::Mesh::Detail
