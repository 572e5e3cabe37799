// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>

// How each kind of element is laid out and how it is cut into tetrahedra and triangles: tables and
// look-ups only. An element's kind is its node count: 4 (linear tetrahedron), 6 (wedge), 8
// (hexahedron) or 10 (quadratic tetrahedron: corners 0-3, then mid-edge nodes 4-9).
// Nothing here checks a tetrahedron, triangle or vertex number. Constant data: safe from any thread.
class KETSDK_MESH_API MMeshElementDescriptor {
public:
    enum ElementType : int {
        Tet4 = 0,
        Tet10 = 1,
        Hex8 = 2,
        Other = 3, // every other node count, wedges included
    };

    // Number of corner nodes: 4, 6, 8 and again 4 for ten nodes; 0 for an unknown kind.
    static unsigned char GetNumSimpleNodes(unsigned char n) noexcept;

    // Number of tetrahedra that the element is cut into: 1, 3, 6, 8; 0 for an unknown kind.
    static unsigned char GetNumTetraOfElement(unsigned char n) noexcept;

    // Index in the node array of vertex 0..3 of a sub-tetrahedron; 0 for an unknown kind. The
    // tetrahedron number is ignored for n = 4.
    static unsigned char GetOffsetForTetra(unsigned char n, unsigned char tetra,
                                           unsigned char vertex) noexcept;

    // Index in the node array of vertex 0..2 of face 0..3 of a sub-tetrahedron.
    static unsigned char GetOffsetForTriangle(unsigned char n, unsigned char tetra, unsigned char triangle,
                                              unsigned char vertex) noexcept {
        return GetOffsetForTetra(n, tetra, descr_triangle_point[triangle][vertex]);
    }

    // Vertex (0..3) of the tetrahedron that is vertex 0..2 of its face 0..3.
    static unsigned char GetOffsetForTriangleInTetra(unsigned char triangle, unsigned char vertex) noexcept {
        return descr_triangle_point[triangle][vertex];
    }

    // The one tetrahedron of a four-node element. Vertices 2 and 3 are exchanged on purpose: iterators
    // present a linear element as its nodes 0, 1, 3, 2.
    static constexpr unsigned char descr_1tetra_point[4] = {0, 1, 3, 2};
    // The three tetrahedra of a wedge.
    static constexpr unsigned char descr_3tetra_point[3][4] = {{0, 2, 1, 5}, {0, 1, 4, 5}, {0, 4, 3, 5}};
    // The six tetrahedra of a hexahedron.
    static constexpr unsigned char descr_6tetra_point[6][4] = {{1, 3, 2, 6}, {6, 1, 3, 7}, {5, 1, 6, 7},
                                                               {3, 1, 0, 7}, {1, 7, 5, 0}, {0, 7, 5, 4}};
    // The eight tetrahedra of a ten-node tetrahedron: four at the corners, then four that split the
    // inner octahedron along the diagonal 4-9.
    static constexpr unsigned char descr_8tetra_point[8][4] = {{0, 6, 4, 7}, {1, 4, 5, 8}, {2, 5, 6, 9},
                                                               {3, 7, 8, 9}, {4, 8, 7, 9}, {4, 5, 8, 9},
                                                               {6, 5, 4, 9}, {6, 7, 9, 4}};
    // The four faces of a tetrahedron, as its vertices.
    static constexpr unsigned char descr_triangle_point[4][3] = {{0, 3, 1}, {0, 1, 2}, {1, 3, 2}, {2, 3, 0}};
    // The same faces with the opposite winding.
    static constexpr unsigned char descr_triangle_point_ORIENTED[4][3] = {
        {0, 1, 3}, {0, 2, 1}, {1, 2, 3}, {3, 2, 0}};
    // The six faces of a hexahedron, oriented outwards.
    static constexpr unsigned char descr_quad_point_ORIENTED[6][4] = {
        {0, 3, 2, 1}, {1, 2, 6, 5}, {0, 1, 5, 4}, {3, 7, 6, 2}, {4, 5, 6, 7}, {0, 4, 7, 3}};
    // The two corners of edge i of a tetrahedron; mid-edge node 4 + i lies on it.
    static constexpr unsigned char descr_tet4_tet10_point[6][2] = {{0, 1}, {1, 2}, {2, 0},
                                                                   {0, 3}, {1, 3}, {2, 3}};
    // The three mid-edge nodes of each face, in the order of descr_triangle_point.
    static constexpr unsigned char descr_tet10_midpoints[4][3] = {{4, 8, 7}, {6, 5, 4}, {5, 9, 8}, {9, 6, 7}};
    // The triangle of mid-edge nodes that cuts off corner c.
    static constexpr unsigned char descr_KET_face[4][3] = {{4, 7, 6}, {4, 5, 8}, {5, 6, 9}, {7, 8, 9}};
    // The split of a ten-node tetrahedron into eight linear ones that order conversion uses: the inner
    // octahedron is split along the diagonal 5-7.
    static constexpr unsigned char descr_tet10_to_tet4[8][4] = {{0, 4, 6, 7}, {4, 1, 5, 8}, {7, 8, 9, 3},
                                                                {5, 2, 6, 9}, {4, 5, 6, 7}, {4, 5, 7, 8},
                                                                {5, 9, 7, 8}, {5, 9, 6, 7}};
    static constexpr unsigned char nb_tet10_to_tet4 = 8; // rows of descr_tet10_to_tet4
    // The two faces (rows of descr_triangle_point) that share edge i.
    static constexpr unsigned char descr_tet4_edge_faces[6][2] = {{0, 1}, {2, 1}, {1, 3},
                                                                  {0, 3}, {2, 0}, {3, 2}};
    // Mid-edge nodes that lie on opposite edges.
    static constexpr unsigned char descr_antipodal_midpoints[3][2] = {{4, 9}, {5, 7}, {6, 8}};
};

inline unsigned char MMeshElementDescriptor::GetNumSimpleNodes(unsigned char n) noexcept {
    constexpr unsigned char corners[11] = {0, 0, 0, 0, 4, 0, 6, 0, 8, 0, 4};
    return n <= 10 ? corners[n] : static_cast<unsigned char>(0);
}

inline unsigned char MMeshElementDescriptor::GetNumTetraOfElement(unsigned char n) noexcept {
    constexpr unsigned char tetrahedra[11] = {0, 0, 0, 0, 1, 0, 3, 0, 6, 0, 8};
    return n <= 10 ? tetrahedra[n] : static_cast<unsigned char>(0);
}

inline unsigned char MMeshElementDescriptor::GetOffsetForTetra(unsigned char n, unsigned char tetra,
                                                               unsigned char vertex) noexcept {
    switch (n) {
    case 4:
        return descr_1tetra_point[vertex];
    case 6:
        return descr_3tetra_point[tetra][vertex];
    case 8:
        return descr_6tetra_point[tetra][vertex];
    case 10:
        return descr_8tetra_point[tetra][vertex];
    default:
        return 0;
    }
}
