#include <KetSDK/MeshJobs/detail/Measure.h>

#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/Threads.h>

#include <string>

namespace KetSDK::MeshJobs::Detail {

void Measure(MMeshQualityAnalysisOperator& analysis, Model const& model, Mesh::QualityMetric const& metric,
             Context const& context) {
    if (metric.type == MMeshQualityAnalysisOperator::FluentOrthogonalQuality)
        model.mesh->GetNeighborsInfo()->Enable();
    analysis.SetCurrentMetric(metric.type);
    analysis.SetProgressDelegate(context.progress);
    WithThreads(context, [&](bool parallel) {
        analysis.SetParallel(parallel);
        RunOperator(analysis, model, std::string(metric.name) + " could not be measured", context);
    });
}

} // namespace KetSDK::MeshJobs::Detail
