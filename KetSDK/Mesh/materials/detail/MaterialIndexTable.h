// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/MMeshElementMaskContainer.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace KetSDK::Mesh::Detail {

// The volume of an element's list that has the largest weight among those whose flag is set, the first of
// several; 65535 when there is none. Without branches on what the list holds, which cannot be predicted.
template <typename Flags>
unsigned short HeaviestFlaggedVolume(MMeshElementMaskContainer::VolumeList const& list, Flags const& flags) {
    unsigned short heaviest = 0xFFFF;
    double weight = 0.0;
    bool found = false;
    for (auto const& entry : list) {
        if (entry.volume_index >= flags.size())
            continue;
        bool const is_set = flags[entry.volume_index];
        bool const is_heavier = is_set & (!found | (entry.weight > weight));
        heaviest = is_heavier ? entry.volume_index : heaviest;
        weight = is_heavier ? entry.weight : weight;
        found |= is_set;
    }
    return heaviest;
}

// What MMeshElementMaskContainer::CalculateMaterialIndexFromVolumeList returns, for many elements and one
// set of flags: the flags are counted once.
class MaterialIndexTable {
public:
    explicit MaterialIndexTable(std::vector<bool> const& flags)
        : m_flags(flags.begin(), flags.end()) {
        std::size_t const volumes = std::min<std::size_t>(flags.size(), 0xFFFF);
        m_set_below.reserve(volumes + 1);
        unsigned short count = 0;
        for (std::size_t volume = 0; volume < volumes; ++volume) {
            m_set_below.push_back(count);
            count = static_cast<unsigned short>(count + (flags[volume] ? 1 : 0));
        }
        m_set_below.push_back(count);
    }

    unsigned short IndexOf(MMeshElementMaskContainer::VolumeList const& list) const {
        return m_set_below[std::min<std::size_t>(HeaviestFlaggedVolume(list, m_flags),
                                                 m_set_below.size() - 1)];
    }
    // The largest index there is: that of an element without a flagged volume.
    unsigned short Largest() const noexcept { return m_set_below.back(); }

private:
    std::vector<unsigned char> m_flags;
    std::vector<unsigned short> m_set_below; // number of set flags below each volume, and of all
};

} // namespace KetSDK::Mesh::Detail
