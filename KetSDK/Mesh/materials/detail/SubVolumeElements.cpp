// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/detail/SubVolumeElements.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <algorithm>

namespace KetSDK::Mesh::Detail {

SubVolumeElements::SubVolumeElements(MMeshBase const& mesh,
                                     std::set<MMeshSubVolume const*> const* selection) {
    bool const all = !selection || selection->empty();
    std::uint64_t left = mesh.Elements().GetNumElements(); // counts of sub-volumes may be anything
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it) {
        MMeshSubVolume const& sub_volume = **it;
        if (sub_volume.GetParent() != &mesh || !(all || selection->contains(&sub_volume)))
            continue;
        auto const [entry, is_new] = m_group_of.try_emplace(sub_volume.GetID(), m_groups.size());
        if (is_new) {
            std::uint64_t const expected = std::min(sub_volume.GetNbElements(), left);
            left -= expected;
            m_groups.emplace_back().reserve(static_cast<std::size_t>(expected));
        }
        m_order.push_back(entry->second);
    }

    MMeshElementMaskContainer const& masks = *mesh.GetElementMasks();
    MDataMask<MMeshElement, int> const* const numbers = masks.GetSubvolumeMask();
    if (!numbers || m_groups.empty())
        return;
    auto const find = [&](int number) {
        auto const found = m_group_of.find(number);
        return found == m_group_of.end() ? nullptr : &m_groups[found->second];
    };
    // Members of a sub-volume mostly follow one another: looked up where the number changes.
    int last_number = 0;
    auto* group = find(last_number);
    for (MMeshElement const& e : mesh.Elements()) {
        int const number = numbers->GetValue(e);
        if (number != last_number) {
            last_number = number;
            group = find(number);
        }
        if (group && e.GetMaskIndex() < numbers->GetSize()) // it may be registered with no mask
            group->push_back(e.GetMaskIndex());
    }
}

std::span<std::uint64_t const> SubVolumeElements::Of(MMeshSubVolume const& sub_volume) const noexcept {
    auto const found = m_group_of.find(sub_volume.GetID());
    return found == m_group_of.end() ? std::span<std::uint64_t const>() : m_groups[found->second];
}

} // namespace KetSDK::Mesh::Detail
