#include <KetSDK/MeshJobs/Merge.h>

#include <KetSDK/Mesh/operators/MMeshMergeVolumesOperator.h>
#include <KetSDK/Mesh/persistence/MMeshCarrying.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/FieldArrays.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>

#include <array>

namespace KetSDK::MeshJobs {

MergeResult Merge(Model& first, Model const& second, Context const& context) {
    std::vector<MMeshArray> const arrays_of_first = Detail::ArraysWithFields(first);
    std::vector<MMeshArray> const arrays_of_second = Detail::ArraysWithFields(second);
    MMeshOrigins of_first, of_second;
    MMeshMergeVolumesOperator merge(first.mesh.get(), second.mesh.get());
    merge.SetOrigins(&of_first, &of_second);
    if (!merge.Operate())
        throw FileError(second.file, "it could not be added to " + Detail::NameOf(first));
    first.fields.clear(); // they have no values on the nodes that were added
    first.arrays = CarryArrays(
        std::array{MParentArrays{&arrays_of_first, &of_first}, MParentArrays{&arrays_of_second, &of_second}});
    context.ThrowIfCancelled();
    MergeResult result;
    result.elements = static_cast<std::uint64_t>(first.mesh->NumberOfElements());
    result.nodes = static_cast<std::uint64_t>(first.mesh->NumberOfPoints());
    result.joined_nodes = of_second.joined_nodes;
    result.subvolumes = ReportSubVolumes(*first.mesh);
    return result;
}

} // namespace KetSDK::MeshJobs
