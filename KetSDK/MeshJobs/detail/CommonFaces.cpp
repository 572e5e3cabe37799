// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/CommonFaces.h>

#include <KetSDK/MeshJobs/Error.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace KetSDK::MeshJobs::Detail {

namespace {

constexpr std::size_t MostAtOneFace = 250;
constexpr unsigned int Corners = 4;

using Face = std::array<MMeshPoint const*, 3>;

// How many tetrahedra each node is a corner of, by its index.
std::vector<std::uint32_t> CountElements(MMeshBase const& mesh) {
    std::vector<std::uint32_t> counts(static_cast<std::size_t>(mesh.NumberOfPoints()));
    mesh.Elements().ForEachWithNodes([&counts](MMeshElement const& e, std::uint64_t) {
        for (unsigned int i = 0; i < Corners; ++i)
            ++counts[static_cast<std::size_t>(e.GetNode(i)->GetIndex())];
    });
    return counts;
}

// The faces that could have so many elements, with sorted corners, each as often as it has some.
std::vector<Face> CrowdedFaces(MMeshBase const& mesh, std::vector<std::uint32_t> const& counts) {
    auto const is_crowded = [&counts](MMeshPoint const* node) {
        return counts[static_cast<std::size_t>(node->GetIndex())] > MostAtOneFace;
    };
    std::vector<Face> faces;
    for (MMeshElement const& e : mesh.Elements())
        for (unsigned int opposite = 0; opposite < Corners; ++opposite) {
            Face face;
            for (unsigned int i = 0; i < 3; ++i)
                face[i] = e.GetNode((opposite + 1 + i) % Corners);
            if (!std::ranges::all_of(face, is_crowded))
                continue;
            std::ranges::sort(face);
            faces.push_back(face);
        }
    return faces;
}

} // namespace

void RequireFewAtEachFace(Model const& model) {
    std::vector<std::uint32_t> const counts = CountElements(*model.mesh);
    if (std::ranges::none_of(counts, [](std::uint32_t count) { return count > MostAtOneFace; }))
        return;
    std::vector<Face> faces = CrowdedFaces(*model.mesh, counts);
    std::ranges::sort(faces);
    for (auto first = faces.begin(); first != faces.end();) {
        auto const end = std::upper_bound(first, faces.end(), *first);
        if (static_cast<std::size_t>(end - first) > MostAtOneFace)
            throw FileError(model.file, std::to_string(end - first) +
                                            " tetrahedra have one face in common; neighbours are looked for "
                                            "among at most " +
                                            std::to_string(MostAtOneFace) + " (ketmesh check)");
        first = end;
    }
}

} // namespace KetSDK::MeshJobs::Detail
