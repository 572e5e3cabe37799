// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/geometry/QualityMetric.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace KetSDK::Mesh {

// What describes the values of a quality metric on many elements. Values that are not finite are counted and
// otherwise left out; without a finite value all figures are NaN. A plain value.
struct QualityStatistics {
    static constexpr std::array<unsigned int, 7> Percents = {1, 5, 25, 50, 75, 95, 99};

    std::uint64_t nonfinite = 0;
    double min;
    double mean;
    double max;
    // For each of Percents the value at the nearest rank: the smallest that so many per cent of the finite
    // values do not exceed.
    std::array<double, Percents.size()> percentiles;

    double GetMedian() const noexcept { return percentiles[3]; }
    bool HasFinite() const noexcept { return min <= max; }
};

// The mean is that of a compensated sum, which does not lose small values beside a huge one. When parallel,
// two threads work at it.
KETSDK_MESH_API QualityStatistics Summarize(std::span<double const> values, bool parallel = false);

// Indices of the values to look at first when bad elements are searched for (QualityMetric::Worst), at most
// `count` of them. Values that are not finite come first, and equal ones in order of their indices.
KETSDK_MESH_API std::vector<std::uint32_t> FindWorst(QualityMetric const& metric,
                                                     std::span<double const> values, std::size_t count);

} // namespace KetSDK::Mesh
