// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace KetSDK::Common {

// The factor between model units and the integer coordinates of meshes and surfaces.
struct MInternalUnits {
    // Internal units per model unit. A power of two, so that dividing an integer coordinate by it is
    // exact; in millimetres one internal unit is 15 nm and the range is +-32 m.
    static constexpr double Get() noexcept { return 65536.0; }
};

} // namespace KetSDK::Common
