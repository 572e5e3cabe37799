// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Weld.h>

#include <KetSDK/Mesh/operators/MMeshWeldOperator.h>
#include <KetSDK/Mesh/persistence/MMeshCarrying.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/DoubleNodes.h>
#include <KetSDK/MeshJobs/detail/FieldArrays.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>

#include <cmath>
#include <memory>
#include <string>

namespace KetSDK::MeshJobs {

WeldResult Weld(Model const& model, WeldOptions const& options, Context const& context) {
    if (!std::isfinite(options.tolerance) || options.tolerance < 0.0)
        throw Error("--tolerance " + FormatGeneral(options.tolerance) + " is no distance in mm");
    WeldResult result;
    result.model.mesh = std::make_unique<MMeshBase>();
    result.model.rounding = model.rounding;
    result.model.frame = model.frame;
    MMeshOrigins origins;
    MMeshWeldOperator weld;
    weld.SetMesh(model.mesh.get());
    weld.SetTarget(result.model.mesh.get());
    weld.SetTolerance(options.tolerance);
    weld.SetOrigins(&origins);
    if (!Detail::Operate(weld, context))
        throw FileError(model.file,
                        weld.GetCollapsing()
                            ? "element " + std::to_string(*weld.GetCollapsing()) +
                                  " would collapse, because two of its nodes would become one; " +
                                  (options.tolerance > 0.0 ? "a smaller --tolerance would be right"
                                                           : "it has no size, so take it out first")
                            : "it could not be welded");
    context.ThrowIfCancelled();
    result.model.arrays = CarryArrays(Detail::ArraysWithFields(model), origins);
    result.elements = static_cast<std::uint64_t>(result.model.mesh->NumberOfElements());
    result.nodes = static_cast<std::uint64_t>(result.model.mesh->NumberOfPoints());
    result.joined_nodes = origins.joined_nodes;
    result.duplicate_elements =
        Detail::WarnOfDuplicateElements(*result.model.mesh, Detail::NameOf(model), context);
    result.subvolumes = ReportSubVolumes(*result.model.mesh);
    context.ThrowIfCancelled();
    return result;
}

} // namespace KetSDK::MeshJobs
