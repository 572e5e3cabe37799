// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/persistence/MMeshFile.h>

#include <string>

namespace KetSDK::MeshJobs::Detail {

// What is wrong with a mesh file, and what would be right.
std::string DescribeFault(MMeshFileError const& error);

} // namespace KetSDK::MeshJobs::Detail
