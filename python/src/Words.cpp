// SPDX-License-Identifier: BSD-3-Clause
#include "Words.h"

#include <KetSDK/MeshVTK/Error.h>

namespace ketmesh {

using KetSDK::Mesh::CoordinateFrame;

KetSDK::MeshVTK::LengthUnit UnitNamed(std::string const& name) {
    try {
        return KetSDK::MeshVTK::LengthUnit::FromName(name);
    } catch (KetSDK::MeshVTK::Error const& e) {
        throw KetSDK::MeshJobs::Error(e.what());
    }
}

std::optional<CoordinateFrame> FrameNamed(FrameWord const& word) {
    if (!word)
        return std::nullopt;
    return Named<CoordinateFrame>({{"RAS", CoordinateFrame::RAS}, {"LPS", CoordinateFrame::LPS}}, *word,
                                  "frame");
}

FrameWord WordOf(std::optional<CoordinateFrame> frame) {
    return frame ? FrameWord(KetSDK::Mesh::FrameWord(*frame)) : std::nullopt;
}

} // namespace ketmesh
