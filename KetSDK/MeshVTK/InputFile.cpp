// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/InputFile.h>

#include <KetSDK/MeshVTK/detail/FileBytes.h>

#include <algorithm>
#include <cctype>

namespace KetSDK::MeshVTK {

std::string LowerCaseEnding(std::filesystem::path const& path) {
    std::string ending = path.extension().string();
    std::ranges::transform(ending, ending.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ending;
}

void CheckInputFile(std::filesystem::path const& path, char const* endings) {
    Detail::OpenFile(path, endings);
}

} // namespace KetSDK::MeshVTK
