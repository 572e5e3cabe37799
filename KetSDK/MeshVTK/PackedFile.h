#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <vector>

namespace KetSDK::MeshVTK {

// The bytes of a file from some place on, one after the other; those of a packed file (gzip or zlib) as
// they were before packing. Holds a small part of them at a time. For one thread.
class PackedFile {
public:
    // Whether the file begins as files packed with gzip do.
    static bool IsGzip(std::filesystem::path const& path);

    // Throws Error when the file cannot be opened.
    PackedFile(std::filesystem::path const& path, std::uint64_t offset, bool packed);
    PackedFile(PackedFile const&) = delete;
    PackedFile& operator=(PackedFile const&) = delete;
    ~PackedFile();

    // The next bytes; returns how many there were. Throws Error when packed data is damaged or cut off,
    // which shows at the latest when its end is read.
    std::size_t Read(char* bytes, std::size_t count);
    bool IsPacked() const noexcept { return m_packed; }
    // The bytes that are still to be read from a file that is not packed.
    std::uint64_t PlainRest() const noexcept { return m_plain_rest; }

private:
    std::size_t _Fill();
    std::size_t _Unpack(char* bytes, std::size_t count);

    std::ifstream m_file;
    std::uint64_t m_plain_rest = 0;
    bool m_packed;
    bool m_ended = false;
    std::vector<char> m_input;
    z_stream m_stream{};
};

} // namespace KetSDK::MeshVTK
