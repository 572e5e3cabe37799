// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/geometry/QualityBins.h>
#include <KetSDK/Mesh/geometry/QualityLimit.h>
#include <KetSDK/Mesh/geometry/QualityStatistics.h>
#include <KetSDK/Mesh/geometry/QualityThreshold.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

struct QualityOptions {
    // Names of metrics with commas between them, or "all": those that the model has. Empty for those of the
    // limits, or ScaledJacobian without limits, and for Folded where there are ten-node elements.
    std::string metrics;
    // Which values are bad: below 0 unless set. Folded elements are bad by every metric that sees mid-edge
    // nodes, whatever their values.
    std::optional<Mesh::QualityThreshold> bad;
    // What values have to be; their metrics are measured beside the others.
    std::vector<Mesh::QualityLimit> limits;
    Mesh::QualityBinning binning;
    std::size_t worst = 10;   // how many elements to name for each metric
    bool keep_values = false; // the result holds the values of all elements
};

// An element that is among the worst.
struct WorstElement {
    std::uint64_t element; // index in the model
    double value;
    std::array<double, 3> centre; // of the corners, in mm
    std::string subvolume;        // name in UTF-8
};

// What is said of one metric on one model.
struct KETSDK_MESHJOBS_API MetricReport {
    Mesh::QualityMetric const* metric;
    std::uint64_t elements;
    Mesh::QualityStatistics statistics;
    std::uint64_t bad; // elements with bad values, and folded ones where the metric sees folds
    Mesh::QualityBins bins;
    std::vector<WorstElement> worst; // the worst one first

    // The number of finite values that no bin counts.
    std::uint64_t CountOutside() const;
};

// How many elements fail a limit: those whose value is beyond it or not a number, and folded ones where the
// metric sees folds.
struct LimitReport {
    Mesh::QualityLimit limit;
    std::uint64_t failing = 0;
};

struct QualityResult {
    std::string file; // of the model
    std::uint64_t elements = 0;
    std::uint64_t solids = 0;          // hexahedra and wedges among them
    Mesh::QualityThreshold bad;        // of the options, or below 0
    bool has_threshold = false;        // it says which elements fail: it was given, or there are no limits
    std::vector<MetricReport> metrics; // in the order of the options, each once
    std::vector<LimitReport> limits;   // in the order of the options, each once
    // Elements that fail: one of the limits, or the threshold by one of the metrics where has_threshold; and
    // those that are folded, where that was measured.
    std::uint64_t failing = 0;
    // Where they are kept: an array on the elements for each metric, under its name, and `bad`, which is 1
    // for elements that fail and 0 for others. SetArray puts one among the arrays of the model.
    std::vector<MMeshArray> values;
};

// Measures elements, hexahedra and wedges as what they are; volumes are those of curved elements. Throws
// Error for options that CheckQualityOptions refuses and for a width that makes too many bins, FileError for
// a metric that does not measure the model's kinds of elements; Cancelled.
KETSDK_MESHJOBS_API QualityResult Quality(Model const& model, QualityOptions const& options,
                                          Context const& context);

// Throws Error for options that no model can be measured with. Those are unknown metrics, a number of bins
// beyond 1 to QualityBinning::MostBins, a width that makes more of a metric's own range, and bounds of bins
// below 0. For a caller who has yet to read the model.
KETSDK_MESHJOBS_API void CheckQualityOptions(QualityOptions const& options);

} // namespace KetSDK::MeshJobs
