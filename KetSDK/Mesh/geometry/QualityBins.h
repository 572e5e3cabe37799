// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <KetSDK/Mesh/geometry/QualityStatistics.h>

#include <cfloat>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace KetSDK::Mesh {

// The counts of values in ranges of equal width.
struct QualityBins {
    double min = 0.0;
    double max = 0.0;
    std::vector<int> counts;

    // The lower bound of bin i, which is the upper one of the bin before.
    double GetBound(std::size_t i) const {
        return (max - min) * static_cast<double>(i) / static_cast<double>(counts.size()) + min;
    }
};

// How the values of a metric are binned: over the range that the metric has by itself, or else over that of
// its finite values.
struct KETSDK_MESH_API QualityBinning {
    struct Range {
        double min;
        double max;
    };
    static constexpr int MostBins = 10000;

    int partitions = 10;        // number of bins
    double width = 0.0;         // of a bin, in place of their number; 0 for none
    double max_bound = DBL_MAX; // largest upper end of bins that begin at 0

    // The range that the metric has whatever the values are; none where it depends on them.
    std::optional<Range> GetFixedRange(QualityMetric const& metric) const;
    // The range for values with these statistics.
    Range GetRange(QualityMetric const& metric, QualityStatistics const& statistics) const;
    // The number of bins that a range is cut into. What is more than MostBins cannot be had.
    double CountBins(Range const& range) const;

    // Gives the operator its histogram. GetBins then makes the bins of what it has measured. Throws
    // std::length_error("too many bins") when the width makes more than MostBins of them.
    void SetUp(MMeshQualityAnalysisOperator& analysis, QualityMetric const& metric) const;
    QualityBins GetBins(MMeshQualityAnalysisOperator const& analysis, QualityMetric const& metric,
                        QualityStatistics const& statistics) const;

private:
    QualityBins BinFinite(std::span<double const> values, Range range) const;
};

} // namespace KetSDK::Mesh
