// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Split.h>

#include <KetSDK/Mesh/operators/MMeshSplitVolumesOperator.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>

namespace KetSDK::MeshJobs {

SplitResult Split(Model& model, SplitOptions const& options, Context const& context) {
    auto const found = FindSubVolumes(model, options.names);
    MMeshSplitVolumesOperator split;
    split.SetSubVolumes({found.begin(), found.end()});
    Detail::RunOperator(split, model, "its sub-volumes could not be split", context);
    SplitResult result;
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    result.nodes = static_cast<std::uint64_t>(model.mesh->NumberOfPoints());
    result.new_subvolumes = split.GetNbNewSubVolumes();
    result.subvolumes = ReportSubVolumes(*model.mesh);
    return result;
}

} // namespace KetSDK::MeshJobs
