// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/NumberText.h>

#include <cstdint>
#include <string>

namespace ketmesh {

using KetSDK::MeshJobs::FormatBox;
using KetSDK::MeshJobs::FormatGeneral;
using KetSDK::MeshJobs::FormatNumber;
using KetSDK::MeshJobs::FormatShare;

// A number of bytes, as in "5.3 MB".
std::string FormatBytes(std::uint64_t bytes);

// "#rrggbb" of 0x00RRGGBB.
std::string FormatColor(unsigned int color);

} // namespace ketmesh
