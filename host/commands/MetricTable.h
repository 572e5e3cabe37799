// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <host/terminal/Output.h>

#include <iosfwd>

namespace ketmesh {

// All quality metrics, as `ketmesh quality --list` shows them.

// For people, at most 110 columns wide.
void PrintMetricList(std::ostream& out);
// As the page docs/quality.md.
void PrintMetricPage(std::ostream& out);
// For programs.
Json MetricListJson();

} // namespace ketmesh
