// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Model.h>

#include <vector>

namespace KetSDK::MeshJobs::Detail {

// The sub-volumes of a mesh in their order; the same bits when parallel.
std::vector<SubVolumeReport> ReportSubVolumes(MMeshBase const& mesh, bool parallel);

} // namespace KetSDK::MeshJobs::Detail
