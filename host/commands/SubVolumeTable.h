// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Model.h>
#include <host/terminal/Output.h>

#include <iosfwd>
#include <vector>

namespace ketmesh {

// A list of number, name, elements and volume [mm3] of each sub-volume.
Json ToJson(std::vector<KetSDK::MeshJobs::SubVolumeReport> const& subvolumes);

// Prints them as a table, with what all of them hold together in the last row.
void PrintSubVolumes(std::ostream& out, std::vector<KetSDK::MeshJobs::SubVolumeReport> const& subvolumes);

} // namespace ketmesh
