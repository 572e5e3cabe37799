// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Check.h>

#include <KetSDK/Mesh/geometry/MMeshFold.h>
#include <KetSDK/Mesh/geometry/MMeshTet10ConsistencyCheckOperator.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/Threads.h>
#include <KetSDK/Support/ParallelWork.h>

namespace KetSDK::MeshJobs {
namespace {

std::uint64_t CountFolded(MMeshBase const& mesh, bool parallel) {
    std::uint64_t folded = 0;
    Support::ComputeSteps<std::uint64_t>(
        {.items = mesh.Elements().GetNumElements(), .step = 1024, .parallel = parallel},
        [&mesh](std::uint64_t first, std::uint64_t last, std::uint64_t& count) {
            count = 0;
            mesh.Elements().ForEachWithNodes(
                first, last, [&count](MMeshElement const& e, std::uint64_t) { count += IsFolded(e); });
        },
        [&folded](std::uint64_t, std::uint64_t, std::uint64_t count) {
            folded += count;
            return true;
        });
    return folded;
}

} // namespace

CheckResult Check(Model const& model, CheckOptions const& options, Context const& context) {
    MMeshTet10ConsistencyCheckOperator check;
    check.SetTolerance(options.tolerance);
    check.SetEveryKind(true);
    Detail::RunOperator(check, model, "it could not be checked", context);
    CheckResult result;
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    result.solids = CountSolids(*model.mesh);
    result.quadratic = model.mesh->GetMeshType() == MMeshBase::Quadratic;
    result.wrong_orientation = static_cast<std::uint64_t>(check.GetWrongOrientation());
    Detail::WithThreads(context, [&](bool parallel) { result.folded = CountFolded(*model.mesh, parallel); });
    context.ThrowIfCancelled();
    Detail::WithThreads(
        context, [&](bool parallel) { result.topology = Mesh::AnalyzeTopology(*model.mesh, parallel); });
    context.ThrowIfCancelled();
    result.zero_volume = static_cast<std::uint64_t>(check.GetZeroVolume());
    result.wrong_mid_edges = static_cast<std::uint64_t>(check.GetWrongMidEdges());
    result.wrong_mid_faces = static_cast<std::uint64_t>(check.GetWrongMidFaces());
    return result;
}

} // namespace KetSDK::MeshJobs
