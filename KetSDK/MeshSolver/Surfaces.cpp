// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/Surfaces.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

namespace KetSDK::MeshSolver {

std::vector<MeshSurface> FindSurfaces(MMeshBase const& mesh, std::vector<std::string> const& names) {
    // By the numbers inside and outside; where the mesh ends comes first.
    std::map<std::pair<int, std::optional<int>>, std::vector<FaceOfElement>> by_pair;
    for (Mesh::BoundaryFace const& face : Mesh::FindBoundaryFaces(mesh))
        by_pair[{face.inside, face.outside}].push_back({face.element, face.face});
    auto const name_of = [&names](std::optional<int> number) {
        return number && *number >= 0 && static_cast<std::size_t>(*number) < names.size()
                   ? names[static_cast<std::size_t>(*number)]
                   : std::string();
    };
    std::vector<MeshSurface> surfaces;
    for (auto& [pair, faces] : by_pair) {
        std::ranges::sort(faces);
        surfaces.push_back(
            {name_of(pair.first) + "-" + name_of(pair.second), !pair.second, std::move(faces)});
    }
    return surfaces;
}

std::vector<std::uint32_t> NodesOnFaces(MMeshBase const& mesh, std::vector<FaceOfElement> const& faces) {
    std::vector<std::uint32_t> nodes;
    for (FaceOfElement const& face : faces) {
        MMeshElement const& e = *mesh.GetElement(face.element);
        for (unsigned char const i : NodesOfFace(e.GetNodeCount(), face.face).All())
            nodes.push_back(static_cast<std::uint32_t>(e.GetNode(i)->GetIndex()));
    }
    std::ranges::sort(nodes);
    nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
    return nodes;
}

} // namespace KetSDK::MeshSolver
