// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/correspondence/detail/SurfaceFaces.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>

using Descriptor = MMeshElementDescriptor;

namespace KetSDK::Mesh::Detail {

SurfaceFaces::SurfaceFaces(MMeshBase const& mesh, std::vector<char> const& near, MappingLoop const& loop) {
    FindSides(mesh, near, loop);
    SortByCorners(m_sides, near.size(), loop);
    JoinSides(loop);
}

void SurfaceFaces::FindSides(MMeshBase const& mesh, std::vector<char> const& near, MappingLoop const& loop) {
    auto const find = [&](std::size_t first, std::size_t last, std::vector<Side>& found) {
        found.clear();
        mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t number) {
            if (!IsTetrahedron(e))
                return;
            MLong node[4];
            unsigned int near_nodes = 0; // a bit for each
            for (unsigned int i = 0; i < 4; ++i) {
                node[i] = e.GetNode(i)->GetIndex();
                near_nodes |= static_cast<unsigned int>(near[static_cast<std::size_t>(node[i])] != 0) << i;
            }
            if (std::popcount(near_nodes) < 3)
                return;
            for (unsigned int face = 0; face < 4; ++face) {
                auto const& at = Descriptor::descr_triangle_point_ORIENTED[face];
                unsigned int const needed = 1u << at[0] | 1u << at[1] | 1u << at[2];
                if ((near_nodes & needed) == needed)
                    found.emplace_back(static_cast<std::uint32_t>(number), face,
                                       std::array{node[at[0]], node[at[1]], node[at[2]]});
            }
        });
    };
    loop.Collect<std::vector<Side>>(static_cast<std::size_t>(mesh.Elements().GetNumElements()), 1024, find,
                                    [this](std::size_t, std::vector<Side> const& found) {
                                        m_sides.insert(m_sides.end(), found.begin(), found.end());
                                    });
}

void SurfaceFaces::JoinSides(MappingLoop const& loop) {
    constexpr std::size_t block = 4096;
    auto const begins_face = [this](std::size_t i) {
        return i == 0 || m_sides[i - 1].corners != m_sides[i].corners;
    };
    std::vector<std::size_t> first_faces; // of the blocks
    std::size_t faces = 0;
    loop.Collect<std::size_t>(
        m_sides.size(), block,
        [&](std::size_t first, std::size_t last, std::size_t& count) {
            count = 0;
            for (std::size_t i = first; i < last; ++i)
                count += begins_face(i);
        },
        [&](std::size_t, std::size_t count) { first_faces.push_back(std::exchange(faces, faces + count)); });
    m_first_side.resize(faces);
    m_faces.resize(faces);
    loop(m_sides.size(), block, [&](std::size_t first, std::size_t last) {
        std::size_t face = first_faces[first / block];
        for (std::size_t i = first; i < last; ++i)
            if (begins_face(i)) {
                m_first_side[face] = i;
                m_faces[face++] = {m_sides[i].Nodes(), i + 1 == m_sides.size() || begins_face(i + 1)};
            }
    });
}

} // namespace KetSDK::Mesh::Detail
