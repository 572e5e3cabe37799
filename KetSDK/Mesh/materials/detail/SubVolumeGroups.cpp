// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/detail/SubVolumeGroups.h>

#include <algorithm>
#include <utility>

namespace KetSDK::Mesh::Detail {

SubVolumeGroups::SubVolumeGroups(MMeshBase const& mesh, std::set<MMeshSubVolume const*> const* selection)
    : m_mesh(&mesh)
    , m_numbers(std::as_const(*mesh.GetElementMasks()).GetSubvolumeMask())
    , m_of_small_numbers(static_cast<std::size_t>(mesh.NumberOfSubVolumes()), None) {
    std::uint64_t left = NumberOfElements(); // counts of sub-volumes may be anything
    bool const all = !selection || selection->empty();
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it) {
        MMeshSubVolume const& sub_volume = **it;
        if (sub_volume.GetParent() != &mesh || !(all || selection->contains(&sub_volume)))
            continue;
        std::size_t& group = SlotOf(sub_volume.GetID());
        if (group == None) {
            group = m_expected.size();
            m_expected.push_back(std::min(sub_volume.GetNbElements(), left));
            left -= m_expected.back();
        }
        m_of_sub_volumes.push_back(group);
    }
}

std::size_t& SubVolumeGroups::SlotOf(int number) {
    auto const i = static_cast<unsigned int>(number);
    return i < m_of_small_numbers.size() ? m_of_small_numbers[i]
                                         : m_of_other_numbers.try_emplace(number, None).first->second;
}

} // namespace KetSDK::Mesh::Detail
