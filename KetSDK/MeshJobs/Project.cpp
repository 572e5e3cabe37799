// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Project.h>

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/operators/MMeshProjectTetOnStlOperator.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/FramesOfInputs.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/VolumeOf.h>
#include <KetSDK/Triangles/DataQueries/MStlTriangleTree.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace KetSDK::MeshJobs {

namespace {

ProjectResult::State Measure(MMeshBase const& mesh, std::vector<MMeshPoint*> const& nodes,
                             MStlTriangleTree const& tree, Context const& context) {
    ProjectResult::State state;
    state.volume = Detail::VolumeOf(mesh);
    state.quality = std::numeric_limits<double>::infinity();
    mesh.Elements().ForEachWithNodes([&state](MMeshElement const& e, std::uint64_t) {
        state.quality = std::min(state.quality, TetrahedronBase<double>(&e).QualityScaledJacobian());
    });
    for (MMeshPoint const* const p : nodes) {
        context.ThrowIfCancelled();
        double const distance = tree.FindNearest(p->GetPosition()).distance;
        state.mean_distance += distance / static_cast<double>(nodes.size());
        state.largest_distance = std::max(state.largest_distance, distance);
    }
    return state;
}

ProjectResult Count(MMeshProjectTetOnStlOperator const& project) {
    ProjectResult result;
    result.nodes = project.GetNbNodes();
    result.moved = project.GetNbMoved();
    result.shortened = project.GetNbShortened();
    result.left = project.GetNbLeft();
    result.too_far = project.GetNbFar();
    result.on_surface = project.GetNbOnSurface();
    result.held = project.GetNbHeld();
    result.limited = project.GetNbLimited();
    result.largest_move = project.GetLargestMove();
    return result;
}

} // namespace

ProjectResult Project(Model& model, SurfaceModel const& given, ProjectOptions const& options,
                      Context const& context) {
    RequireTetrahedra(model);
    auto const turned = Detail::InFrameOf(model, given, context);
    SurfaceModel const& surface = turned ? *turned : given;
    MMeshProjectTetOnStlOperator project;
    project.SetMesh(model.mesh.get());
    project.SetStl(surface.surfaces.get());
    project.SetDistance(options.distance);
    project.SetInterfaces(options.interfaces);
    project.SetMinQuality(options.min_quality);
    project.SetProgressDelegate(context.progress);
    MStlTriangleTree const tree(*surface.surfaces);
    std::vector<MMeshPoint*> const nodes = project.FindNodes();
    ProjectResult::State const before = Measure(*model.mesh, nodes, tree, context);
    Detail::RunOperator(project, model, "it could not be moved onto the surface", context);
    ProjectResult result = Count(project);
    result.before = before;
    result.after = Measure(*model.mesh, nodes, tree, context);
    if (result.nodes > 0 && result.too_far == result.nodes)
        context.Warn(Detail::NameOf(surface) + ": it comes within " + FormatGeneral(options.distance) +
                     " mm of no node at the boundary of " + Detail::NameOf(model) +
                     "; is it in the same unit?");
    return result;
}

} // namespace KetSDK::MeshJobs
