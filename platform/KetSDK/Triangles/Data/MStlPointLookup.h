// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Support/MPositionTable.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Triangles/Data/MStlPoint.h>

#include <cstddef>

// Finds the first of the entered points at a position. A table that its owner keeps beside a sequence
// of points and brings up to date before each use, so that points which nobody looks up cost nothing.
// Used by one thread at a time while points are entered; concurrent look-ups are safe.
class MStlPointLookup {
    using Table = KetSDK::Support::MPositionTable;

public:
    // Makes room for so many points in all.
    void Reserve(std::size_t points) { m_table.Reserve(points); }

    // Enters the points of the sequence that came after the last one entered.
    template <typename Points>
    void Update(Points& points) {
        for (; m_entered < points.size(); ++m_entered) {
            MStlPoint const& p = points[m_entered];
            m_table.Reserve(m_table.NumberOfObjects() + 1);
            // The first one at a position is found, so a later one is not entered.
            Table::Slot const slot = SlotOf(points, p.GetX(), p.GetY(), p.GetZ());
            if (m_table.NumberAt(slot) == Table::None)
                m_table.Enter(slot, static_cast<Table::Number>(m_entered));
        }
    }

    // Fetches what a look-up of the position reads first.
    [[gnu::always_inline]] void Prefetch(MLong x, MLong y, MLong z) const noexcept {
        m_table.Prefetch(x, y, z);
    }

    // Fetches the point that is probably at the position, some time after the first.
    template <typename Points>
    [[gnu::always_inline]] void PrefetchFound(Points const& points, MLong x, MLong y,
                                              MLong z) const noexcept {
        if (Table::Number const number = m_table.Guess(x, y, z); number != Table::None)
            KetSDK::Support::Prefetch(&points[number]);
    }

    // The point at the position among those entered; null when none is there.
    template <typename Points>
    auto* Find(Points& points, MLong x, MLong y, MLong z) const noexcept {
        using Found = decltype(&points[0]);
        Table::Number const number = m_table.NumberAt(SlotOf(points, x, y, z));
        return number == Table::None ? Found() : &points[number];
    }

    // The point at the position, appended to the sequence with the next index when none is there.
    template <typename Points>
    MStlPoint* FindOrAppend(Points& points, MLong x, MLong y, MLong z) {
        Update(points);
        m_table.Reserve(m_table.NumberOfObjects() + 1);
        Table::Slot const slot = SlotOf(points, x, y, z);
        if (Table::Number const number = m_table.NumberAt(slot); number != Table::None)
            return &points[number];
        MStlPoint& added = points.emplace_back(x, y, z, static_cast<MLong>(m_entered));
        m_table.Enter(slot, static_cast<Table::Number>(m_entered));
        ++m_entered;
        return &added;
    }

private:
    template <typename Points>
    Table::Slot SlotOf(Points& points, MLong x, MLong y, MLong z) const noexcept {
        return m_table.Find(x, y, z, [&](Table::Number number) {
            MStlPoint const& p = points[number];
            return p.GetX() == x && p.GetY() == y && p.GetZ() == z;
        });
    }

    Table m_table;
    std::size_t m_entered = 0;
};
