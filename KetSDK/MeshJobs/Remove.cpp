// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Remove.h>

#include <KetSDK/Mesh/operators/MMeshOperatorRemoveSubVolume.h>
#include <KetSDK/Mesh/persistence/MMeshCarrying.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/FieldArrays.h>

namespace KetSDK::MeshJobs {

RemoveResult Remove(Model const& model, RemoveOptions const& options, Context const& context) {
    RemoveResult result;
    MMeshOperatorRemoveSubVolume remove;
    remove.SetMesh(model.mesh.get());
    remove.SetOrigins(&result.origins);
    for (MMeshSubVolume* const sub_volume : FindSubVolumes(model, options.names))
        remove.AddSubVolumeToRemove(sub_volume);
    if (!remove.Operate())
        throw FileError(model.file, "its sub-volumes could not be removed");
    result.model.mesh.reset(remove.GetNewMesh());
    result.model.frame = model.frame;
    context.ThrowIfCancelled();
    MMeshBase const& rest = *result.model.mesh;
    if (rest.NumberOfElements() == 0)
        throw FileError(model.file, "nothing would be left of it without these sub-volumes");
    result.model.arrays = CarryArrays(Detail::ArraysWithFields(model), result.origins);
    result.elements = static_cast<std::uint64_t>(rest.NumberOfElements());
    result.nodes = static_cast<std::uint64_t>(rest.NumberOfPoints());
    result.removed_elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements()) - result.elements;
    result.removed_nodes = static_cast<std::uint64_t>(model.mesh->NumberOfPoints()) - result.nodes;
    result.subvolumes = ReportSubVolumes(rest);
    return result;
}

} // namespace KetSDK::MeshJobs
