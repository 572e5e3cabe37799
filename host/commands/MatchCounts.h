// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Match.h>
#include <host/terminal/Output.h>

namespace ketmesh {

// How mesh and surface correspond, as reports give it.
Json ToJson(KetSDK::MeshJobs::MatchCounts const& counts);

} // namespace ketmesh
