// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <boost/endian/conversion.hpp>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace KetSDK::MeshVTK::Detail {

// Numbers in files of either byte order.

// A whole number without sign, of eight bytes at most.
inline std::uint64_t UnsignedOfBytes(std::string_view bytes, bool big_endian) noexcept {
    std::uint64_t number = 0;
    if (bytes.empty())
        return number;
    std::size_t const unused = big_endian ? sizeof number - bytes.size() : 0;
    std::memcpy(reinterpret_cast<char*>(&number) + unused, bytes.data(), bytes.size());
    return big_endian ? boost::endian::big_to_native(number) : boost::endian::little_to_native(number);
}

// One with sign, of one to eight bytes.
inline std::int64_t SignedOfBytes(std::string_view bytes, bool big_endian) noexcept {
    auto const unused = static_cast<unsigned int>(64 - 8 * bytes.size());
    return static_cast<std::int64_t>(UnsignedOfBytes(bytes, big_endian) << unused) >> unused;
}

// A float of four bytes, or a double of eight.
inline double RealOfBytes(std::string_view bytes, bool big_endian) noexcept {
    std::uint64_t const bits = UnsignedOfBytes(bytes, big_endian);
    return bytes.size() == sizeof(float) ? double{std::bit_cast<float>(static_cast<std::uint32_t>(bits))}
                                         : std::bit_cast<double>(bits);
}

} // namespace KetSDK::MeshVTK::Detail
