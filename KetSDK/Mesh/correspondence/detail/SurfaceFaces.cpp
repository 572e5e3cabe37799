// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/correspondence/detail/SurfaceFaces.h>

#include <KetSDK/Mesh/correspondence/detail/ParallelSort.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementPrefetch.h>

#include <algorithm>
#include <functional>

using Descriptor = MMeshElementDescriptor;

namespace KetSDK::Mesh::Detail {

SurfaceFaces::SurfaceFaces(MMeshBase const& mesh, SurfaceMatcher const& matcher, MappingLoop const& loop) {
    std::vector<char> near(static_cast<std::size_t>(mesh.NumberOfPoints()));
    loop(near.size(), 1024, [&](std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i)
            near[i] = matcher.IsNear(*mesh.GetRandomPoint(i));
    });
    FindSides(mesh, near, loop);
    // By corners and then by element: the order does not tell who found them.
    Sort(m_sides, std::less<>(), loop.IsParallel());
    JoinSides(mesh);
}

void SurfaceFaces::FindSides(MMeshBase const& mesh, std::vector<char> const& near, MappingLoop const& loop) {
    constexpr std::size_t block = 4096;
    auto const count = static_cast<std::size_t>(mesh.Elements().GetNumElements());
    std::vector<std::vector<Side>> found((count + block - 1) / block);
    loop(count, block, [&](std::size_t first, std::size_t last) {
        std::vector<Side>& mine = found[first / block];
        mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t number) {
            if (!IsTetrahedron(e))
                return;
            MLong node[4];
            unsigned int near_nodes = 0;
            for (unsigned int i = 0; i < 4; ++i) {
                node[i] = e.GetNode(i)->GetIndex();
                near_nodes += near[static_cast<std::size_t>(node[i])] != 0;
            }
            for (unsigned int face = 0; near_nodes >= 3 && face < 4; ++face) {
                auto const& at = Descriptor::descr_triangle_point_ORIENTED[face];
                std::array<MLong, 3> key = {node[at[0]], node[at[1]], node[at[2]]};
                if (std::ranges::all_of(key, [&](MLong n) { return near[static_cast<std::size_t>(n)]; })) {
                    std::ranges::sort(key);
                    mine.push_back({key, static_cast<std::uint32_t>(number), face});
                }
            }
        });
    });
    for (std::vector<Side> const& some : found)
        m_sides.insert(m_sides.end(), some.begin(), some.end());
}

void SurfaceFaces::JoinSides(MMeshBase const& mesh) {
    // By corners, the elements come in any order. Of their nodes only the addresses are read.
    auto const element_at = [&](std::size_t i) { return mesh.GetElement(m_sides[i].element); };
    for (std::size_t i = 0; i < m_sides.size(); ++i) {
        PrefetchWithNodeArray<12>(i, m_sides.size(), element_at);
        Side const& side = m_sides[i];
        if (i > 0 && m_sides[i - 1].key == side.key) {
            m_faces.back().exterior = false;
            continue;
        }
        MMeshElement const& e = *mesh.GetElement(side.element);
        auto const& at = Descriptor::descr_triangle_point_ORIENTED[side.face];
        m_first_side.push_back(i);
        m_faces.push_back({{e.GetNode(at[0]), e.GetNode(at[1]), e.GetNode(at[2])}, true});
    }
    m_first_side.push_back(m_sides.size());
}

} // namespace KetSDK::Mesh::Detail
