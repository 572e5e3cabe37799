#pragma once

#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

namespace KetSDK::MeshJobs::Detail {

// Runs the operator, set up as the caller wants its histogram, with a metric that the model has, on as many
// threads as the context allows; neighbour information is enabled for the metric that needs it. Throws
// Cancelled.
void Measure(MMeshQualityAnalysisOperator& analysis, Model const& model, Mesh::QualityMetric const& metric,
             Context const& context);

} // namespace KetSDK::MeshJobs::Detail
