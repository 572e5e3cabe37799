// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/detail/FileBytes.h>

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

// The bytes of a stretch of a file, one after the other, unpacked where they are packed by zlib or gzip.
class ByteSource {
public:
    enum class Packing { None, Zlib };

    // `size` is the length of the stretch in the file, which is borrowed.
    ByteSource(OpenFile const& file, std::uint64_t offset, std::uint64_t size, Packing packing);

    // Throws Error when so many packed bytes cannot stand for so many unpacked ones: what holds them is made
    // before they are unpacked.
    static void CheckPacked(std::uint64_t packed, std::uint64_t unpacked);

    // Reads the next bytes; fewer only at the end. Throws Error when packed ones are cut off or damaged, by
    // their checksum too, which stands at their end.
    std::size_t Read(char* to, std::size_t count);
    // Passes over bytes; returns how many there were.
    std::uint64_t Pass(std::uint64_t count);
    // How far reading has come in the stretch, in bytes of the file.
    std::uint64_t Position() const noexcept { return m_position; }

private:
    std::size_t Unpack(char* to, std::size_t count);
    bool Fetch();
    bool BeginNextPart();

    OpenFile const& m_file;
    std::uint64_t m_offset;
    std::uint64_t m_size;
    std::uint64_t m_position = 0;
    std::vector<char> m_packed; // what was fetched
    z_stream m_zlib{};
    std::unique_ptr<z_stream, int (*)(z_stream*)> m_end{nullptr, inflateEnd}; // null where nothing is packed
    bool m_finished = false;
};

} // namespace KetSDK::MeshVTK::Detail
