// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Quality.h>

#include <iosfwd>

namespace ketmesh {

// Draws the histogram of a report with a line for each bin, at most 72 columns wide: in block characters
// where the terminal's locale knows them, and else in ASCII. What no bin counts is said below.
void PrintHistogram(std::ostream& out, KetSDK::MeshJobs::MetricReport const& report);

} // namespace ketmesh
