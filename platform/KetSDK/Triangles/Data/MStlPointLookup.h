// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/MHash.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Triangles/Data/MStlPoint.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

// Finds the first of the entered points at a position. A table that its owner keeps beside a sequence
// of points and brings up to date before each use, so that points which nobody looks up cost nothing.
// Used by one thread at a time while points are entered; concurrent look-ups are safe.
//
// The table holds 32 bits of each point's hash and its index in the sequence, eight of each in a line as long
// as those of a cache. The highest of these bits number the line where the point stands, or behind which it
// stands when that is full. So the lines ascend by hash, and a table grows in one pass from front to back. A
// look-up nearly always reads one line, all of it at once, and compares a point only with those whose bits
// agree: a new one with none.
class MStlPointLookup {
public:
    // Makes room for so many points in all.
    void Reserve(std::size_t points) {
        if (!HasRoomFor(points, m_lines.size()))
            GrowBy(points);
    }

    // Enters the points of the sequence that came after the last one entered.
    template <typename Points>
    void Update(Points& points) {
        for (; m_entered < points.size(); ++m_entered) {
            MStlPoint const& p = points[m_entered];
            Reserve(m_filled + 1);
            // The first one at a position is found, so a later one is not entered.
            std::uint32_t const bits = BitsOf(p.GetX(), p.GetY(), p.GetZ());
            if (Slot const slot = FindSlot(points, bits, p.GetX(), p.GetY(), p.GetZ()); IsFree(slot))
                Fill(slot, bits);
        }
    }

    // Fetches the line that a look-up of the position begins with.
    [[gnu::always_inline]] void Prefetch(MLong x, MLong y, MLong z) const noexcept {
        if (!m_lines.empty())
            KetSDK::Support::Prefetch(&m_lines[BitsOf(x, y, z) >> m_shift]);
    }

    // Fetches the point that is probably at the position. The line must be there, or this waits for it.
    template <typename Points>
    [[gnu::always_inline]] void PrefetchFound(Points const& points, MLong x, MLong y,
                                              MLong z) const noexcept {
        if (m_lines.empty())
            return;
        std::uint32_t const bits = BitsOf(x, y, z);
        Line const& line = m_lines[bits >> m_shift];
        if (unsigned int const same = line.SlotsWith(bits))
            KetSDK::Support::Prefetch(&points[line.points[static_cast<std::size_t>(std::countr_zero(same))]]);
    }

    // The point at the position among those entered; null when none is there.
    template <typename Points>
    auto* Find(Points& points, MLong x, MLong y, MLong z) const noexcept {
        using Found = decltype(&points[0]);
        if (m_lines.empty())
            return Found();
        Slot const slot = FindSlot(points, BitsOf(x, y, z), x, y, z);
        return IsFree(slot) ? Found() : &points[m_lines[slot.line].points[slot.entry]];
    }

    // The point at the position, appended to the sequence with the next index when none is there.
    template <typename Points>
    MStlPoint* FindOrAppend(Points& points, MLong x, MLong y, MLong z) {
        Update(points);
        Reserve(m_filled + 1);
        std::uint32_t const bits = BitsOf(x, y, z);
        Slot const slot = FindSlot(points, bits, x, y, z);
        if (!IsFree(slot))
            return &points[m_lines[slot.line].points[slot.entry]];
        MStlPoint& added = points.emplace_back(x, y, z, static_cast<MLong>(m_entered));
        Fill(slot, bits);
        ++m_entered;
        return &added;
    }

private:
    static constexpr std::uint32_t Free = 0;
    static constexpr std::size_t SlotsPerLine = 8;

    // Filled from the front.
    struct Line {
        std::array<std::uint32_t, SlotsPerLine> bits{};   // of the hash
        std::array<std::uint32_t, SlotsPerLine> points{}; // their indices in the sequence

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
    using Lines = std::vector<Line, KetSDK::Support::MLargePageAllocator<Line>>;

    struct Slot {
        std::size_t line;
        unsigned int entry;
    };

    static std::uint32_t BitsOf(MLong x, MLong y, MLong z) noexcept {
        auto const bits = static_cast<std::uint32_t>(KetSDK::Support::HashOfPosition(x, y, z) >> 32);
        return bits == Free ? 1 : bits;
    }

    // The slot of the point at the position, or the free one where it would be entered.
    template <typename Points>
    Slot FindSlot(Points& points, std::uint32_t bits, MLong x, MLong y, MLong z) const noexcept {
        for (std::size_t at = bits >> m_shift;; at = Next(at)) {
            Line const& line = m_lines[at];
            for (unsigned int same = line.SlotsWith(bits); same != 0; same &= same - 1) {
                auto const entry = static_cast<unsigned int>(std::countr_zero(same));
                MStlPoint const& p = points[line.points[entry]];
                if (p.GetX() == x && p.GetY() == y && p.GetZ() == z)
                    return {at, entry};
            }
            if (unsigned int const free = line.SlotsWith(Free))
                return {at, static_cast<unsigned int>(std::countr_zero(free))};
        }
    }
    bool IsFree(Slot const& slot) const noexcept {
        return m_lines[slot.line].bits[slot.entry] == Free;
    }

    // Enters the next point of the sequence.
    void Fill(Slot const& slot, std::uint32_t bits) noexcept {
        m_lines[slot.line].bits[slot.entry] = bits;
        m_lines[slot.line].points[slot.entry] = static_cast<std::uint32_t>(m_entered);
        ++m_filled;
    }
    // At three quarters of the slots at most.
    static bool HasRoomFor(std::size_t points, std::size_t lines) noexcept {
        return 4 * points <= 3 * SlotsPerLine * lines;
    }
    std::size_t Next(std::size_t line) const noexcept {
        return (line + 1) & (m_lines.size() - 1);
    }
    void GrowBy(std::size_t points);

    Lines m_lines;             // a power of two
    unsigned int m_shift = 32; // from the bits of a hash to the number of a line
    std::size_t m_filled = 0;
    std::size_t m_entered = 0;
};
