// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <array>
#include <vector>

// Small meshes that the tests build from.
namespace TestMeshes {

inline constexpr MLong Unit = 65536; // internal units of one model unit

using Coordinates = std::array<MLong, 3>;

// Corner positions of one positively oriented element of each kind, in model units.
inline std::vector<Coordinates> Corners(unsigned char kind) {
    std::vector<Coordinates> const tetrahedron = {{0, 0, 0}, {6, 0, 0}, {0, 6, 0}, {0, 0, 6}};
    switch (kind) {
    case 4:
        return tetrahedron;
    case 10: {
        std::vector<Coordinates> nodes = tetrahedron;
        for (auto const& edge : MMeshElementDescriptor::descr_tet4_tet10_point) {
            Coordinates mid;
            for (std::size_t i = 0; i < 3; ++i)
                mid[i] = (nodes[edge[0]][i] + nodes[edge[1]][i]) / 2;
            nodes.push_back(mid);
        }
        return nodes;
    }
    case 6:
        return {{0, 0, 0}, {6, 0, 0}, {0, 6, 0}, {0, 0, 6}, {6, 0, 6}, {0, 6, 6}};
    case 8:
        return {{0, 0, 0}, {6, 0, 0}, {6, 6, 0}, {0, 6, 0}, {0, 0, 6}, {6, 0, 6}, {6, 6, 6}, {0, 6, 6}};
    default:
        return {};
    }
}

// Adds nodes at positions in model units; returns their addresses.
inline std::vector<MMeshPoint*> AddNodes(MMeshBase& mesh, std::vector<Coordinates> const& positions) {
    std::vector<MMeshPoint*> nodes;
    for (Coordinates const& p : positions)
        nodes.push_back(mesh.AddPoint(p[0] * Unit, p[1] * Unit, p[2] * Unit));
    return nodes;
}

inline MMeshElement* AddElement(MMeshBase& mesh, std::vector<MMeshPoint*> nodes) {
    return mesh.AddElement(static_cast<char>(nodes.size()), nodes.data());
}

inline MMeshElement* AddElementOfKind(MMeshBase& mesh, unsigned char kind) {
    return AddElement(mesh, AddNodes(mesh, Corners(kind)));
}

// n x n x n cubes of six tetrahedra each, all positively oriented and conforming; n^3 model units.
inline void FillWithCubes(MMeshBase& mesh, int n) {
    std::vector<MMeshPoint*> nodes;
    for (int z = 0; z <= n; ++z)
        for (int y = 0; y <= n; ++y)
            for (int x = 0; x <= n; ++x)
                nodes.push_back(mesh.AddPoint(x * Unit, y * Unit, z * Unit));
    auto const at = [&nodes, n](int x, int y, int z) {
        return nodes[static_cast<std::size_t>((z * (n + 1) + y) * (n + 1) + x)];
    };
    for (int z = 0; z < n; ++z)
        for (int y = 0; y < n; ++y)
            for (int x = 0; x < n; ++x) {
                MMeshPoint* const c[8] = {
                    at(x, y, z),     at(x + 1, y, z),     at(x + 1, y + 1, z),     at(x, y + 1, z),
                    at(x, y, z + 1), at(x + 1, y, z + 1), at(x + 1, y + 1, z + 1), at(x, y + 1, z + 1)};
                // The table winds its tetrahedra against the element.
                for (auto const& t : MMeshElementDescriptor::descr_6tetra_point)
                    AddElement(mesh, {c[t[0]], c[t[1]], c[t[3]], c[t[2]]});
            }
}

} // namespace TestMeshes
