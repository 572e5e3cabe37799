// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace KetSDK::Mesh {

// Where the x and the y axis point in the body that coordinates belong to; z points to the head in both. One
// becomes the other when x and y change their signs. What does not say its frame has none: nothing is
// invented for it, which is what std::optional stands for wherever a frame is kept.
enum class CoordinateFrame : int {
    RAS = 0, // x to the right, y to the front (anterior), as in NIfTI files
    LPS = 1, // x to the left, y to the back (posterior), as in DICOM
};

inline constexpr std::array<CoordinateFrame, 2> CoordinateFrames = {CoordinateFrame::RAS,
                                                                    CoordinateFrame::LPS};

// "RAS" or "LPS": the word for it in files, options and reports.
constexpr char const* FrameWord(CoordinateFrame frame) noexcept {
    return frame == CoordinateFrame::RAS ? "RAS" : "LPS";
}
// The frame of that word; nothing for any other.
constexpr std::optional<CoordinateFrame> FindFrame(std::string_view word) noexcept {
    for (CoordinateFrame const frame : CoordinateFrames)
        if (word == FrameWord(frame))
            return frame;
    return std::nullopt;
}
constexpr CoordinateFrame OtherFrame(CoordinateFrame frame) noexcept {
    return frame == CoordinateFrame::RAS ? CoordinateFrame::LPS : CoordinateFrame::RAS;
}

} // namespace KetSDK::Mesh
