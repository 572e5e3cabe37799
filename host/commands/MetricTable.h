// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <host/terminal/Output.h>

#include <iosfwd>
#include <string>
#include <vector>

namespace ketmesh {

// The names of kinds of elements, as bits of QualityMetric::Kinds: "tet4", "tet10", "wedge6", "hex8".
std::vector<std::string> KindNames(unsigned char kinds);

// All quality metrics, as `ketmesh quality --list` shows them.

// For people, at most 110 columns wide.
void PrintMetricList(std::ostream& out);
// As the page docs/quality.md.
void PrintMetricPage(std::ostream& out);
// For programs.
Json MetricListJson();

} // namespace ketmesh
