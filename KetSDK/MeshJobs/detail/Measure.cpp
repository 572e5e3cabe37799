// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/Measure.h>

#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/MeshJobs/detail/CommonFaces.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/Threads.h>

#include <string>

namespace KetSDK::MeshJobs::Detail {

void Measure(MMeshQualityAnalysisOperator& analysis, Model const& model, Mesh::QualityMetric const& metric,
             Context const& context) {
    if (metric.type == MMeshQualityAnalysisOperator::FluentOrthogonalQuality ||
        metric.type == MMeshQualityAnalysisOperator::OrthogonalQuality) {
        RequireFewAtEachFace(model);
        WithThreads(context, [&](bool parallel) { model.mesh->GetNeighborsInfo()->Enable(parallel); });
    }
    analysis.SetCurrentMetric(metric.type);
    analysis.SetCurvedVolumes(true);
    analysis.SetEveryKind(true);
    analysis.SetProgressDelegate(context.progress);
    RunOperator(analysis, model, std::string(metric.name) + " could not be measured", context);
}

std::vector<double> MeasureFolds(Model const& model, Context const& context) {
    MMeshQualityAnalysisOperator analysis;
    Measure(analysis, model, *Mesh::FindQualityMetric(MMeshQualityAnalysisOperator::Folded), context);
    std::span<double const> const folds = analysis.GetQualityHistogram()->GetValues();
    return {folds.begin(), folds.end()};
}

} // namespace KetSDK::MeshJobs::Detail
