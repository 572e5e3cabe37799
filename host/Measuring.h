#pragma once

#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <KetSDK/Mesh/geometry/QualityStatistics.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshJobs/Metrics.h>
#include <host/Command.h>

#include <string>

namespace ketmesh {

using KetSDK::Mesh::QualityMetric;

using KetSDK::Mesh::HasMetric;
using KetSDK::Mesh::QualityStatistics;
using KetSDK::Mesh::Summarize;
using KetSDK::MeshJobs::FindMetrics;

// Throws FileError for a mesh that does not have it.
void RequireMetric(MMeshBase const& mesh, QualityMetric const& metric, std::string const& file);

// Runs the operator, set up as the caller wants its histogram, with a metric that the mesh has; neighbour
// information is enabled for the metric that needs it. Throws KetSDK::MeshVTK::Cancelled.
void Measure(MMeshQualityAnalysisOperator& analysis, MMeshBase& mesh, QualityMetric const& metric,
             bool parallel, Progress const& progress);

} // namespace ketmesh
