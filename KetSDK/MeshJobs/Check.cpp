// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Check.h>

#include <KetSDK/Mesh/geometry/MMeshFold.h>
#include <KetSDK/Mesh/geometry/MMeshTet10ConsistencyCheckOperator.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>

namespace KetSDK::MeshJobs {

CheckResult Check(Model const& model, CheckOptions const& options, Context const& context) {
    RequireTetrahedra(model);
    MMeshTet10ConsistencyCheckOperator check;
    check.SetTolerance(options.tolerance);
    Detail::RunOperator(check, model, "it could not be checked", context);
    CheckResult result;
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    result.quadratic = model.mesh->GetMeshType() == MMeshBase::Quadratic;
    result.wrong_orientation = static_cast<std::uint64_t>(check.GetWrongOrientation());
    model.mesh->Elements().ForEachWithNodes(
        [&result](MMeshElement const& e, std::uint64_t) { result.folded += IsFolded(e); });
    context.ThrowIfCancelled();
    result.topology = Mesh::AnalyzeTopology(*model.mesh);
    context.ThrowIfCancelled();
    result.zero_volume = static_cast<std::uint64_t>(check.GetZeroVolume());
    result.wrong_mid_edges = static_cast<std::uint64_t>(check.GetWrongMidEdges());
    result.wrong_mid_faces = static_cast<std::uint64_t>(check.GetWrongMidFaces());
    return result;
}

} // namespace KetSDK::MeshJobs
