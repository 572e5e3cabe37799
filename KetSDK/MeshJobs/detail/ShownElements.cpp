// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/ShownElements.h>

#include <KetSDK/Mesh/mesh/MMeshSolverFaces.h>
#include <KetSDK/Mesh/operators/MMeshFaces.h>
#include <KetSDK/Support/ParallelWork.h>

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

ShownElements ChooseShownElements(MMeshBase const& mesh, std::vector<PageField> const& fields,
                                  bool parallel) {
    std::vector<unsigned char> ends(static_cast<std::size_t>(mesh.NumberOfElements()), 0);
    std::vector<unsigned char> shown(ends.size(), 0);
    std::vector<FaceKey> interfaces; // a face is listed on one of its sides
    for (Mesh::BoundaryFace const& face : Mesh::FindBoundaryFaces(mesh, parallel)) {
        shown[face.element] = 1;
        if (face.outside)
            interfaces.push_back(KeyOf(*mesh.GetElement(face.element), face.face));
        else
            ends[face.element] |= static_cast<unsigned char>(1U << (face.face - 1));
    }
    std::ranges::sort(interfaces);
    auto const show = [&](MMeshElement const& element, std::uint64_t i) {
        ForEachFace(element, [&](std::uint8_t face) {
            if (shown[i] == 0 && std::ranges::binary_search(interfaces, KeyOf(element, face)))
                shown[i] = 1;
        });
    };
    Support::ComputeSteps({.items = shown.size(), .step = 4096, .parallel = parallel && !interfaces.empty()},
                          [&](std::uint64_t first, std::uint64_t last) {
                              mesh.Elements().ForEachWithNodes(first, last, show);
                          });
    for (PageField const& field : fields)
        for (std::uint64_t const worst : field.worst_elements)
            shown[worst] = 1;
    ShownElements result;
    for (std::size_t i = 0; i < shown.size(); ++i)
        if (shown[i] != 0) {
            result.elements.push_back(static_cast<std::uint32_t>(i));
            result.ends += static_cast<char>(ends[i]);
        }
    return result;
}

} // namespace KetSDK::MeshJobs::Detail
