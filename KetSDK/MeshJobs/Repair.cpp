// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Repair.h>

#include <KetSDK/Mesh/geometry/MMeshJacobianCorrectorOperator.h>
#include <KetSDK/Mesh/geometry/QualityStatistics.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/Measure.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/Uncancelled.h>

#include <algorithm>
#include <cmath>
#include <span>

namespace KetSDK::MeshJobs {

namespace {

RatioReport Measure(Model const& model, RepairOptions const& options, Context const& context) {
    MMeshQualityAnalysisOperator analysis;
    Detail::Measure(analysis, model, *Mesh::FindQualityMetric(MMeshQualityAnalysisOperator::JacobianRatio),
                    context);
    std::span<double const> const ratios = analysis.GetQualityHistogram()->GetValues();
    auto const count = [&ratios](auto const& is_counted) {
        return static_cast<std::uint64_t>(std::ranges::count_if(ratios, is_counted));
    };
    Mesh::QualityStatistics const statistics = Mesh::Summarize(ratios);
    return {count([&options](double r) { return r < options.min_ratio || r > options.max_ratio; }),
            count([](double r) { return r < 0.0; }), statistics.min, statistics.GetMedian(), statistics.max};
}

} // namespace

RepairResult Repair(Model& model, RepairOptions const& options, Context const& context) {
    RequireValid(options);
    if (model.mesh->GetMeshType() != MMeshBase::Quadratic)
        throw FileError(model.file,
                        "there are no quadratic tetrahedra whose mid-edge nodes could be repaired");
    RepairResult result;
    result.before = Measure(model, options, context);
    MMeshJacobianCorrectorOperator corrector;
    corrector.SetMinRatioThreshold(options.min_ratio);
    corrector.SetMaxRatioThreshold(options.max_ratio);
    corrector.SetMinAlignmentThreshold(options.min_alignment);
    Detail::RunOperator(corrector, model, "it could not be repaired", context);
    result.after = Measure(model, options, Detail::Uncancelled(context));
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    result.outer = static_cast<std::uint64_t>(corrector.GetNbOuterElements());
    result.modified = static_cast<std::uint64_t>(corrector.GetNbModified());
    result.straightened = static_cast<std::uint64_t>(corrector.GetNbStraightened());
    result.mid_nodes_aligned = static_cast<std::uint64_t>(corrector.GetNbMidNodeCorrections());
    result.passes = static_cast<std::uint64_t>(corrector.GetNbPasses());
    return result;
}

void RequireValid(RepairOptions const& options) {
    if (options.min_ratio > options.max_ratio)
        throw Error("--min-ratio " + FormatGeneral(options.min_ratio) + " is above --max-ratio " +
                    FormatGeneral(options.max_ratio) + "; every element would be bad");
    if (std::fabs(options.min_alignment) > 1.0)
        throw Error("--min-alignment " + FormatGeneral(options.min_alignment) +
                    " is no cosine; it lies between -1 and 1");
}

} // namespace KetSDK::MeshJobs
