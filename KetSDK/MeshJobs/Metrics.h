// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/geometry/QualityLimit.h>
#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <KetSDK/Mesh/geometry/QualityThreshold.h>
#include <KetSDK/MeshJobs/Model.h>

#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

// Quality metrics by the names that users give, and in words.

// Stands for all metrics in place of their names.
inline constexpr char const* AllMetrics = "all";

// The metrics of a list of names with commas between them, each once. AllMetrics stands for all of them but
// FluentOrthogonalQuality, whose sign at neighbours means nothing to who does not know its definition. Throws
// Error, with the nearest names, for one that is unknown.
KETSDK_MESHJOBS_API std::vector<Mesh::QualityMetric const*> FindMetrics(std::string const& names);

// Throws FileError unless the metric measures these kinds of elements (Mesh::KindsOf), and for
// JacobianDistortion without quadratic tetrahedra.
KETSDK_MESHJOBS_API void RequireMetric(Model const& model, Mesh::QualityMetric const& metric,
                                       unsigned char kinds);

// What elements a model has: "12 tet4, 1952 hex8".
KETSDK_MESHJOBS_API std::string KindsText(Model const& model);

// "Volume [mm3]"
KETSDK_MESHJOBS_API std::string TitleOf(Mesh::QualityMetric const& metric);

// The limit that a text gives: METRIC>=VALUE or METRIC<=VALUE. Throws Error for another text.
KETSDK_MESHJOBS_API Mesh::QualityLimit ParseLimit(std::string const& text);
// The limits of the set of that name (Mesh::QualityLimitSets). Throws Error for a name that none has.
KETSDK_MESHJOBS_API std::vector<Mesh::QualityLimit> FindLimits(std::string const& name);

// "MinDihedralAngle >= 10"
KETSDK_MESHJOBS_API std::string DescribeLimit(Mesh::QualityLimit const& limit);

// Which values of a metric are bad: "below 0.1", "below 0.1 or folded".
KETSDK_MESHJOBS_API std::string DescribeBad(Mesh::QualityMetric const& metric,
                                            Mesh::QualityThreshold const& threshold);
// "below 0.1"
KETSDK_MESHJOBS_API std::string DescribeThreshold(Mesh::QualityThreshold const& threshold);

} // namespace KetSDK::MeshJobs
