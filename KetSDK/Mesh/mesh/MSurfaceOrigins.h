// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>

#include <optional>
#include <vector>

// What the triangles, points and surfaces of a surface container came from in the mesh that they were made
// of. Whatever makes them fills one of these when it is given one (SetOrigins), and it is right after a run
// that returned true. It tells of everything in the container: what was there before has no origin. A plain
// value of indices, which does not follow later changes of mesh or container.
struct MSurfaceOrigins {
    struct Triangle {
        MLong element = -1; // index of the element that it lies on or in; -1 for none
        // The face of the element that it lies on, as MMeshSolverFaces.h counts them, from 1; 0 when it lies
        // inside the element.
        int face = 0;

        friend bool operator==(Triangle const&, Triangle const&) = default;
    };
    // The sub-volumes that a surface bounds, by their identifiers (-1: elements in none).
    struct Surface {
        std::optional<int> inside;  // what its triangles wind around; none when that is no one sub-volume
        std::optional<int> outside; // beyond them; none where the mesh ends

        friend bool operator==(Surface const&, Surface const&) = default;
    };

    std::vector<Triangle> triangles; // surface by surface, in the order of each: as MStlSurface::Triangles()
    std::vector<MLong> points;       // by point: the index of its node, the first of several; -1 for none
    std::vector<Surface> surfaces;   // by surface

    friend bool operator==(MSurfaceOrigins const&, MSurfaceOrigins const&) = default;
};
