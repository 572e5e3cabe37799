// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/persistence/MMeshFile.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <string>

namespace KetSDK::MeshJobs::Detail {

// Mesh files to models and back, on the threads of the context. Both throw MMeshFileError, and Cancelled.
Model LoadMeshFile(std::string const& path, Context const& context);
void SaveMeshFile(Model const& model, std::string const& path, MMeshFile::Encoding encoding,
                  Context const& context);

// What is wrong with a mesh file, and what would be right.
std::string DescribeFault(MMeshFileError const& error);

} // namespace KetSDK::MeshJobs::Detail
