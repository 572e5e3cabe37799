// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshElementDescriptor.h>
#include <KetSDK/Mesh/mesh/MMeshSolverFaces.h>

#include <cstddef>

#include <span>

namespace KetSDK::Mesh::Detail {

// One face of an element: three or four corners as indices into the node array, winding outwards. A
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

// Nodes of an element, by their indices in the node array.
using NodeBits = unsigned int;

// The nodes that lie on a face of an element with n nodes: its corners and, of ten-node elements, the
// mid-edge nodes between them.
template <typename Face>
constexpr NodeBits NodesOnFace(unsigned char n, Face const& face) noexcept {
    NodeBits nodes = 0;
    for (unsigned int i = 0; i < face.corners; ++i)
        nodes |= 1U << face.node[i];
    NodeBits const corners = nodes;
    for (unsigned int edge = 0; n == 10 && edge < 6; ++edge) {
        auto const& ends = MMeshElementDescriptor::descr_tet4_tet10_point[edge];
        if ((corners >> ends[0] & corners >> ends[1] & 1U) != 0)
            nodes |= 1U << (4 + edge);
    }
    return nodes;
}

// The mid-edge node between two corners of a ten-node tetrahedron.
constexpr unsigned char MidNodeBetween(unsigned char a, unsigned char b) noexcept {
    unsigned char mid = 4;
    for (auto const& ends : MMeshElementDescriptor::descr_tet4_tet10_point) {
        if ((ends[0] == a && ends[1] == b) || (ends[0] == b && ends[1] == a))
            break;
        ++mid;
    }
    return mid;
}

// The face of an element with n nodes on which all these nodes lie, three or more that are not on one edge.
// Counted as solvers do, from 1; 0 when there is none.
constexpr int SolverFaceOf(unsigned char n, NodeBits nodes) noexcept {
    auto const faces = MMeshSolverFacesOf(n);
    for (std::size_t f = 0; f < faces.size(); ++f)
        if ((nodes & ~NodesOnFace(n, faces[f])) == 0)
            return static_cast<int>(f) + 1;
    return 0;
}

// The corners of a face of a sub-tetrahedron.
inline NodeBits NodesOfTriangle(unsigned char n, unsigned char tetrahedron, unsigned char triangle) noexcept {
    NodeBits nodes = 0;
    for (unsigned char i = 0; i < 3; ++i)
        nodes |= 1U << MMeshElementDescriptor::GetOffsetForTriangle(n, tetrahedron, triangle, i);
    return nodes;
}

} // namespace KetSDK::Mesh::Detail
