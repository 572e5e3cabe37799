// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <cstdint>

namespace KetSDK::MeshJobs {

struct MatchOptions {
    // How far in mm a triangle may lie from its face; for a surface that was remeshed, how far that has moved
    // it.
    double tolerance = 0.001;
};

// How far a mesh and a surface correspond, in numbers of faces and triangles.
struct KETSDK_MESHJOBS_API MatchCounts {
    struct Faces {
        std::uint64_t with_triangle = 0;
        std::uint64_t without_triangle = 0;
    };
    Faces boundary;                 // at the outside of the mesh
    Faces interfaces;               // between two sub-volumes, each counted once
    std::uint64_t inner = 0;        // inside a sub-volume and with a triangle
    std::uint64_t with_face = 0;    // triangles
    std::uint64_t without_face = 0; // triangles
    std::uint64_t wrong_way = 0;    // faces outside whose triangle faces into the mesh, and faces between
                                    // sub-volumes whose triangle faces another way than most of its
                                    // surface there

    // Faces outside without a triangle, triangles without a face, those that face the wrong way, and faces
    // between sub-volumes without a triangle, unless none of them has one.
    std::uint64_t GetMismatches() const noexcept;
};

struct MatchResult {
    std::uint64_t elements = 0;
    SolidsReport solids;
    std::uint64_t taken_by_corners = 0; // ten-node tetrahedra
    MatchCounts counts;
};
// Counts how far a mesh and a surface correspond; ten-node tetrahedra count by their corners. Hexahedra and
// wedges are cut into tetrahedra, their faces into two as the surface is. Warns of a tolerance that is larger
// than the triangles and of a surface that lies elsewhere. Throws FileError, Cancelled.
KETSDK_MESHJOBS_API MatchResult Match(Model const& model, SurfaceModel const& surface,
                                      MatchOptions const& options, Context const& context);

} // namespace KetSDK::MeshJobs
