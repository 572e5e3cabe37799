#include <KetSDK/MeshVTK/InputFile.h>

#include <KetSDK/MeshVTK/Error.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <fstream>
#include <ios>
#include <iterator>
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

std::string FirstBytes(std::filesystem::path const& path, std::size_t count) {
    std::ifstream file(path, std::ios::binary);
    std::string bytes(count, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(count));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

std::string LastBytes(std::filesystem::path const& path, std::size_t count) {
    std::uintmax_t const size = std::filesystem::file_size(path);
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(size > count ? size - count : 0));
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string AllBytes(std::filesystem::path const& path) {
    auto const size = static_cast<std::size_t>(std::filesystem::file_size(path));
    std::string bytes = FirstBytes(path, size);
    if (bytes.size() != size)
        throw Error("it cannot be read to its end");
    return bytes;
}

} // namespace KetSDK::MeshVTK
