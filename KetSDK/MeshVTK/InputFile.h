// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <filesystem>
#include <string>

namespace KetSDK::MeshVTK {

// Looking at files before VTK's readers do, which explain little of what is wrong with one.

// The ending of a file name in lower case, with its dot.
KETSDK_MESHVTK_API std::string LowerCaseEnding(std::filesystem::path const& path);
// Throws Error unless the path is that of a file that can be opened and is not empty; `endings` says
// what kind of file is needed (".vtu or .vtk").
KETSDK_MESHVTK_API void CheckInputFile(std::filesystem::path const& path, char const* endings);

} // namespace KetSDK::MeshVTK
