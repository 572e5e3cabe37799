#pragma once

#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <cstddef>
#include <filesystem>
#include <string>

namespace KetSDK::MeshVTK {

// Looking at files before VTK's readers do, which explain little of what is wrong with one.

// The ending of a file name in lower case, with its dot.
KETSDK_MESHVTK_API std::string LowerCaseEnding(std::filesystem::path const& path);
// Throws Error unless the path is that of a file that can be opened and is not empty; `endings` says
// what kind of file is needed (".vtu or .vtk").
KETSDK_MESHVTK_API void CheckInputFile(std::filesystem::path const& path, char const* endings);
// The first or last `count` bytes of a file, or all of a shorter one.
std::string FirstBytes(std::filesystem::path const& path, std::size_t count);
std::string LastBytes(std::filesystem::path const& path, std::size_t count);
// All bytes of a file. Throws Error when not all of them can be read.
std::string AllBytes(std::filesystem::path const& path);

} // namespace KetSDK::MeshVTK
