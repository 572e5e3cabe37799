#pragma once

#include <KetSDK/Common/Shared/MArenaAllocator.h>
#include <KetSDK/Common/Shared/MHash.h>
#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Triangles/Data/MStlPoint.h>

#include <cstddef>
#include <cstdint>
#include <vector>

// Finds the first of the entered points at a position. A table that its owner keeps beside a sequence
// of points and brings up to date before each use, so that points which nobody looks up cost nothing.
// Used by one thread at a time while points are entered; concurrent look-ups are safe.
//
// The table holds 32 bits of each point's hash and its place in the sequence. The highest of these bits
// number the slot where the point stands, or behind which it stands: so the slots ascend by hash, and a table
// grows in one pass from front to back. A point that is new is not compared with others: nearly always the
// bits differ.
class MStlPointLookup {
public:
    // Enters the points of the sequence that came after the last one entered.
    template <typename Points>
    void Update(Points& points) {
        for (; m_entered < points.size(); ++m_entered) {
            MStlPoint const& p = points[m_entered];
            _MakeRoom();
            // The first one at a position is found, so a later one is not entered.
            std::uint32_t const bits = _BitsOf(p.GetX(), p.GetY(), p.GetZ());
            if (Slot& slot = m_slots[_FindSlot(points, bits, p.GetX(), p.GetY(), p.GetZ())];
                slot.bits == Free)
                _Fill(slot, bits);
        }
    }

    // Fetches the slots that a look-up of the position begins with, from one or two cache lines. Inlined in
    // any case: GCC drops calls of functions that do nothing but fetch.
    [[gnu::always_inline]] void Prefetch(MLong x, MLong y, MLong z) const noexcept {
        if (m_slots.empty())
            return;
        std::size_t const at = _BitsOf(x, y, z) >> m_shift;
        __builtin_prefetch(&m_slots[at]);
        __builtin_prefetch(&m_slots[(at + 5) & (m_slots.size() - 1)]);
    }

    // The point at the position among those entered; null when none is there.
    template <typename Points>
    auto* Find(Points& points, MLong x, MLong y, MLong z) const noexcept {
        std::size_t const at = m_slots.empty() ? 0 : _FindSlot(points, _BitsOf(x, y, z), x, y, z);
        bool const found = !m_slots.empty() && m_slots[at].bits != Free;
        return found ? &points[m_slots[at].point] : nullptr;
    }

    // The point at the position, appended to the sequence with the next index when none is there.
    template <typename Points>
    MStlPoint* FindOrAppend(Points& points, MLong x, MLong y, MLong z) {
        Update(points);
        _MakeRoom();
        std::uint32_t const bits = _BitsOf(x, y, z);
        Slot& slot = m_slots[_FindSlot(points, bits, x, y, z)];
        if (slot.bits != Free)
            return &points[slot.point];
        MStlPoint& added = points.emplace_back(x, y, z, static_cast<MLong>(points.size()));
        _Fill(slot, bits);
        ++m_entered;
        return &added;
    }

private:
    static constexpr std::uint32_t Free = 0;

    struct Slot {
        std::uint32_t bits = Free; // of the hash
        std::uint32_t point = 0;   // its place in the sequence
    };
    using Slots = std::vector<Slot, KetSDK::Common::MLargePageAllocator<Slot>>;

    static std::uint32_t _BitsOf(MLong x, MLong y, MLong z) noexcept {
        auto const bits = static_cast<std::uint32_t>(KetSDK::Common::HashOfPosition(x, y, z) >> 32);
        return bits == Free ? 1 : bits;
    }

    // The slot of the point at the position, or the free one where it would be entered.
    template <typename Points>
    std::size_t _FindSlot(Points& points, std::uint32_t bits, MLong x, MLong y, MLong z) const noexcept {
        std::size_t at = bits >> m_shift;
        for (; m_slots[at].bits != Free; at = (at + 1) & (m_slots.size() - 1)) {
            if (m_slots[at].bits != bits)
                continue;
            MStlPoint const& p = points[m_slots[at].point];
            if (p.GetX() == x && p.GetY() == y && p.GetZ() == z)
                break;
        }
        return at;
    }

    // Enters the next point of the sequence.
    void _Fill(Slot& slot, std::uint32_t bits) noexcept {
        slot = {bits, static_cast<std::uint32_t>(m_entered)};
        ++m_filled;
    }
    // For one point more, at three quarters of the slots at most.
    void _MakeRoom() {
        if (4 * (m_filled + 1) > 3 * m_slots.size())
            _Grow();
    }
    void _Grow();

    Slots m_slots;             // a power of two
    unsigned int m_shift = 32; // from the bits of a hash to the number of a slot
    std::size_t m_filled = 0;
    std::size_t m_entered = 0;
};
