#include <KetSDK/MeshVTK/PackedFile.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/InputFile.h>

#include <algorithm>
#include <ios>
#include <limits>
#include <new>
#include <string>

namespace KetSDK::MeshVTK {

namespace {

constexpr std::size_t InputSize = 1u << 16;
constexpr char const* GzipMagic = "\x1F\x8B";
constexpr int DetectHeader = 15 + 32; // largest window, gzip or zlib

} // namespace

bool PackedFile::IsGzip(std::filesystem::path const& path) {
    return FirstBytes(path, 2) == GzipMagic;
}

PackedFile::PackedFile(std::filesystem::path const& path, std::uint64_t offset, bool packed)
    : m_file(path, std::ios::binary)
    , m_packed(packed) {
    std::error_code error;
    std::uintmax_t const size = std::filesystem::file_size(path, error);
    if (!m_file || error)
        throw Error("\"" + path.filename().string() + "\" cannot be opened for reading");
    m_plain_rest = size > offset ? size - offset : 0;
    m_file.seekg(static_cast<std::streamoff>(std::min<std::uint64_t>(offset, size)));
    if (!packed)
        return;
    m_input.resize(InputSize);
    if (inflateInit2(&m_stream, DetectHeader) != Z_OK)
        throw std::bad_alloc();
}

PackedFile::~PackedFile() {
    if (m_packed)
        inflateEnd(&m_stream);
}

std::size_t PackedFile::Read(char* bytes, std::size_t count) {
    if (m_packed)
        return _Unpack(bytes, count);
    m_file.read(bytes, static_cast<std::streamsize>(count));
    auto const read = static_cast<std::size_t>(m_file.gcount());
    m_plain_rest -= std::min<std::uint64_t>(read, m_plain_rest);
    return read;
}

// Bytes of packed data that there are to work on.
std::size_t PackedFile::_Fill() {
    if (m_stream.avail_in == 0) {
        m_file.read(m_input.data(), static_cast<std::streamsize>(m_input.size()));
        m_stream.next_in = reinterpret_cast<Bytef*>(m_input.data());
        m_stream.avail_in = static_cast<uInt>(m_file.gcount());
    }
    return m_stream.avail_in;
}

std::size_t PackedFile::_Unpack(char* bytes, std::size_t count) {
    std::size_t done = 0;
    while (done < count && !m_ended) {
        if (_Fill() == 0)
            throw Error("the file is cut off: its packed data has no end");
        std::size_t const room = std::min<std::size_t>(count - done, std::numeric_limits<uInt>::max());
        m_stream.next_out = reinterpret_cast<Bytef*>(bytes + done);
        m_stream.avail_out = static_cast<uInt>(room);
        int const result = inflate(&m_stream, Z_NO_FLUSH);
        done += room - m_stream.avail_out;
        if (result == Z_MEM_ERROR)
            throw std::bad_alloc();
        if (result != Z_OK && result != Z_STREAM_END)
            throw Error(std::string("its packed data is damaged") +
                        (m_stream.msg ? std::string(": ") + m_stream.msg : ""));
        // A file may be packed in several parts. What follows and is no part is none of ours.
        if (result == Z_STREAM_END) {
            bool const another = _Fill() > 0 && *m_stream.next_in == 0x1F;
            m_ended = !another || inflateReset(&m_stream) != Z_OK;
        }
    }
    return done;
}

} // namespace KetSDK::MeshVTK
