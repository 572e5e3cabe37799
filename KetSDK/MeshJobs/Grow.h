// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/geometry/QualityThreshold.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

struct GrowOptions {
    std::string metric = "ScaledJacobian"; // the quality metric that tells
    // Which values are bad. Values that are not finite are, too, and so are folded elements where the metric
    // sees mid-edge nodes.
    Mesh::QualityThreshold threshold;
    int rings = 0; // how many rings of face neighbours are added to the bad elements
};

struct MarkedSurfaceReport {
    std::string name; // UTF-8
    std::uint64_t triangles;
    std::uint64_t marked; // of the triangles
    double area;          // of the marked triangles, mm2
};
struct GrowResult {
    std::uint64_t elements = 0;
    std::uint64_t bad = 0; // elements, without the rings
    std::vector<MarkedSurfaceReport> surfaces;
    std::uint64_t taken_by_corners = 0; // ten-node tetrahedra whose exterior faces are those of their corners
    // Of all surfaces.
    std::uint64_t triangles = 0;
    std::uint64_t on_mesh = 0; // triangles that are boundary faces of the mesh
    std::uint64_t marked = 0;
    double area = 0.0; // mm2
    // The surface with the cell array `bad`: 1 for marked triangles, 0 for others.
    SurfaceModel surface;
};
// Marks the triangles of a surface, or of the exterior surface of the model without one, that are boundary
// faces of bad tetrahedra and of the rings around them. Warns when no triangle of the surface is a boundary
// face. Throws Error as RequireValid does, and FileError for other elements and for a metric that the model
// does not have.
KETSDK_MESHJOBS_API GrowResult Grow(Model const& model, std::optional<SurfaceModel> surface,
                                    GrowOptions const& options, Context const& context);

// Throws Error for a metric that is unknown or more than one.
KETSDK_MESHJOBS_API void RequireValid(GrowOptions const& options);

} // namespace KetSDK::MeshJobs
