// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Project.h>

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/operators/MMeshProjectTetOnStlOperator.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/FramesOfInputs.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/Threads.h>
#include <KetSDK/MeshJobs/detail/Uncancelled.h>
#include <KetSDK/MeshJobs/detail/VolumeOf.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Triangles/DataQueries/MStlTriangleTree.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace KetSDK::MeshJobs {

namespace {

double SmallestQuality(MMeshBase const& mesh, bool parallel) {
    double smallest = std::numeric_limits<double>::infinity();
    Support::ComputeSteps<double>(
        {.items = mesh.Elements().GetNumElements(), .step = 4096, .parallel = parallel},
        [&mesh](std::uint64_t first, std::uint64_t last, double& quality) {
            quality = std::numeric_limits<double>::infinity();
            mesh.Elements().ForEachWithNodes(first, last, [&quality](MMeshElement const& e, std::uint64_t) {
                quality = std::min(quality, TetrahedronBase<double>(&e).QualityScaledJacobian());
            });
        },
        [&smallest](std::uint64_t, std::uint64_t, double const& quality) {
            smallest = std::min(smallest, quality);
            return true;
        });
    return smallest;
}

ProjectResult::State Measure(MMeshBase const& mesh, std::vector<MMeshPoint*> const& nodes,
                             MStlTriangleTree const& tree, Context const& context, bool parallel) {
    ProjectResult::State state;
    state.volume = Detail::VolumeOf(mesh);
    state.quality = SmallestQuality(mesh, parallel);
    using Distances = std::vector<double>;
    Support::ComputeSteps<Distances>(
        {.items = nodes.size(), .step = 256, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last, Distances& distances) {
            distances.clear();
            for (std::uint64_t i = first; i < last; ++i)
                distances.push_back(
                    tree.FindNearest(nodes[static_cast<std::size_t>(i)]->GetPosition()).distance);
        },
        [&](std::uint64_t, std::uint64_t, Distances const& distances) {
            context.ThrowIfCancelled();
            for (double const distance : distances) {
                state.mean_distance += distance / static_cast<double>(nodes.size());
                state.largest_distance = std::max(state.largest_distance, distance);
            }
            return true;
        });
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
    std::optional<MStlTriangleTree> tree;
    std::vector<MMeshPoint*> nodes;
    ProjectResult::State before;
    Detail::WithThreads(context, [&](bool parallel) {
        project.SetParallel(parallel);
        tree.emplace(*surface.surfaces, parallel);
        nodes = project.FindNodes();
        before = Measure(*model.mesh, nodes, *tree, context, parallel);
    });
    Detail::RunOperator(project, model, "it could not be moved onto the surface", context);
    ProjectResult result = Count(project);
    result.before = before;
    Detail::WithThreads(context, [&](bool parallel) {
        result.after = Measure(*model.mesh, nodes, *tree, Detail::Uncancelled(context), parallel);
    });
    if (result.nodes > 0 && result.too_far == result.nodes)
        context.Warn(Detail::NameOf(surface) + ": it comes within " + FormatGeneral(options.distance) +
                     " mm of no node at the boundary of " + Detail::NameOf(model) +
                     "; is it in the same unit?");
    return result;
}

} // namespace KetSDK::MeshJobs
