#pragma once

#include <cstdint>
#include <filesystem>

namespace KetSDK::MeshVTK::Detail {

// Throws Error unless every vertex of the .obj file has three numbers, every face at least three corners
// that are there, and the last line an end: nothing else in these files tells that they are cut off.
// VTK's reader follows wrong numbers out of its arrays. Returns the number
// of faces.
std::uint64_t CheckObjFile(std::filesystem::path const& path);

} // namespace KetSDK::MeshVTK::Detail
