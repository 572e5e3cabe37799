// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <cstdint>

namespace KetSDK::MeshJobs {

struct ProjectOptions {
    double distance = 0.0;   // how far in mm the surface may be from a node that moves there
    bool interfaces = false; // move the nodes between sub-volumes as well
    // The scaled Jacobian of the corners, 0 to 1, below which no element may fall; one that is below may not
    // get worse.
    double min_quality = 0.05;
};

// What became of the corner nodes at the boundary and, where that was asked for, between sub-volumes.
struct ProjectResult {
    // Where the mesh was, or is, in relation to the surface.
    struct State {
        double volume = 0.0;           // mm3, signed
        double mean_distance = 0.0;    // of those nodes from the surface, mm
        double largest_distance = 0.0; // mm
        double quality = 0.0;          // the smallest scaled Jacobian of the corners of an element
    };

    std::uint64_t nodes = 0;     // moved, shortened and left together
    std::uint64_t moved = 0;     // onto the surface
    std::uint64_t shortened = 0; // came part of the way
    std::uint64_t left = 0;      // stand where they stood, for one of these reasons:
    std::uint64_t too_far = 0;
    std::uint64_t on_surface = 0; // already
    std::uint64_t held = 0;       // by elements that a move would spoil
    std::uint64_t limited = 0;    // of those shortened and held, by the smallest quality alone
    double largest_move = 0.0;    // mm
    State before;
    State after;
};
// Moves the boundary of a mesh of tetrahedra, in place, onto the nearest points of a surface; mid-edge nodes
// follow. No element is inverted by it, and none falls below the smallest quality. Warns when the surface is
// too far away from every node. Throws FileError for other elements and for a surface without triangles,
// Cancelled.
KETSDK_MESHJOBS_API ProjectResult Project(Model& model, SurfaceModel const& surface,
                                          ProjectOptions const& options, Context const& context);

} // namespace KetSDK::MeshJobs
