// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MSurfaceOrigins.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <optional>
#include <string>
#include <vector>

class MMeshBase;

namespace KetSDK::MeshJobs::Detail {

// Between which sub-volumes the surfaces of a mesh lie. Their names say it as "<inside>-<outside>", but not
// surely: a name of a sub-volume can hold a "-" and another one can have it, too. So files that hold arrays
// say it by number as well.
struct VolumesOfSurfaces {
    std::vector<std::wstring> volumes; // names of the sub-volumes, in their order
    // For each surface; -1 for the outside.
    std::vector<int> inside;
    std::vector<int> outside;

    // The name of a surface.
    std::wstring NameOf(std::size_t surface) const;
};

VolumesOfSurfaces FindVolumes(MMeshBase const& mesh, MSurfaceOrigins const& origins);
// Adds arrays of the surface as a whole: `subvolume_names`, `surface_inside`, `surface_outside`.
void AddVolumes(SurfaceModel& surface, VolumesOfSurfaces const& volumes);
// What these arrays say; nothing when they are missing or other surfaces have come since.
std::optional<VolumesOfSurfaces> VolumesOf(SurfaceModel const& surface);

} // namespace KetSDK::MeshJobs::Detail
