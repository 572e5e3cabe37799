#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <host/Measuring.h>
#include <host/commands/options/BadThreshold.h>
#include <host/terminal/Output.h>

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace ketmesh {

// An element by its place in the file, and where it lies.
struct PlacedElement {
    std::uint64_t element;
    double value;
    MMVector<double, 3> centre; // of the corners, in mm
    std::string subvolume;
};

// What is said of one metric on one mesh.
struct MetricReport {
    QualityMetric const* metric;
    std::uint64_t elements;
    QualityStatistics statistics;
    std::uint64_t bad;
    Bins bins;
    std::vector<PlacedElement> worst; // the worst one first

    // The number of finite values that no bin counts.
    std::uint64_t CountOutside() const;
};

// The worst elements of a mesh, at most `count`, by the values of all of its elements.
std::vector<PlacedElement> FindWorst(MMeshBase const& mesh, QualityMetric const& metric,
                                     std::vector<double> const& values, std::size_t count);

// As JSON; figures that are not finite are null.
Json ToJson(MetricReport const& report);

// One line for each metric.
void PrintSummary(std::ostream& out, std::vector<MetricReport> const& reports, BadThreshold const& threshold);
// All of one metric, with its histogram.
void PrintDetails(std::ostream& out, MetricReport const& report, BadThreshold const& threshold);

} // namespace ketmesh
