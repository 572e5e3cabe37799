// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "RatioReporter.h"

#include <string>
#include <vector>

namespace Bench {

// Draws the time an element takes over the number of elements of the cubes in regular order, ours and that of
// VTK's fastest way, on one core and on all: an SVG with a panel for each of some jobs. Throws
// std::runtime_error when the file cannot be written.
void WritePerformancePlot(std::vector<RatioReporter::Job> const& jobs, std::string const& path);

} // namespace Bench
