// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/ShownElements.h>

#include <KetSDK/Mesh/mesh/MMeshSolverFaces.h>
#include <KetSDK/Mesh/operators/MMeshFaces.h>

#include <algorithm>
#include <array>
#include <limits>

namespace KetSDK::MeshJobs::Detail {

namespace {

// Enough of a face to know it again: its lowest nodes.
using FaceKey = std::array<MLong, 3>;

FaceKey KeyOf(MMeshElement const& element, std::uint8_t face) {
    Mesh::FaceNodes const& nodes = Mesh::NodesOfFace(element.GetNodeCount(), face);
    std::array<MLong, 4> corners{};
    corners.fill(std::numeric_limits<MLong>::max()); // a triangle's fourth place sorts to the end
    for (unsigned int i = 0; i < nodes.corners; ++i)
        corners[i] = element.GetNode(nodes.node[i])->GetIndex();
    std::ranges::sort(corners);
    return {corners[0], corners[1], corners[2]};
}

template <typename Visit>
void ForEachFace(MMeshElement const& element, Visit const& visit) {
    for (std::size_t face = 1; face <= MMeshSolverFacesOf(element.GetNodeCount()).size(); ++face)
        visit(static_cast<std::uint8_t>(face));
}

} // namespace

ShownElements ChooseShownElements(MMeshBase const& mesh, std::vector<PageField> const& fields) {
    std::vector<unsigned char> ends(static_cast<std::size_t>(mesh.NumberOfElements()), 0);
    std::vector<bool> shown(ends.size(), false);
    std::vector<FaceKey> interfaces; // a face is listed on one of its sides
    for (Mesh::BoundaryFace const& face : Mesh::FindBoundaryFaces(mesh)) {
        shown[face.element] = true;
        if (face.outside)
            interfaces.push_back(KeyOf(*mesh.GetElement(face.element), face.face));
        else
            ends[face.element] |= static_cast<unsigned char>(1U << (face.face - 1));
    }
    std::ranges::sort(interfaces);
    std::size_t i = 0;
    for (MMeshElement const& element : mesh.Elements()) {
        ForEachFace(element, [&](std::uint8_t face) {
            if (!shown[i] && std::ranges::binary_search(interfaces, KeyOf(element, face)))
                shown[i] = true;
        });
        ++i;
    }
    for (PageField const& field : fields)
        for (std::uint64_t const worst : field.worst_elements)
            shown[worst] = true;
    ShownElements result;
    for (i = 0; i < shown.size(); ++i)
        if (shown[i]) {
            result.elements.push_back(static_cast<std::uint32_t>(i));
            result.ends += static_cast<char>(ends[i]);
        }
    return result;
}

} // namespace KetSDK::MeshJobs::Detail
