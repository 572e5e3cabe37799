// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Triangles/Data/MStlPointLookup.h>

#include <algorithm>
#include <utility>

void MStlPointLookup::GrowBy(std::size_t points) {
    std::size_t size = std::max(m_lines.size(), std::size_t{2});
    while (!HasRoomFor(points, size))
        size *= 2;
    Lines const old = std::exchange(m_lines, Lines(size));
    m_shift = 32 - static_cast<unsigned int>(std::countr_zero(size));
    for (Line const& line : old)
        for (std::size_t i = 0; i < SlotsPerLine && line.bits[i] != Free; ++i) {
            std::size_t at = line.bits[i] >> m_shift;
            unsigned int free = m_lines[at].SlotsWith(Free);
            for (; free == 0; free = m_lines[at].SlotsWith(Free))
                at = Next(at);
            auto const place = static_cast<std::size_t>(std::countr_zero(free));
            m_lines[at].bits[place] = line.bits[i];
            m_lines[at].points[place] = line.points[i];
        }
}
