#include <KetSDK/MeshVTK/detail/FileBytes.h>

#include <KetSDK/MeshVTK/Error.h>

#include <cstdint>
#include <fstream>
#include <ios>
#include <iterator>

namespace KetSDK::MeshVTK::Detail {

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

} // namespace KetSDK::MeshVTK::Detail
