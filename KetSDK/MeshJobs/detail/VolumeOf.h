// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>

namespace KetSDK::MeshJobs::Detail {

// The volume of a mesh as every job tells it, in mm3: signed, that of curved elements exact.
inline double VolumeOf(MMeshBase const& mesh) {
    double volume = 0.0;
    mesh.Elements().ForEachWithNodes(
        [&volume](MMeshElement const& e, std::uint64_t) { volume += GetCurvedElementVolume(e); });
    return volume;
}

} // namespace KetSDK::MeshJobs::Detail
