#pragma once

#include <KetSDK/Mesh/mesh/MMeshElementDescriptor.h>

#include <span>

namespace KetSDK::Mesh::Detail {

// One face of an element: three or four corners as places in the node array, winding outwards. A
// quadrilateral is cut into (0, 1, 2) and (0, 2, 3), along the diagonal at which the element is cut into
// tetrahedra.
struct ElementFace {
    unsigned char corners;
    unsigned char node[4];
};

inline constexpr ElementFace TetrahedronFaces[4] = {
    {3, {0, 1, 3, 0}}, {3, {0, 2, 1, 0}}, {3, {1, 2, 3, 0}}, {3, {3, 2, 0, 0}}};
inline constexpr ElementFace WedgeFaces[5] = {
    {3, {0, 2, 1, 0}}, {3, {3, 4, 5, 0}}, {4, {0, 1, 4, 3}}, {4, {1, 2, 5, 4}}, {4, {0, 3, 5, 2}}};
inline constexpr ElementFace HexahedronFaces[6] = {{4, {1, 0, 3, 2}}, {4, {1, 2, 6, 5}}, {4, {0, 1, 5, 4}},
                                                   {4, {3, 7, 6, 2}}, {4, {5, 6, 7, 4}}, {4, {0, 4, 7, 3}}};

// The faces of an element with n nodes, the four of a tetrahedron in the order of
// descr_triangle_point_ORIENTED; none for an unknown kind.
constexpr std::span<ElementFace const> FacesOfElement(unsigned char n) noexcept {
    switch (n) {
    case 4:
    case 10:
        return TetrahedronFaces;
    case 6:
        return WedgeFaces;
    case 8:
        return HexahedronFaces;
    default:
        return {};
    }
}

} // namespace KetSDK::Mesh::Detail
