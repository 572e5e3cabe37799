// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace KetSDK::Mesh {

// Which values of a quality metric are bad: those strictly below a threshold, or strictly above it for
// metrics where lower is better. A value that is not a number is neither.
struct QualityThreshold {
    enum class Side { Below, Above };

    Side side = Side::Below;
    double value = 0.0;

    bool IsBad(double v) const noexcept { return side == Side::Above ? v > value : v < value; }
};

} // namespace KetSDK::Mesh
