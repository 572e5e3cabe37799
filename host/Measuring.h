#pragma once

#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <KetSDK/Mesh/geometry/QualityStatistics.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshJobs/Metrics.h>
#include <host/Command.h>

#include <cfloat>
#include <cstddef>
#include <string>
#include <vector>

namespace ketmesh {

using KetSDK::Mesh::QualityMetric;

using KetSDK::Mesh::HasMetric;
using KetSDK::Mesh::QualityStatistics;
using KetSDK::Mesh::Summarize;
using KetSDK::MeshJobs::TitleOf;

// Throws FileError for a mesh that does not have it.
void RequireMetric(MMeshBase const& mesh, QualityMetric const& metric, std::string const& file);

// Runs the operator, set up as the caller wants its histogram, with a metric that the mesh has; neighbour
// information is enabled for the metric that needs it. Throws KetSDK::MeshVTK::Cancelled.
void Measure(MMeshQualityAnalysisOperator& analysis, MMeshBase& mesh, QualityMetric const& metric,
             bool parallel, Progress const& progress);

// The counts of values in ranges of equal width.
struct Bins {
    double min = 0.0;
    double max = 0.0;
    std::vector<int> counts;

    // The lower bound of bin i, which is the upper one of the bin before.
    double GetBound(std::size_t i) const {
        return (max - min) * static_cast<double>(i) / static_cast<double>(counts.size()) + min;
    }
};

// How a caller wants values binned.
struct Binning {
    static constexpr int MostBins = 10000;

    int partitions = 10;
    double width = 0.0; // of a bin, in place of their number; 0 for none
    double max_bound = DBL_MAX;

    // Throws std::runtime_error when the width makes too many bins of the metric's fixed range.
    void Check(QualityMetric const& metric) const;
    void SetUp(MMeshQualityAnalysisOperator& analysis, QualityMetric const& metric) const;
    // The bins of what an operator that was set up so has measured. Throws std::runtime_error when the
    // width makes too many of them.
    Bins GetBins(MMeshQualityAnalysisOperator const& analysis, QualityMetric const& metric,
                 QualityStatistics const& statistics) const;

private:
    int _CountOfWidth(QualityMetric const& metric, double lowest, double highest) const;
    Bins _BinFinite(std::vector<double> const& values, QualityMetric const& metric,
                    QualityStatistics const& statistics) const;
};

} // namespace ketmesh
