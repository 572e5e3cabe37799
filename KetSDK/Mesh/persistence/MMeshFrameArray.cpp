// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/persistence/MMeshFrameArray.h>

#include <KetSDK/Mesh/persistence/MMeshArrayType.h>

#include <algorithm>

using KetSDK::Mesh::CoordinateFrame;

MMeshArray MakeFrameArray(CoordinateFrame frame) {
    return MakeStringArray(MMeshFrameArrayName, {KetSDK::Mesh::FrameWord(frame)});
}

std::optional<CoordinateFrame> TakeFrame(std::vector<MMeshArray>& arrays) {
    for (CoordinateFrame const frame : KetSDK::Mesh::CoordinateFrames) {
        MMeshArray const said = MakeFrameArray(frame);
        auto const found = std::ranges::find_if(arrays, [&said](MMeshArray const& array) {
            return array.name == said.name && array.place == said.place && HoldsStrings(array) &&
                   array.values == said.values;
        });
        if (found != arrays.end()) {
            arrays.erase(found);
            return frame;
        }
    }
    return std::nullopt;
}
