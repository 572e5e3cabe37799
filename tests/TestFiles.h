#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// Whole files, byte by byte.
inline std::string Content(std::filesystem::path const& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void Save(std::filesystem::path const& path, std::string const& content) {
    std::ofstream(path, std::ios::binary) << content;
}
