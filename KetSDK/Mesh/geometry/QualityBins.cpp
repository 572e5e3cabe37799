// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/QualityBins.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace KetSDK::Mesh {

namespace {

using Histogram = QualityHistogram<int, double>;

QualityBins BinsOf(Histogram const& histogram) {
    QualityBins bins{histogram.GetMinRange(), histogram.GetMaxRange(), {}};
    for (unsigned int i = 0; i < histogram.GetNbPartitions(); ++i)
        bins.counts.push_back(histogram.GetPartitionCount(i));
    return bins;
}

} // namespace

std::optional<QualityBinning::Range> QualityBinning::GetFixedRange(QualityMetric const& metric) const {
    switch (metric.range) {
    case QualityMetric::Range::Unit:
        return Range{0.0, std::min(1.0, max_bound)};
    case QualityMetric::Range::Angle:
        return Range{0.0, std::min(180.0, max_bound)};
    default:
        return std::nullopt;
    }
}

QualityBinning::Range QualityBinning::GetRange(QualityMetric const& metric,
                                               QualityStatistics const& statistics) const {
    if (auto const fixed = GetFixedRange(metric))
        return *fixed;
    if (!statistics.HasFinite())
        return {0.0, 0.0};
    if (metric.range == QualityMetric::Range::Largest && statistics.max > 0.0)
        return {0.0, std::min(statistics.max, max_bound)};
    return {statistics.min, statistics.max};
}

double QualityBinning::CountBins(Range const& range) const {
    double const count = width > 0.0 ? std::ceil((range.max - range.min) / width) : partitions;
    return count < 1.0 ? 1.0 : count;
}

void QualityBinning::SetUp(MMeshQualityAnalysisOperator& analysis, QualityMetric const& metric) const {
    analysis.SetNbPartitions(partitions);
    // Where the range depends on the values, so does the number of bins, which has a limit here.
    analysis.SetPartitionWidth(GetFixedRange(metric) ? width : 0.0);
    analysis.SetMaxBound(max_bound);
}

QualityBins QualityBinning::GetBins(MMeshQualityAnalysisOperator const& analysis, QualityMetric const& metric,
                                    QualityStatistics const& statistics) const {
    Histogram const& histogram = *analysis.GetQualityHistogram();
    // A range that is taken from the values is that of all values: one infinity, or a first value that is
    // not a number, makes it useless. It is then taken from the finite ones.
    bool const usable = statistics.nonfinite == 0 && histogram.GetMinRange() <= histogram.GetMaxRange();
    if (GetFixedRange(metric) || (usable && width == 0.0))
        return BinsOf(histogram);
    return BinFinite(histogram.GetValues(), GetRange(metric, statistics));
}

QualityBins QualityBinning::BinFinite(std::span<double const> values, Range range) const {
    double count = CountBins(range);
    if (!(count <= MostBins))
        throw std::length_error("too many bins");
    if (width > 0.0) {
        if (range.min + count * width < range.max) // by rounding
            ++count;
        range.max = range.min + count * width;
    }
    Histogram histogram;
    histogram.SetNbPartitions(static_cast<unsigned int>(count));
    histogram.SetMinRange(range.min);
    histogram.SetMaxRange(range.max);
    for (double const value : values)
        histogram.UpdateHistogram(value);
    return BinsOf(histogram);
}

} // namespace KetSDK::Mesh
