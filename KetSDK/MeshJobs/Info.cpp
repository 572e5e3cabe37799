#include <KetSDK/MeshJobs/Info.h>

#include <KetSDK/MeshJobs/detail/VolumeOf.h>

namespace KetSDK::MeshJobs {

InfoResult Info(Model const& model, Context const& context) {
    MMeshBase const& mesh = *model.mesh;
    InfoResult result;
    result.elements = static_cast<std::uint64_t>(mesh.NumberOfElements());
    result.nodes = static_cast<std::uint64_t>(mesh.NumberOfPoints());
    result.kinds = CountKinds(mesh);
    result.subvolumes = ReportSubVolumes(mesh);
    result.volume = Detail::VolumeOf(mesh);
    result.box = BoxOf(mesh);
    result.rounding = model.rounding;
    result.memory = static_cast<std::uint64_t>(mesh.MemoryUsed());
    context.ThrowIfCancelled();
    return result;
}

} // namespace KetSDK::MeshJobs
