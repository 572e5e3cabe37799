#include <host/MatchCounts.h>

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceChecker.h>

namespace ketmesh {

Json MatchCountsOf(MMeshCorrespondenceChecker const& checker) {
    Json counts;
    counts["boundary_faces"] = {{"with_triangle", checker.GetNbBoundaryFacesWithTriangle()},
                                {"without_triangle", checker.GetNbBoundaryFacesWithoutTriangle()}};
    counts["interface_faces"] = {{"with_triangle", checker.GetNbInterfaceFacesWithTriangle()},
                                 {"without_triangle", checker.GetNbInterfaceFacesWithoutTriangle()}};
    counts["inner_faces"] = {{"with_triangle", checker.GetNbInnerFacesWithTriangle()}};
    counts["triangles"] = {{"with_face", checker.GetNbTrianglesWithFace()},
                           {"without_face", checker.GetNbTrianglesWithoutFace()}};
    counts["wrong_way"] = checker.GetNbTrianglesDisagreeing();
    return counts;
}

} // namespace ketmesh
