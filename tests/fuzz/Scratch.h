// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <span>
#include <stdexcept>
#include <string>

namespace FuzzTargets {

// A folder of this process, in memory where there is such a place: the readers take paths.
inline std::filesystem::path const& Scratch() {
    static MTemporaryDirectory const folder = [] {
        MFileName const memory("/dev/shm");
        return std::filesystem::exists(memory.GetPath()) ? MTemporaryDirectory(memory)
                                                         : MTemporaryDirectory();
    }();
    return folder.GetPath().GetPath();
}

// Writes the bytes into a file of the scratch folder and returns its path.
inline std::filesystem::path WriteScratch(std::string const& name, std::span<std::byte const> bytes) {
    std::filesystem::path path = Scratch() / name;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file)
        throw std::logic_error("the scratch folder is full");
    return path;
}

} // namespace FuzzTargets
