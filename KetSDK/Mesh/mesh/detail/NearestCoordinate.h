// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Math/MathCore/MMVector.h>

#include <cmath>
#include <limits>

namespace KetSDK::Mesh::Detail {

// The coordinate nearest to a number of internal units, halves away from zero. What lies beyond the range of
// coordinates comes to its end; what is not a number becomes 0.
inline MLong NearestCoordinate(double units) noexcept {
    constexpr double least = std::numeric_limits<MLong>::min();
    constexpr double largest = std::numeric_limits<MLong>::max();
    if (std::isnan(units))
        return 0;
    double const inside = units < least ? least : units > largest ? largest : units;
    return static_cast<MLong>(std::lround(inside));
}

inline MMVector<MLong, 3> NearestCoordinates(MMVector<double, 3> const& units) noexcept {
    return {NearestCoordinate(units[0]), NearestCoordinate(units[1]), NearestCoordinate(units[2])};
}

} // namespace KetSDK::Mesh::Detail
