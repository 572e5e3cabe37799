// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Match.h>

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceChecker.h>
#include <KetSDK/MeshJobs/detail/CommonFaces.h>
#include <KetSDK/MeshJobs/detail/CountMatches.h>
#include <KetSDK/MeshJobs/detail/FramesOfInputs.h>
#include <KetSDK/MeshJobs/detail/SurfaceMapping.h>
#include <KetSDK/MeshJobs/detail/Threads.h>
#include <KetSDK/MeshJobs/detail/ToTetrahedra.h>

namespace KetSDK::MeshJobs {

std::uint64_t MatchCounts::GetMismatches() const noexcept {
    std::uint64_t const between = interfaces.with_triangle > 0 ? interfaces.without_triangle : 0;
    return boundary.without_triangle + between + without_face + wrong_way;
}

MatchCounts Detail::CountMatches(Model const& model, SurfaceModel const& surface, Context const& context) {
    MatchCounts counts;
    WithThreads(context, [&](bool parallel) {
        MMeshCorrespondenceChecker const checker(surface.surfaces.get(), model.mesh.get(), parallel);
        counts.boundary = {checker.GetNbBoundaryFacesWithTriangle(),
                           checker.GetNbBoundaryFacesWithoutTriangle()};
        counts.interfaces = {checker.GetNbInterfaceFacesWithTriangle(),
                             checker.GetNbInterfaceFacesWithoutTriangle()};
        counts.inner = checker.GetNbInnerFacesWithTriangle();
        counts.with_face = checker.GetNbTrianglesWithFace();
        counts.without_face = checker.GetNbTrianglesWithoutFace();
        counts.wrong_way = checker.GetNbTrianglesDisagreeing();
    });
    context.ThrowIfCancelled();
    return counts;
}

MatchResult Match(Model const& model, SurfaceModel const& given, MatchOptions const& options,
                  Context const& context) {
    auto const turned = Detail::InFrameOf(model, given, context);
    SurfaceModel const& surface = turned ? *turned : given;
    Detail::ToTetrahedra const tetrahedra(model, &surface, options.tolerance, context);
    Detail::RequireFewAtEachFace(tetrahedra.Get());
    Detail::SurfaceMapping const mapping(tetrahedra.Get(), surface, options.tolerance, context);
    MatchResult result;
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    result.solids = tetrahedra.GetReport();
    result.taken_by_corners = CountTenNodeTetrahedra(*model.mesh);
    result.counts = Detail::CountMatches(tetrahedra.Get(), surface, context);
    mapping.WarnWhenApart(context);
    return result;
}

} // namespace KetSDK::MeshJobs
