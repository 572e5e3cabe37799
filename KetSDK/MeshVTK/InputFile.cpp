#include <KetSDK/MeshVTK/InputFile.h>

#include <KetSDK/MeshVTK/Error.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <system_error>

namespace KetSDK::MeshVTK {

std::string LowerCaseEnding(std::filesystem::path const& path) {
    std::string ending = path.extension().string();
    std::ranges::transform(ending, ending.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ending;
}

void CheckInputFile(std::filesystem::path const& path, char const* endings) {
    std::error_code error;
    if (!std::filesystem::exists(path, error))
        throw Error("there is no such file");
    if (std::filesystem::is_directory(path, error))
        throw Error(std::string("it is a folder; a ") + endings + " file is needed");
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw Error("it cannot be opened for reading");
    if (file.peek() == std::ifstream::traits_type::eof())
        throw Error("the file is empty");
}

} // namespace KetSDK::MeshVTK
