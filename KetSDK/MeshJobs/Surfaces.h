// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <cstdint>
#include <vector>

namespace KetSDK::MeshJobs {

struct SurfacesOptions {
    bool interfaces = false; // extract the surfaces between sub-volumes as well
    // What surfaces are named after: the identifiers of the sub-volumes that they bound, as
    // MMeshExtractStlSurfaceOperator names them, or their names: "<inside>-" and "<inside>-<outside>".
    enum class Names { Ids, Volumes };
    Names names = Names::Ids;
    bool curved = false; // cut faces of ten-node tetrahedra into four at their mid-edge nodes
};

struct SurfacesResult {
    std::vector<SurfaceReport> reports; // by surface
    std::uint64_t triangles = 0;        // of all surfaces
    std::uint64_t points = 0;
    std::uint64_t taken_by_corners = 0; // ten-node tetrahedra whose faces are those of their corners
    // The surfaces, with the cell arrays `element` and `face` and the point array `node`. Those are, counted
    // from 1, the index of the element of each triangle, its face as solvers count faces, and the index of
    // the node of each point. With Names::Volumes there are also arrays of the surface as a whole. Those are
    // the names of the sub-volumes in their order, `subvolume_names`, and the number of that inside and that
    // outside of each surface, `surface_inside` and `surface_outside`, -1 for none.
    SurfaceModel surfaces;
};
// Extracts the outer surface of each sub-volume and, on request, those between sub-volumes; it then warns of
// nodes that lie twice, where there can be none.
KETSDK_MESHJOBS_API SurfacesResult Surfaces(Model const& model, SurfacesOptions const& options,
                                            Context const& context);

} // namespace KetSDK::MeshJobs
