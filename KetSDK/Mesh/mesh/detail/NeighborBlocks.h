// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdint>
#include <stdexcept>

namespace KetSDK::Mesh::Detail {

// Numbers the blocks of four entries that lists take up, one list behind the other. Entries are counted in 32
// bits: enough for about 10^9 elements.
class NeighborBlocks {
public:
    static constexpr std::uint32_t Most = std::uint32_t{1} << 30;

    static constexpr std::uint32_t Of(std::uint32_t entries) noexcept {
        return entries / 4 + (entries % 4 != 0);
    }
    // The first block of a list of so many entries. Throws std::runtime_error("invalid state") when it would
    // end beyond the last one.
    std::uint32_t Take(std::uint32_t entries) {
        if (Of(entries) > Most - m_used)
            throw std::runtime_error("invalid state");
        std::uint32_t const first = m_used;
        m_used += Of(entries);
        return first;
    }
    std::uint32_t Used() const noexcept { return m_used; }

private:
    std::uint32_t m_used = 0;
};

} // namespace KetSDK::Mesh::Detail
