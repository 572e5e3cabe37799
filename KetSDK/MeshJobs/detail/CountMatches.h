// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Match.h>

namespace KetSDK::MeshJobs::Detail {

// Counts by the mapper that the mesh holds. Throws Cancelled.
MatchCounts CountMatches(Model const& model, SurfaceModel const& surface, Context const& context);

} // namespace KetSDK::MeshJobs::Detail
