// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <cstdint>

namespace KetSDK::MeshJobs {

struct BoundaryOptions {
    bool interfaces = false; // faces between sub-volumes count as boundary, too
    bool simplify = false;   // ten-node tetrahedra are taken by their corners
    bool colors = false;     // the surface gets the colours of the materials
    // Every face of every tetrahedron is taken, those inside the mesh once from each side.
    bool all_faces = false;
};

struct BoundaryResult {
    std::uint64_t elements = 0;
    SolidsReport solids;
    std::uint64_t nodes = 0;
    std::uint64_t boundary_elements = 0; // with a face on the boundary
    std::uint64_t boundary_nodes = 0;
    std::uint64_t triangles = 0; // of the surface
    double area = 0.0;           // mm2
    bool closed = false;         // every edge lies in exactly two triangles
    // One surface, with the arrays `element`, `face` and `node` as Surfaces gives them, and `color` (red,
    // green and blue of each triangle, 0 to 255) when colours were asked for.
    SurfaceModel surface;
};
// Makes one surface of the boundary of a mesh: the faces of tetrahedra which no other element shares.
// Hexahedra and wedges are cut so that neighbours fit (MMeshConformingCutOperator). A face between two
// sub-volumes comes once, seen from the one of the lower number. Throws FileError when colours are asked for
// and the model has no materials.
KETSDK_MESHJOBS_API BoundaryResult Boundary(Model const& model, BoundaryOptions const& options,
                                            Context const& context);

} // namespace KetSDK::MeshJobs
