// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// Whole files, byte by byte.
inline std::string Content(std::filesystem::path const& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void Save(std::filesystem::path const& path, std::string const& content) {
    std::ofstream(path, std::ios::binary) << content;
}

// A file of any format as it is when its end is missing: cut off behind every byte, from none to all but the
// last.
inline std::vector<std::string> CutAtEveryByte(std::string const& whole) {
    std::vector<std::string> cut;
    for (std::size_t size = 0; size < whole.size(); ++size)
        cut.push_back(whole.substr(0, size));
    return cut;
}

// The same file with one byte changed, in each place: all of its bits, the highest or the lowest.
inline std::vector<std::string> DamagedAtEveryByte(std::string const& whole) {
    std::vector<std::string> damaged(whole.size(), whole);
    for (std::size_t i = 0; i < whole.size(); ++i)
        damaged[i][i] = static_cast<char>(whole[i] ^ (i % 3 == 0 ? 0xFF : i % 3 == 1 ? 0x80 : 0x01));
    return damaged;
}
