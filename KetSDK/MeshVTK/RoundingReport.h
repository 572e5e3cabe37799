// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdint>

namespace KetSDK::MeshVTK {

// What the caller accepts when coordinates are rounded to the integers of meshes and surfaces.
struct RoundingLimits {
    bool allow_out_of_range = false; // coordinates beyond the integer range are moved to its end
    bool allow_merged = false;       // different points may get the same integer coordinates
};

// What rounding did.
struct RoundingReport {
    std::uint64_t out_of_range = 0; // points with a coordinate that the integers cannot hold
    std::uint64_t merged = 0;       // points that came to lie on an earlier one from which they differ
    double largest_error = 0.0;     // largest distance in mm that a point within the range moved
};

} // namespace KetSDK::MeshVTK
