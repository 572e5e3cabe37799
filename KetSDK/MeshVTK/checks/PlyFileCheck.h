#pragma once

#include <cstdint>
#include <filesystem>

namespace KetSDK::MeshVTK::Detail {

// Throws Error unless the .ply file, in text or in binary of either byte order, holds exactly what its
// header announces: all vertices with x, y and z, and all faces, whose corners are there. VTK's reader
// believes the header and follows wrong numbers out of its arrays. Returns the number
// of faces.
std::uint64_t CheckPlyFile(std::filesystem::path const& path);

} // namespace KetSDK::MeshVTK::Detail
