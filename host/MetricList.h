#pragma once

#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <host/terminal/Output.h>

#include <iosfwd>
#include <string>
#include <vector>

namespace ketmesh {

// All quality metrics, as `ketmesh quality --list` shows them.

// For people, at most 110 columns wide.
void PrintMetricList(std::ostream& out);
// As the page docs/quality.md.
void PrintMetricPage(std::ostream& out);
// For programs.
Json MetricListJson();

// Stands for all metrics in place of their names.
inline constexpr char const* AllMetrics = "all";

// The metrics of a list of names with commas between them, each once; all of them for AllMetrics. Throws
// std::invalid_argument, with the nearest names, for one that is unknown.
std::vector<KetSDK::Mesh::QualityMetric const*> FindMetrics(std::string const& names);

} // namespace ketmesh
