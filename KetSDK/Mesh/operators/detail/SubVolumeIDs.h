// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

// The identifier of the sub-volume of each element, looked up once for all. Does not follow later changes
// of the mesh.
class SubVolumeIDs {
public:
    explicit SubVolumeIDs(MMeshBase const& mesh)
        : m_numbers(std::as_const(*mesh.GetElementMasks()).GetSubvolumeMask()) {
        for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
            m_ids.push_back((*it)->GetID());
    }
    // -1 for an element in no sub-volume.
    int operator()(MMeshElement const& e) const {
        int const number = m_numbers ? m_numbers->GetValue(e) : -1;
        bool const listed = number >= 0 && static_cast<std::size_t>(number) < m_ids.size();
        return listed ? m_ids[static_cast<std::size_t>(number)] : -1;
    }

private:
    MDataMask<MMeshElement, int> const* m_numbers;
    std::vector<int> m_ids;
};

} // namespace KetSDK::Mesh::Detail
