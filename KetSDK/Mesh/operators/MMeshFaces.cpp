// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshFaces.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/detail/DisjointSets.h>
#include <KetSDK/Mesh/operators/detail/FaceMatcher.h>

#include <stdexcept>
#include <utility>

namespace KetSDK::Mesh {

namespace {

using Detail::ElementFace;
using Detail::FaceMatcher;

int NumberOfFace(unsigned char n, ElementFace const& face) {
    return Detail::SolverFaceOf(n, Detail::NodesOnFace(n, face));
}

FaceNodes MakeFaceNodes(unsigned char n, ElementFace const& face) {
    FaceNodes nodes;
    nodes.corners = face.corners;
    for (unsigned int i = 0; i < face.corners; ++i)
        nodes.node[nodes.count++] = face.node[i];
    for (unsigned int i = 0; n == 10 && i < 3; ++i)
        nodes.node[nodes.count++] = Detail::MidNodeBetween(face.node[i], face.node[(i + 1) % 3]);
    return nodes;
}

// By the number of nodes of an element and the number of the face.
using FaceTable = std::array<std::array<FaceNodes, 7>, 11>;

FaceTable MakeFaceTable() {
    FaceTable table{};
    for (unsigned char const n : std::to_array<unsigned char>({4, 6, 8, 10}))
        for (ElementFace const& face : Detail::FacesOfElement(n))
            table[n][static_cast<std::size_t>(NumberOfFace(n, face))] = MakeFaceNodes(n, face);
    return table;
}

// The numbers of faces, by the number of nodes of an element and the place of the face in FacesOfElement.
using FaceNumbers = std::array<std::array<std::uint8_t, 6>, 11>;

FaceNumbers MakeFaceNumbers() {
    FaceNumbers numbers{};
    for (unsigned char const n : std::to_array<unsigned char>({4, 6, 8, 10})) {
        std::size_t i = 0;
        for (ElementFace const& face : Detail::FacesOfElement(n))
            numbers[n][i++] = static_cast<std::uint8_t>(NumberOfFace(n, face));
    }
    return numbers;
}

template <bool WithQuadrilaterals>
std::vector<BoundaryFace> CollectBoundaryFaces(MMeshBase const& mesh, bool parallel) {
    static FaceNumbers const face_numbers = MakeFaceNumbers();
    auto const* const numbers = std::as_const(*mesh.GetElementMasks()).GetSubvolumeMask();
    auto const subvolume = [numbers](MMeshElement const& e) { return numbers ? numbers->GetValue(e) : 0; };
    std::vector<BoundaryFace> faces;
    FaceMatcher<WithQuadrilaterals>(mesh, parallel, subvolume)
        .ForEachBoundaryFace(
            [&](std::uint32_t element, std::uint32_t face, int own, int other, bool has_neighbour) {
                if (has_neighbour && own > other)
                    return;
                unsigned char const n = mesh.GetElement(element)->GetNodeCount();
                faces.push_back({own, has_neighbour ? std::optional(other) : std::nullopt, element,
                                 face_numbers[n][face]});
            });
    return faces;
}

} // namespace

FaceNodes const& NodesOfFace(unsigned char n, std::uint8_t face) {
    static FaceTable const table = MakeFaceTable();
    FaceNodes const& nodes = table.at(n).at(face);
    if (nodes.count == 0)
        throw std::out_of_range("no such face");
    return nodes;
}

std::vector<BoundaryFace> FindBoundaryFaces(MMeshBase const& mesh, bool parallel) {
    return Detail::HasTrianglesOnly(mesh.Elements(), parallel) ? CollectBoundaryFaces<false>(mesh, parallel)
                                                               : CollectBoundaryFaces<true>(mesh, parallel);
}

std::vector<std::uint32_t> FindBodies(MMeshBase const& mesh, bool parallel) {
    Detail::DisjointSets bodies(static_cast<std::size_t>(mesh.NumberOfElements()), parallel);
    auto const join = [&bodies](std::uint32_t a, std::uint32_t b) { bodies.Join(a, b); };
    if (Detail::HasTrianglesOnly(mesh.Elements(), parallel))
        FaceMatcher<false>(mesh, parallel, Detail::OneGroup()).ForEachConnectionAtOnce(join);
    else
        FaceMatcher<true>(mesh, parallel, Detail::OneGroup()).ForEachConnectionAtOnce(join);
    auto const first_of = bodies.FirstOfEach();
    return {first_of.begin(), first_of.end()};
}

} // namespace KetSDK::Mesh
