// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <algorithm>
#include <set>

namespace KetSDK::Mesh::Detail {

// Whether each of the sub-volumes is in the mesh's list; null never is.
inline bool AreAllOf(MMeshBase const& mesh, std::set<MMeshSubVolume const*> const& sub_volumes) {
    return std::ranges::all_of(sub_volumes, [&mesh](MMeshSubVolume const* sub_volume) {
        return std::any_of(mesh.BeginSubVolume(), mesh.EndSubVolume(),
                           [sub_volume](auto const& listed) { return listed.get() == sub_volume; });
    });
}

} // namespace KetSDK::Mesh::Detail
