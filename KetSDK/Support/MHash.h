// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdint>

namespace KetSDK::Support {

// Hashes for tables of positions and pairs. Multiplications spread each number upwards, shifts bring the
// high bits down to where a table looks: lattices whose steps are powers of two differ in high bits only.

inline std::uint64_t HashOfPair(std::uint64_t a, std::uint64_t b) noexcept {
    std::uint64_t h = a * 0x9E3779B97F4A7C15U;
    h ^= h >> 32;
    h += b;
    h *= 0xD6E8FEB86659FD93U;
    return h ^ (h >> 32);
}

inline std::uint64_t HashOfPosition(std::int32_t x, std::int32_t y, std::int32_t z) noexcept {
    std::uint64_t const xy = static_cast<std::uint32_t>(x) | std::uint64_t{static_cast<std::uint32_t>(y)}
                                                                 << 32;
    std::uint64_t const h = HashOfPair(xy, static_cast<std::uint32_t>(z)) * 0xD6E8FEB86659FD93U;
    return h ^ (h >> 32);
}

} // namespace KetSDK::Support
