// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Match.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <cstdint>
#include <vector>

namespace KetSDK::MeshJobs {

using LabelOptions = MatchOptions;

struct LabelResult {
    std::uint64_t elements = 0;
    SolidsReport solids;
    std::uint64_t taken_by_corners = 0;      // ten-node tetrahedra that a surface was held against
    std::vector<SubVolumeReport> subvolumes; // one for each region
};
// Makes a sub-volume of every region of a mesh, in place of those that it has. A region is all elements that
// are joined through faces without a triangle of the surface on them. Without a surface, which null means,
// the regions are the connected sets of elements. Hexahedra and wedges are cut to find the regions, and stay
// what they are. Warns of a tolerance that is larger than the triangles and of a surface that lies elsewhere.
// Throws FileError, Cancelled.
KETSDK_MESHJOBS_API LabelResult Label(Model& model, SurfaceModel const* surface, LabelOptions const& options,
                                      Context const& context);

} // namespace KetSDK::MeshJobs
