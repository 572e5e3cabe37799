// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdint>

// The display colour of a surface triangle, or none. A plain value.
class MStlColor {
public:
    // No colour: undefined, with the channels of white.
    MStlColor() = default;

    // Defines the colour from 0x00RRGGBB; the top byte is ignored.
    void SetRGB(unsigned int rgb) noexcept { m_rgb = rgb & ChannelBits; }

    // False until a colour is set.
    bool IsDefined() const noexcept { return m_rgb != Undefined; }

    // The colour as 0x00RRGGBB.
    unsigned int GetRGB() const noexcept { return m_rgb & ChannelBits; }
    // The channels, 0 to 255.
    unsigned int GetRed() const noexcept { return (m_rgb >> 16) & 0xFF; }
    unsigned int GetGreen() const noexcept { return (m_rgb >> 8) & 0xFF; }
    unsigned int GetBlue() const noexcept { return m_rgb & 0xFF; }

    bool operator==(MStlColor const&) const noexcept = default;

private:
    static constexpr std::uint32_t ChannelBits = 0x00FFFFFF;
    static constexpr std::uint32_t Undefined = 0xFFFFFFFF;

    std::uint32_t m_rgb = Undefined;
};
