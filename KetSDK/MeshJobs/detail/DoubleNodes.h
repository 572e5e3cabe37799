// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <cstdint>
#include <string>

class MMeshBase;

namespace KetSDK::MeshJobs::Detail {

// Warns where nodes lie twice, as they do between two meshes side by side and between the pieces of a file:
// what touches there is not connected.
void WarnOfDoubleNodes(Model const& model, Context const& context);

// Counts the elements on the positions of an earlier one, as a mesh has them that was merged with itself, and
// warns where there are any: their volume counts twice. `name` says where the mesh comes from.
std::uint64_t WarnOfDuplicateElements(MMeshBase const& mesh, std::string const& name, Context const& context);

} // namespace KetSDK::MeshJobs::Detail
