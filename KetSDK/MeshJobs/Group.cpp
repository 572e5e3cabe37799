#include <KetSDK/MeshJobs/Group.h>

#include <KetSDK/Mesh/operators/MMeshOperatorGroupSubVolumes.h>
#include <KetSDK/MeshJobs/detail/CountMatches.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/SurfaceMapping.h>

#include <string>

namespace KetSDK::MeshJobs {

namespace {

void WarnOfBareFaces(Model const& model, MatchCounts const& counts, Context const& context) {
    std::uint64_t const outside = counts.boundary.without_triangle;
    std::uint64_t const between = counts.interfaces.without_triangle;
    if (outside + between > 0)
        context.Warn(Detail::NameOf(model) + ": " + std::to_string(outside) + " faces outside and " +
                     std::to_string(between) +
                     " between sub-volumes have no triangle; a sub-volume with none on any of its faces has "
                     "no name");
}

} // namespace

GroupResult Group(Model& model, SurfaceModel const& surface, GroupOptions const& options,
                  Context const& context) {
    RequireTetrahedra(model);
    GroupResult result;
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    result.groups_of = static_cast<std::uint64_t>(model.mesh->NumberOfSubVolumes());
    Detail::SurfaceMapping const mapping(model, surface, options.tolerance, context);
    result.counts = Detail::CountMatches(model, surface, context);
    MMeshOperatorGroupSubVolumes group;
    group.SetStl(surface.surfaces.get());
    group.SetProgressDelegate(context.progress);
    Detail::RunOperator(group, model, "its sub-volumes could not be grouped", context);
    result.subvolumes = ReportSubVolumes(*model.mesh);
    mapping.WarnWhenApart(context);
    WarnOfBareFaces(model, result.counts, context);
    return result;
}

} // namespace KetSDK::MeshJobs
