#include <host/Measuring.h>

#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <host/FileError.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace ketmesh {

namespace {

using Histogram = QualityHistogram<int, double>;

bool HasFixedRange(QualityMetric const& metric) {
    return metric.range == QualityMetric::Range::Unit || metric.range == QualityMetric::Range::Angle;
}

Bins BinsOf(Histogram const& histogram) {
    Bins bins{histogram.GetMinRange(), histogram.GetMaxRange(), {}};
    for (unsigned int i = 0; i < histogram.GetNbPartitions(); ++i)
        bins.counts.push_back(histogram.GetPartitionCount(i));
    return bins;
}

} // namespace

void RequireMetric(MMeshBase const& mesh, QualityMetric const& metric, std::string const& file) {
    if (!HasMetric(mesh, metric))
        throw FileError(file, std::string(metric.name) +
                                  " is a measure of quadratic tetrahedra, and the mesh has none");
}

void Measure(MMeshQualityAnalysisOperator& analysis, MMeshBase& mesh, QualityMetric const& metric,
             bool parallel, Progress const& progress) {
    if (metric.type == MMeshQualityAnalysisOperator::FluentOrthogonalQuality)
        mesh.GetNeighborsInfo()->Enable();
    analysis.SetMesh(&mesh);
    analysis.SetCurrentMetric(metric.type);
    analysis.SetParallel(parallel);
    analysis.SetProgressDelegate(progress);
    bool const done = analysis.Operate();
    ThrowIfCancelled();
    if (!done)
        throw std::runtime_error(std::string(metric.name) + " could not be measured");
}

void Binning::Check(QualityMetric const& metric) const {
    if (width > 0.0 && HasFixedRange(metric))
        _CountOfWidth(metric, 0.0,
                      std::min(metric.range == QualityMetric::Range::Unit ? 1.0 : 180.0, max_bound));
}

void Binning::SetUp(MMeshQualityAnalysisOperator& analysis, QualityMetric const& metric) const {
    analysis.SetNbPartitions(partitions);
    // Where the range depends on the values, so does the number of bins, which has a limit here.
    analysis.SetPartitionWidth(HasFixedRange(metric) ? width : 0.0);
    analysis.SetMaxBound(max_bound);
}

Bins Binning::GetBins(MMeshQualityAnalysisOperator const& analysis, QualityMetric const& metric,
                      QualityStatistics const& statistics) const {
    Histogram const& histogram = *analysis.GetQualityHistogram();
    // A range that is taken from the values is that of all values: one infinity, or a first value that is
    // not a number, makes it useless. It is then taken from the finite ones.
    bool const usable = statistics.nonfinite == 0 && histogram.GetMinRange() <= histogram.GetMaxRange();
    if (HasFixedRange(metric) || (usable && width == 0.0))
        return BinsOf(histogram);
    return _BinFinite(histogram.GetValues(), metric, statistics);
}

int Binning::_CountOfWidth(QualityMetric const& metric, double lowest, double highest) const {
    double const count = std::ceil((highest - lowest) / width);
    if (!(count <= MostBins))
        throw std::runtime_error("--width " + FormatGeneral(width) + " makes " + FormatGeneral(count) +
                                 " bins of " + std::string(metric.name) + " (" + FormatGeneral(lowest) +
                                 " to " + FormatGeneral(highest) + "); the most are " +
                                 std::to_string(MostBins));
    return std::max(static_cast<int>(count), 1);
}

Bins Binning::_BinFinite(std::vector<double> const& values, QualityMetric const& metric,
                         QualityStatistics const& statistics) const {
    double lowest = statistics.HasFinite() ? statistics.min : 0.0;
    double highest = statistics.HasFinite() ? statistics.max : 0.0;
    if (metric.range == QualityMetric::Range::Largest && highest > 0.0) {
        lowest = 0.0;
        highest = std::min(highest, max_bound);
    }
    int count = partitions;
    if (width > 0.0) {
        count = _CountOfWidth(metric, lowest, highest);
        if (lowest + count * width < highest) // by rounding
            ++count;
        highest = lowest + count * width;
    }
    Histogram histogram;
    histogram.SetNbPartitions(static_cast<unsigned int>(count));
    histogram.SetMinRange(lowest);
    histogram.SetMaxRange(highest);
    for (double const value : values)
        histogram.UpdateHistogram(value);
    return BinsOf(histogram);
}

} // namespace ketmesh
