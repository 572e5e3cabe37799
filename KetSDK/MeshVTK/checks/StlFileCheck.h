#pragma once

#include <cstdint>
#include <filesystem>

namespace KetSDK::MeshVTK::Detail {

enum class StlEncoding { Binary, Text };

struct StlContent {
    StlEncoding encoding;
    std::uint64_t triangles;
};

// Throws Error unless the .stl file is whole: a binary one is as long as its number of triangles makes it,
// one in text consists of solids with facets of three vertices and closes all that it opens. Returns what
// it holds. The encoding is told by the length, not by the first word, which lies in many binary files.
StlContent CheckStlFile(std::filesystem::path const& path);

} // namespace KetSDK::MeshVTK::Detail
