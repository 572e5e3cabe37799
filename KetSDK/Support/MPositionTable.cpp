// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Support/MPositionTable.h>

#include <algorithm>
#include <utility>

namespace KetSDK::Support {

MPositionTable::MPositionTable()
    : m_lines(2) {}

void MPositionTable::GrowTo(std::size_t count) {
    std::size_t const needed = (count + MostPerLine - 1) / MostPerLine;
    Lines const before = std::exchange(m_lines, Lines(std::max(needed, 2 * m_lines.size())));
    for (Line const& line : before)
        for (std::size_t i = 0; i < SlotsPerLine && line.bits[i] != Free; ++i) {
            std::size_t at = LineOf(line.bits[i]);
            unsigned int free = m_lines[at].SlotsWith(Free);
            for (; free == 0; free = m_lines[at].SlotsWith(Free))
                at = Next(at);
            auto const place = static_cast<std::size_t>(std::countr_zero(free));
            m_lines[at].bits[place] = line.bits[i];
            m_lines[at].numbers[place] = line.numbers[i];
        }
}

std::vector<MPositionTable::Number> MPositionTable::Numbers() const {
    std::vector<Number> numbers;
    numbers.reserve(m_count);
    for (Line const& line : m_lines)
        for (std::size_t i = 0; i < SlotsPerLine && line.bits[i] != Free; ++i)
            numbers.push_back(line.numbers[i]);
    std::ranges::sort(numbers);
    return numbers;
}

} // namespace KetSDK::Support
