// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/Surfaces.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <bit>
#include <map>
#include <optional>
#include <utility>

namespace KetSDK::MeshSolver {

std::vector<MeshSurface> FindSurfaces(MMeshBase const& mesh, std::vector<std::string> const& names,
                                      bool parallel) {
    // By the numbers inside and outside; where the mesh ends comes first.
    std::map<std::pair<int, std::optional<int>>, std::vector<FaceOfElement>> by_pair;
    auto last = by_pair.end();
    for (Mesh::BoundaryFace const& face : Mesh::FindBoundaryFaces(mesh, parallel)) {
        if (std::pair const pair(face.inside, face.outside); last == by_pair.end() || last->first != pair)
            last = by_pair.try_emplace(pair).first;
        last->second.push_back({face.element, face.face});
    }
    auto const name_of = [&names](std::optional<int> number) {
        return number && *number >= 0 && static_cast<std::size_t>(*number) < names.size()
                   ? names[static_cast<std::size_t>(*number)]
                   : std::string();
    };
    std::vector<MeshSurface> surfaces;
    surfaces.reserve(by_pair.size());
    for (auto& [pair, faces] : by_pair)
        surfaces.push_back(
            {name_of(pair.first) + "-" + name_of(pair.second), !pair.second, std::move(faces)});
    Support::ComputeSteps({.items = surfaces.size(), .parallel = parallel},
                          [&surfaces](std::uint64_t i, std::uint64_t) {
                              std::ranges::sort(surfaces[static_cast<std::size_t>(i)].faces);
                          });
    return surfaces;
}

std::vector<std::uint32_t> NodesOnFaces(MMeshBase const& mesh, std::vector<FaceOfElement> const& faces,
                                        bool parallel) {
    using Nodes = std::vector<std::uint32_t>;
    std::vector<std::uint64_t> on_faces(static_cast<std::size_t>(mesh.NumberOfPoints()) / 64 + 1,
                                        0); // a bit each
    Support::ComputeSteps<Nodes>(
        {.items = faces.size(), .step = 1024, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last, Nodes& nodes) {
            nodes.clear();
            for (auto i = static_cast<std::size_t>(first); i < last; ++i) {
                MMeshElement const& e = *mesh.GetElement(faces[i].element);
                for (unsigned char const k : NodesOfFace(e.GetNodeCount(), faces[i].face).All())
                    nodes.push_back(static_cast<std::uint32_t>(e.GetNode(k)->GetIndex()));
            }
        },
        [&](std::uint64_t, std::uint64_t, Nodes const& nodes) {
            for (std::uint32_t const node : nodes)
                on_faces[node / 64] |= std::uint64_t{1} << node % 64;
            return true;
        });
    Nodes all;
    for (std::size_t i = 0; i < on_faces.size(); ++i)
        for (std::uint64_t bits = on_faces[i]; bits != 0; bits &= bits - 1)
            all.push_back(static_cast<std::uint32_t>(64 * i) +
                          static_cast<std::uint32_t>(std::countr_zero(bits)));
    return all;
}

} // namespace KetSDK::MeshSolver
