// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/CoordinateFrame.h>

#include <optional>
#include <string>
#include <string_view>

namespace KetSDK::MeshVTK::Detail {

// The frame of coordinates in the headers and comments of files: the word "SPACE=RAS" or "SPACE=LPS".

std::string FrameText(Mesh::CoordinateFrame frame);
// The frame that a text says; nothing when it does not.
std::optional<Mesh::CoordinateFrame> FindFrameText(std::string_view text);
// The text without that word and the spaces at its ends.
std::string WithoutFrameText(std::string_view text);

} // namespace KetSDK::MeshVTK::Detail
