// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Convert.h>

#include <KetSDK/Mesh/geometry/MMeshConformingCutOperator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet10ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet4ToTet10Operator.h>
#include <KetSDK/Mesh/persistence/MMeshCarrying.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/FieldArrays.h>
#include <KetSDK/MeshJobs/detail/Limits.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/VolumeOf.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace KetSDK::MeshJobs {

namespace {

using Target = ConvertOptions::Target;

// One operator's share of a conversion.
enum class Step { Cut, Straighten, Split, Curve };

// How many elements of so many nodes there are.
using Kinds = std::map<unsigned int, std::uint64_t>;

Kinds KindsOf(std::vector<KindCount> const& counts) {
    Kinds kinds;
    for (KindCount const& kind : counts)
        kinds[kind.nodes] = kind.elements;
    return kinds;
}

std::uint64_t LinearElements(Kinds& kinds) {
    return kinds[4] + kinds[6] + kinds[8];
}

std::string WhyNotCurved(Kinds& kinds) {
    if (kinds[10] > 0 && LinearElements(kinds) > 0)
        return "quadratic tetrahedra (" + std::to_string(kinds[10]) +
               ") and linear elements are mixed; convert to tet4 first";
    return kinds[10] > 0 ? "all elements are quadratic tetrahedra already; there is nothing to convert" : "";
}

std::string WhyNotSplit(Kinds& kinds) {
    if (kinds[10] == 0)
        return "there are no quadratic tetrahedra, which could be split; convert to tet10 first";
    if (LinearElements(kinds) > 0)
        return "there are linear elements (" + std::to_string(LinearElements(kinds)) +
               ") beside the quadratic tetrahedra, and neighbours would not fit; leave out --split";
    return {};
}

// Why elements of these kinds cannot become what is asked for; empty when they can.
std::string WhyNot(Kinds& kinds, Target target) {
    if (target == Target::Tet10)
        return WhyNotCurved(kinds);
    if (target == Target::Tet4Split)
        return WhyNotSplit(kinds);
    return kinds[6] + kinds[8] + kinds[10] == 0
               ? "all elements are linear tetrahedra already; there is nothing to convert"
               : "";
}

std::vector<Step> Plan(Kinds& kinds, Target target) {
    std::vector<Step> steps;
    if (kinds[6] + kinds[8] > 0)
        steps.push_back(Step::Cut);
    if (target == Target::Tet10)
        steps.push_back(Step::Curve);
    else if (kinds[10] > 0)
        steps.push_back(target == Target::Tet4Split ? Step::Split : Step::Straighten);
    return steps;
}

// Fills the target with the converted elements of the source and notes what was turned and cut.
void RunStep(Step step, Model const& source, MMeshBase& target, MMeshOrigins& origins, ConvertResult& result,
             Context const& context) {
    auto const run = [&](auto& convert) {
        convert.SetOrigins(&origins);
        Detail::RunOperator(convert, source, "it could not be converted", context);
    };
    if (step == Step::Curve) {
        MMeshConvertTet4ToTet10Operator convert;
        convert.SetTet10Mesh(&target);
        convert.SetProgressDelegate(context.progress);
        run(convert);
    } else if (step == Step::Cut) {
        MMeshConformingCutOperator cut;
        cut.SetTet4Mesh(&target);
        cut.SetProgressDelegate(context.progress);
        run(cut);
        auto const& counts = cut.GetCounts();
        result.reoriented += counts.turned;
        result.cut = {counts.shared_faces, counts.mismatches, counts.nodes_inside, counts.folded};
    } else {
        MMeshConvertTet10ToTet4Operator convert;
        convert.SetTet4Mesh(&target);
        convert.SetMultipleElements(step == Step::Split);
        run(convert);
        result.reoriented += static_cast<std::uint64_t>(convert.GetNbCorrected());
    }
}

ConvertResult RunSteps(Model const& model, std::vector<Step> const& steps, Context const& context) {
    ConvertResult result;
    for (Step const step : steps) {
        Model const& source = result.model.mesh ? result.model : model;
        auto target = std::make_unique<MMeshBase>();
        MMeshOrigins origins;
        RunStep(step, source, *target, origins, result, context);
        result.origins = result.model.mesh ? ComposeOrigins(result.origins, origins) : std::move(origins);
        result.model.mesh = std::move(target);
    }
    return result;
}

ConvertResult::Size SizeOf(MMeshBase const& mesh) {
    return {static_cast<std::uint64_t>(mesh.NumberOfElements()),
            static_cast<std::uint64_t>(mesh.NumberOfPoints()), Detail::VolumeOf(mesh)};
}

void WarnOfFolds(Model const& model, ConvertResult const& result, Context const& context) {
    if (result.cut && result.cut->folded > 0)
        context.Warn(Detail::NameOf(model) + ": " + std::to_string(result.cut->folded) +
                     " hexahedra or wedges are folded: some of their tetrahedra are inverted");
}

} // namespace

ConvertResult Convert(Model const& model, ConvertOptions const& options, Context const& context) {
    std::vector<KindCount> const counts = CountKinds(*model.mesh);
    Kinds kinds = KindsOf(counts);
    std::string why_not = WhyNot(kinds, options.target);
    if (why_not.empty())
        why_not = Detail::WhyTooMany(Detail::LeastTetrahedra(counts, options.target == Target::Tet4Split),
                                     "elements");
    if (!why_not.empty())
        throw FileError(model.file, why_not);
    ConvertResult result = RunSteps(model, Plan(kinds, options.target), context);
    MMeshBase& mesh = *result.model.mesh;
    result.model.frame = model.frame;
    CarryMasks(*model.mesh, result.origins, mesh);
    context.ThrowIfCancelled();
    result.model.arrays = CarryArrays(Detail::ArraysWithFields(model), result.origins);
    context.ThrowIfCancelled();
    if (options.target == Target::Tet4)
        result.taken_by_corners = static_cast<std::uint64_t>(kinds[10]);
    result.before = SizeOf(*model.mesh);
    result.after = SizeOf(mesh);
    result.subvolumes = ReportSubVolumes(mesh);
    WarnOfFolds(model, result, context);
    return result;
}

} // namespace KetSDK::MeshJobs
