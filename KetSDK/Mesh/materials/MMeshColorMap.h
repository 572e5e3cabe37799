// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/materials/MIntervalsEx.h>

#include <map>

// A display colour for each interval of a list of grey-value intervals: dark red at grey value 0, through
// yellow, green, cyan and blue, to dark blue at 4096. Colours are packed as 0x00RRGGBB.
// A value. Not synchronised: concurrent reads are safe.
class KETSDK_MESH_API MMeshColorMap {
public:
    struct Entry {
        double start;       // grey value at which the interval begins
        unsigned int color; // 0x00RRGGBB
    };
    using Entries = std::map<unsigned long long, Entry>;
    using const_iterator = Entries::const_iterator;

    // Makes an entry for each interval, with the colour of the middle between its start and the next one's;
    // the last interval has the colour of its start. Always true; a null list empties the map.
    bool CreateFromUniqueIntervals(MIntervalsEx<MaterialInterval> const* intervals);
    // Replaces the colour of an entry by `color` as it is; an index that is not in the map is ignored.
    void SetColor(int index, unsigned int color);

    unsigned long long GetNumElements() const noexcept { return m_entries.size(); }
    // Start and colour of an entry; 0 for an index that is not in the map.
    double GetStart(unsigned long long index) const;
    unsigned int GetColor(unsigned long long index) const;
    // Pairs of index and entry, by ascending index.
    const_iterator begin() const noexcept { return m_entries.begin(); }
    const_iterator end() const noexcept { return m_entries.end(); }

private:
    Entries m_entries;
};
