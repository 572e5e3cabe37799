// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Match.h>

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceChecker.h>
#include <KetSDK/MeshJobs/detail/CommonFaces.h>
#include <KetSDK/MeshJobs/detail/CountMatches.h>
#include <KetSDK/MeshJobs/detail/SurfaceMapping.h>

namespace KetSDK::MeshJobs {

std::uint64_t MatchCounts::GetMismatches() const noexcept {
    std::uint64_t const between = interfaces.with_triangle > 0 ? interfaces.without_triangle : 0;
    return boundary.without_triangle + between + without_face + wrong_way;
}

MatchCounts Detail::CountMatches(Model const& model, SurfaceModel const& surface, Context const& context) {
    MMeshCorrespondenceChecker const checker(surface.surfaces.get(), model.mesh.get());
    context.ThrowIfCancelled();
    MatchCounts counts;
    counts.boundary = {checker.GetNbBoundaryFacesWithTriangle(), checker.GetNbBoundaryFacesWithoutTriangle()};
    counts.interfaces = {checker.GetNbInterfaceFacesWithTriangle(),
                         checker.GetNbInterfaceFacesWithoutTriangle()};
    counts.inner = checker.GetNbInnerFacesWithTriangle();
    counts.with_face = checker.GetNbTrianglesWithFace();
    counts.without_face = checker.GetNbTrianglesWithoutFace();
    counts.wrong_way = checker.GetNbTrianglesDisagreeing();
    return counts;
}

MatchResult Match(Model const& model, SurfaceModel const& surface, MatchOptions const& options,
                  Context const& context) {
    RequireTetrahedra(model);
    Detail::RequireFewAtEachFace(model);
    Detail::SurfaceMapping const mapping(model, surface, options.tolerance, context);
    MatchResult result;
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    result.counts = Detail::CountMatches(model, mapping.GetSurface(), context);
    mapping.WarnWhenApart(context);
    return result;
}

} // namespace KetSDK::MeshJobs
