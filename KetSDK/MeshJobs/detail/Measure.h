// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <span>
#include <vector>

namespace KetSDK::MeshJobs::Detail {

// Runs the operator, set up as the caller wants its histogram, with a metric that the model has, on as many
// threads as the context allows. Neighbour information is enabled for the metrics that need it. Throws
// Cancelled.
void Measure(MMeshQualityAnalysisOperator& analysis, Model const& model, Mesh::QualityMetric const& metric,
             Context const& context);

// Whether elements are folded counts for a metric: it looks at mid-edge nodes.
inline bool SeesFolds(Mesh::QualityMetric const* metric) {
    return metric->quadratic;
}
// By element 1 where it is folded, else 0.
std::vector<double> MeasureFolds(Model const& model, Context const& context);

} // namespace KetSDK::MeshJobs::Detail
