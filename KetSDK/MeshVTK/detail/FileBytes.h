#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace KetSDK::MeshVTK::Detail {

// The first or last `count` bytes of a file, or all of a shorter one.
std::string FirstBytes(std::filesystem::path const& path, std::size_t count);
std::string LastBytes(std::filesystem::path const& path, std::size_t count);
// All bytes of a file. Throws Error when not all of them can be read.
std::string AllBytes(std::filesystem::path const& path);

} // namespace KetSDK::MeshVTK::Detail
