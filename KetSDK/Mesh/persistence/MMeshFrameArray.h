// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/CoordinateFrame.h>
#include <KetSDK/Mesh/persistence/MMeshArray.h>

#include <optional>
#include <vector>

// The frame of coordinates as files say it: an array of one string, "RAS" or "LPS", that belongs to the mesh
// as a whole.

inline constexpr wchar_t const* MMeshFrameArrayName = L"SPACE";

KETSDK_MESH_API MMeshArray MakeFrameArray(KetSDK::Mesh::CoordinateFrame frame);
// The frame that the arrays say, which is taken out of them; nothing, with the arrays as they are, when there
// is no such array or it says something else.
KETSDK_MESH_API std::optional<KetSDK::Mesh::CoordinateFrame> TakeFrame(std::vector<MMeshArray>& arrays);
