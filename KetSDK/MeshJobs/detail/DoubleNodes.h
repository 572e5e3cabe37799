// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

namespace KetSDK::MeshJobs::Detail {

// Warns where nodes lie twice, as they do between two meshes side by side and between the pieces of a file:
// what touches there is not connected.
void WarnOfDoubleNodes(Model const& model, Context const& context);

} // namespace KetSDK::MeshJobs::Detail
