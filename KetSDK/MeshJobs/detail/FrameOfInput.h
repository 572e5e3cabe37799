// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/CoordinateFrame.h>
#include <KetSDK/Mesh/persistence/MMeshArray.h>
#include <KetSDK/MeshJobs/Context.h>

#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs::Detail {

// The frame of what was read: what the caller says or else what the file says. Warns when both say different
// ones, and of a file that says another word.
std::optional<Mesh::CoordinateFrame> FrameOfInput(std::optional<Mesh::CoordinateFrame> in_file,
                                                  std::optional<Mesh::CoordinateFrame> given,
                                                  char const* option, std::string const& file,
                                                  std::vector<MMeshArray>& arrays, Context const& context);

} // namespace KetSDK::MeshJobs::Detail
