#include <host/ElementKinds.h>

#include <host/FileError.h>

namespace ketmesh {

std::vector<ElementKind> CountKinds(MMeshBase const& mesh) {
    std::vector<ElementKind> kinds = {{"tet4", 4, 0}, {"tet10", 10, 0}, {"hex8", 8, 0}, {"wedge6", 6, 0}};
    for (MMeshElement const& e : mesh.Elements())
        for (ElementKind& kind : kinds)
            kind.elements += kind.nodes == e.GetNodeCount();
    return kinds;
}

void RequireTetrahedra(MMeshBase const& mesh, std::string const& file) {
    std::string others;
    bool all_convertible = true; // hexahedra are, wedges are not
    for (ElementKind const& kind : CountKinds(mesh))
        if (kind.nodes != 4 && kind.nodes != 10 && kind.elements > 0) {
            others += (others.empty() ? "" : ", ") + std::to_string(kind.elements) + " " + kind.name;
            all_convertible &= kind.nodes == 8;
        }
    if (!others.empty())
        throw FileError(
            file, "tetrahedra alone are needed, but there are other elements (" + others + ")" +
                      (all_convertible
                           ? "; cut them into tetrahedra first (ketmesh convert)"
                           : "; hexahedra can be cut into tetrahedra (ketmesh convert), wedges cannot"));
}

void AddNoteOnCorners(Json& report, MMeshBase const& mesh) {
    for (ElementKind const& kind : CountKinds(mesh))
        if (kind.nodes == 10 && kind.elements > 0)
            report["note"] = std::to_string(kind.elements) +
                             " ten-node tetrahedra were taken by their corners, with straight edges";
}

} // namespace ketmesh
