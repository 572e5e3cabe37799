// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <span>

// A face of an element as finite-element solvers count them: corners as indices into the node array, in the
// solvers' order.
struct MMeshSolverFace {
    unsigned char corners; // 3 or 4
    unsigned char node[4];
};

inline constexpr MMeshSolverFace MMeshSolverFacesOfTetrahedron[4] = {
    {3, {0, 1, 2, 0}}, {3, {0, 3, 1, 0}}, {3, {1, 3, 2, 0}}, {3, {2, 3, 0, 0}}};
inline constexpr MMeshSolverFace MMeshSolverFacesOfHexahedron[6] = {{4, {0, 1, 2, 3}}, {4, {4, 7, 6, 5}},
                                                                    {4, {0, 4, 5, 1}}, {4, {1, 5, 6, 2}},
                                                                    {4, {2, 6, 7, 3}}, {4, {3, 7, 4, 0}}};
inline constexpr MMeshSolverFace MMeshSolverFacesOfWedge[5] = {
    {3, {0, 1, 2, 0}}, {3, {3, 4, 5, 0}}, {4, {0, 1, 4, 3}}, {4, {1, 2, 5, 4}}, {4, {2, 0, 3, 5}}};

// The faces of an element with n nodes: face number f stands at f - 1, since solvers count from 1 (S1, S2,
// ...). Ten-node tetrahedra have those of their corners. None for an unknown kind.
constexpr std::span<MMeshSolverFace const> MMeshSolverFacesOf(unsigned char n) noexcept {
    switch (n) {
    case 4:
    case 10:
        return MMeshSolverFacesOfTetrahedron;
    case 6:
        return MMeshSolverFacesOfWedge;
    case 8:
        return MMeshSolverFacesOfHexahedron;
    default:
        return {};
    }
}
