// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/images/ByteSource.h>

#include <KetSDK/MeshVTK/Error.h>

#include <algorithm>
#include <limits>
#include <new>
#include <string>

namespace KetSDK::MeshVTK::Detail {

namespace {

constexpr std::size_t ChunkSize = std::size_t{1} << 16;
constexpr std::uint64_t MostPerByte = 1032; // that a packed byte can stand for
constexpr int AnyWindow = 15 + 32;          // the largest one, of zlib or gzip

} // namespace

ByteSource::ByteSource(OpenFile const& file, std::uint64_t offset, std::uint64_t size, Packing packing)
    : m_file(file)
    , m_offset(offset)
    , m_size(size)
    , m_packed(packing == Packing::None ? 0 : ChunkSize) {
    if (packing == Packing::None)
        return;
    if (inflateInit2(&m_zlib, AnyWindow) != Z_OK)
        throw std::bad_alloc();
    m_end.reset(&m_zlib);
}

void ByteSource::CheckPacked(std::uint64_t packed, std::uint64_t unpacked) {
    if (unpacked / MostPerByte > packed)
        throw Error("the file is cut off: " + std::to_string(packed) + " packed bytes cannot hold the " +
                    std::to_string(unpacked) + " that its header announces");
}

std::size_t ByteSource::Read(char* to, std::size_t count) {
    if (m_end)
        return Unpack(to, count);
    std::uint64_t const left = m_size - m_position;
    std::size_t const got = m_file.Read(m_offset + m_position, to,
                                        static_cast<std::size_t>(std::min<std::uint64_t>(count, left)));
    m_position += got;
    return got;
}

std::uint64_t ByteSource::Pass(std::uint64_t count) {
    std::vector<char> passed(ChunkSize);
    std::uint64_t done = 0;
    while (done < count) {
        auto const part = static_cast<std::size_t>(std::min<std::uint64_t>(count - done, passed.size()));
        std::size_t const got = Read(passed.data(), part);
        done += got;
        if (got < part)
            break;
    }
    return done;
}

std::size_t ByteSource::Unpack(char* to, std::size_t count) {
    std::size_t done = 0;
    while (done < count && !m_finished) {
        bool const has_more = m_zlib.avail_in > 0 || Fetch();
        auto const room =
            static_cast<uInt>(std::min<std::size_t>(count - done, std::numeric_limits<uInt>::max()));
        m_zlib.next_out = reinterpret_cast<Bytef*>(to + done);
        m_zlib.avail_out = room;
        int const result = inflate(&m_zlib, Z_NO_FLUSH);
        done += room - m_zlib.avail_out;
        if (result == Z_STREAM_END)
            m_finished = !BeginNextPart();
        else if (result == Z_BUF_ERROR && !has_more)
            throw Error("the file is cut off: its packed data has no end");
        else if (result != Z_OK && result != Z_BUF_ERROR)
            throw Error(std::string("its packed data is damaged") +
                        (m_zlib.msg ? std::string(": ") + m_zlib.msg : ""));
    }
    return done;
}

// Fetches packed bytes; false at the end.
bool ByteSource::Fetch() {
    auto const wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(m_packed.size(), m_size - m_position));
    std::size_t const got = m_file.Read(m_offset + m_position, m_packed.data(), wanted);
    m_position += got;
    m_zlib.next_in = reinterpret_cast<Bytef*>(m_packed.data());
    m_zlib.avail_in = static_cast<uInt>(got);
    return got > 0;
}

// Files of gzip may consist of several parts. What else stands behind one is left out, as gzip does.
bool ByteSource::BeginNextPart() {
    constexpr Bytef magic = 0x1F;
    if ((m_zlib.avail_in == 0 && !Fetch()) || *m_zlib.next_in != magic)
        return false;
    return inflateReset(&m_zlib) == Z_OK;
}

} // namespace KetSDK::MeshVTK::Detail
