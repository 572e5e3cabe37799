// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Figures.h"

#include <string>

namespace Bench {

// Draws the time an element takes over the number of elements of the cubes in regular order, ours and that of
// VTK's fastest way, on one core and on all: an SVG with a panel for each of some jobs,
// which takes the colours of a light or dark page. Throws
// std::runtime_error when the file cannot be written.
void WritePerformancePlot(Figures const& figures, std::string const& path);

} // namespace Bench
