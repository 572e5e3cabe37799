// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <span>
#include <unordered_map>
#include <vector>

class MMeshBase;
class MMeshSubVolume;

namespace KetSDK::Mesh::Detail {

// The mask indices of the elements of some sub-volumes, gathered in one pass over the mesh: walking each
// sub-volume by itself takes a pass for each. Does not follow later changes of the mesh.
class SubVolumeElements {
public:
    // Of all sub-volumes when the set is null or empty.
    SubVolumeElements(MMeshBase const& mesh, std::set<MMeshSubVolume const*> const* selection);

    // Calls visit(mask index) sub-volume by sub-volume in the order of the mesh's list, and within each in
    // the order of the mesh, until visit returns false. False when it was stopped so.
    template <typename Visit>
    bool ForEach(Visit&& visit) const {
        for (std::size_t const group : m_order)
            for (std::uint64_t const index : m_groups[group])
                if (!visit(index))
                    return false;
        return true;
    }

    // The mask indices of the elements of one of the sub-volumes, in the order of the mesh; nothing for a
    // sub-volume that was not asked for.
    std::span<std::uint64_t const> Of(MMeshSubVolume const& sub_volume) const noexcept;

private:
    std::unordered_map<int, std::size_t> m_group_of;  // by sub-volume number
    std::vector<std::vector<std::uint64_t>> m_groups; // by distinct sub-volume number
    std::vector<std::size_t> m_order;                 // the group of each sub-volume
};

} // namespace KetSDK::Mesh::Detail
