// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/MHash.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Support/SupportExport.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace KetSDK::Support {

// Finds objects that lie at different positions, by their numbers in a sequence that somebody else keeps and
// that says where they lie. Used by one thread at a time while objects are entered; concurrent look-ups are
// safe.
//
// The table holds 32 bits of the hash of each object's position and its number, eight of each in a line as
// long as those of a cache. These bits say which line the object stands in, or behind which it stands when
// that is full. So the lines ascend by hash, and a table grows in one pass from front to back. A look-up
// nearly always reads one line, all of it at once. It asks for the position only of objects whose bits agree,
// which are none where nothing is at the position.
class KETSDK_SUPPORT_API MPositionTable {
public:
    using Number = std::uint32_t;
    static constexpr Number None = std::numeric_limits<Number>::max();

    // A slot for an object at a position.
    struct Slot {
        std::uint32_t bits; // of the hash
        unsigned int entry;
        std::size_t line;
    };

    MPositionTable();

    // Makes room for so many objects in all.
    void Reserve(std::size_t count) {
        if (!HasRoomFor(count, m_lines.size()))
            GrowTo(count);
    }
    std::size_t NumberOfObjects() const noexcept { return m_count; }

    // Fetches the line that a look-up of the position begins with. A compiler would leave a call out: it
    // changes nothing.
    [[gnu::always_inline]] void Prefetch(std::int32_t x, std::int32_t y, std::int32_t z) const noexcept {
        Support::Prefetch(&m_lines[LineOf(BitsOf(x, y, z))]);
    }
    // The number of the object that is probably at the position; None where there is none. The line must have
    // been fetched, or this waits for it.
    Number Guess(std::int32_t x, std::int32_t y, std::int32_t z) const noexcept {
        std::uint32_t const bits = BitsOf(x, y, z);
        Line const& line = m_lines[LineOf(bits)];
        unsigned int const same = line.SlotsWith(bits);
        return same == 0 ? None : line.numbers[static_cast<std::size_t>(std::countr_zero(same))];
    }

    // The slot of the object at the position, or the free one where it would be entered. Whether an object is
    // at the position says is_there(number).
    template <typename IsThere>
    Slot Find(std::int32_t x, std::int32_t y, std::int32_t z, IsThere const& is_there) const {
        std::uint32_t const bits = BitsOf(x, y, z);
        for (std::size_t at = LineOf(bits);; at = Next(at)) {
            Line const& line = m_lines[at];
            for (unsigned int same = line.SlotsWith(bits); same != 0; same &= same - 1) {
                auto const entry = static_cast<unsigned int>(std::countr_zero(same));
                if (is_there(line.numbers[entry]))
                    return {bits, entry, at};
            }
            if (unsigned int const free = line.SlotsWith(Free))
                return {bits, static_cast<unsigned int>(std::countr_zero(free)), at};
        }
    }
    // None for a free slot.
    Number NumberAt(Slot const& slot) const noexcept {
        Line const& line = m_lines[slot.line];
        return line.bits[slot.entry] == Free ? None : line.numbers[slot.entry];
    }
    // Enters an object, for which there is room, into the free slot that has just been found for it.
    void Enter(Slot const& slot, Number number) noexcept {
        m_lines[slot.line].bits[slot.entry] = slot.bits;
        m_lines[slot.line].numbers[slot.entry] = number;
        ++m_count;
    }
    // Takes back what was entered last.
    void Leave(Slot const& slot) noexcept {
        m_lines[slot.line].bits[slot.entry] = Free;
        --m_count;
    }

    // The numbers that were entered, ascending.
    std::vector<Number> Numbers() const;
    std::size_t MemoryUsed() const noexcept { return m_lines.capacity() * sizeof(Line); }

private:
    static constexpr std::uint32_t Free = 0;
    static constexpr std::size_t SlotsPerLine = 8;
    static constexpr std::size_t MostPerLine = 5; // on average: few lines are full then

    // Filled from the front.
    struct Line {
        std::array<std::uint32_t, SlotsPerLine> bits{};
        std::array<Number, SlotsPerLine> numbers{};

        // A bit for each slot with these bits.
        unsigned int SlotsWith(std::uint32_t wanted) const noexcept {
#ifdef __SSE2__
            auto const four = [this, all = _mm_set1_epi32(static_cast<int>(wanted))](std::size_t first) {
                return _mm_cmpeq_epi32(_mm_loadu_si128(reinterpret_cast<__m128i const*>(&bits[first])), all);
            };
            __m128i const eight = _mm_packs_epi32(four(0), four(4));
            return static_cast<unsigned int>(_mm_movemask_epi8(_mm_packs_epi16(eight, _mm_setzero_si128())));
#else
            unsigned int slots = 0;
            for (std::size_t i = 0; i < SlotsPerLine; ++i)
                slots |= static_cast<unsigned int>(bits[i] == wanted) << i;
            return slots;
#endif
        }
    };
    using Lines = std::vector<Line, MLargePageAllocator<Line>>;

    static std::uint32_t BitsOf(std::int32_t x, std::int32_t y, std::int32_t z) noexcept {
        auto const bits = static_cast<std::uint32_t>(HashOfPosition(x, y, z) >> 32);
        return bits == Free ? 1 : bits;
    }
    static bool HasRoomFor(std::size_t count, std::size_t lines) noexcept {
        return count <= MostPerLine * lines;
    }
    std::size_t LineOf(std::uint32_t bits) const noexcept {
        return static_cast<std::size_t>((std::uint64_t{bits} * m_lines.size()) >> 32);
    }
    std::size_t Next(std::size_t line) const noexcept {
        return line + 1 < m_lines.size() ? line + 1 : 0;
    }
    void GrowTo(std::size_t count);

    Lines m_lines;
    std::size_t m_count = 0;
};

} // namespace KetSDK::Support
