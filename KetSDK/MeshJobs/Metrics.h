#pragma once

#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <KetSDK/Mesh/geometry/QualityThreshold.h>
#include <KetSDK/MeshJobs/Model.h>

#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

// Quality metrics by the names that users give, and in words.

// Stands for all metrics in place of their names.
inline constexpr char const* AllMetrics = "all";

// The metrics of a list of names with commas between them, each once; all of them for AllMetrics. Throws
// Error, with the nearest names, for one that is unknown.
KETSDK_MESHJOBS_API std::vector<Mesh::QualityMetric const*> FindMetrics(std::string const& names);

// Throws FileError for a model that does not have what the metric measures (Mesh::HasMetric).
KETSDK_MESHJOBS_API void RequireMetric(Model const& model, Mesh::QualityMetric const& metric);

// "Volume [mm3]"
KETSDK_MESHJOBS_API std::string TitleOf(Mesh::QualityMetric const& metric);

// "below 0.1"
KETSDK_MESHJOBS_API std::string DescribeThreshold(Mesh::QualityThreshold const& threshold);

} // namespace KetSDK::MeshJobs
