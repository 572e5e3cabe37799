// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Match.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <cstdint>
#include <vector>

namespace KetSDK::MeshJobs {

using GroupOptions = MatchOptions;

struct GroupResult {
    std::uint64_t elements = 0;
    std::uint64_t groups_of = 0;        // how many sub-volumes there were
    std::uint64_t taken_by_corners = 0; // ten-node tetrahedra
    std::vector<SubVolumeReport> subvolumes;
    MatchCounts counts; // of the sub-volumes that there were
};
// Joins the sub-volumes of a mesh of tetrahedra, in place, by the names of the surfaces around them. Names
// are split at the first "-": the first word names the volume that the triangles face away from, the second
// the one on their other side. The first face of a sub-volume that has a triangle gives its name, and
// sub-volumes of one name become one, "Volume <name>". A surface that Surfaces named after volumes, and that
// has its arrays, gives the sub-volumes back with their own names in their order, whatever these are. Warns
// of faces without a triangle, of a tolerance that is larger than the triangles and of a surface that lies
// elsewhere. Throws FileError for other elements and for surfaces without a name, Cancelled.
KETSDK_MESHJOBS_API GroupResult Group(Model& model, SurfaceModel const& surface, GroupOptions const& options,
                                      Context const& context);

} // namespace KetSDK::MeshJobs
