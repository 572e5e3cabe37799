#pragma once

#include <KetSDK/Mesh/geometry/QualityBins.h>
#include <KetSDK/Mesh/geometry/QualityStatistics.h>
#include <KetSDK/Mesh/geometry/QualityThreshold.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

struct QualityOptions {
    // Names of metrics with commas between them, or "all": those that the model has.
    std::string metrics = "ScaledJacobian";
    Mesh::QualityThreshold bad; // below 0 unless set
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
    std::uint64_t bad; // elements with bad values
    Mesh::QualityBins bins;
    std::vector<WorstElement> worst; // the worst one first

    // The number of finite values that no bin counts.
    std::uint64_t CountOutside() const;
};

struct QualityResult {
    std::string file; // of the model
    std::uint64_t elements = 0;
    Mesh::QualityThreshold bad;        // as in the options
    std::vector<MetricReport> metrics; // in the order of the options, each once
    // Where they are kept: an array on the elements for each metric, under its name. SetArray puts one among
    // the arrays of the model.
    std::vector<MMeshArray> values;
};

// Measures tetrahedra. Throws Error for options that CheckQualityOptions refuses and for a width that makes
// too many bins, FileError for other elements and for a metric that the model does not have; Cancelled.
KETSDK_MESHJOBS_API QualityResult Quality(Model const& model, QualityOptions const& options,
                                          Context const& context);

// Throws Error for options that no model can be measured with: unknown metrics, a number of bins beyond 1 to
// QualityBinning::MostBins, and a width that makes more of a metric's own range. For a caller who has yet to
// read the model.
KETSDK_MESHJOBS_API void CheckQualityOptions(QualityOptions const& options);

} // namespace KetSDK::MeshJobs
