// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Quality.h>
#include <host/terminal/Output.h>

#include <iosfwd>
#include <vector>

namespace ketmesh {

// As JSON; figures that are not finite are null.
Json ToJson(KetSDK::MeshJobs::MetricReport const& report);

// One line for each metric.
void PrintSummary(std::ostream& out, KetSDK::MeshJobs::QualityResult const& quality);
// All of one metric, with its histogram; `bad` says which values were counted as bad.
void PrintDetails(std::ostream& out, KetSDK::MeshJobs::MetricReport const& report,
                  KetSDK::Mesh::QualityThreshold const& bad);

// The limits with how many elements fail each, and whether that is to pass: nothing without limits.
void PrintLimits(std::ostream& out, KetSDK::MeshJobs::QualityResult const& quality);
Json LimitsJson(std::vector<KetSDK::MeshJobs::LimitReport> const& limits);

// The limits that solvers document, with their sources.
void PrintLimitSets(std::ostream& out);
Json LimitSetsJson();

} // namespace ketmesh
