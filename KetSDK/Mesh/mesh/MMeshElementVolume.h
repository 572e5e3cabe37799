#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>

// The signed volume of an element in cubic model units: the sum over the tetrahedra that it is cut into,
// positive for a correctly oriented element. The tables wind their tetrahedra against the element, so the
// sum is negated.
inline double GetElementVolume(MMeshElement const& e) noexcept {
    unsigned char const n = e.GetNodeCount();
    auto const corner = [&](unsigned char t, unsigned char i) {
        return e.GetNode(MMeshElementDescriptor::GetOffsetForTetra(n, t, i))->GetPosition();
    };
    double volume = 0.0;
    for (unsigned char t = 0; t < MMeshElementDescriptor::GetNumTetraOfElement(n); ++t) {
        MMVector<double, 3> const origin = corner(t, 0);
        MMVector<double, 3> const a = corner(t, 1) - origin;
        MMVector<double, 3> const b = corner(t, 2) - origin;
        MMVector<double, 3> const c = corner(t, 3) - origin;
        volume -= a.Dot(b.Cross(c)) / 6.0;
    }
    return volume;
}
