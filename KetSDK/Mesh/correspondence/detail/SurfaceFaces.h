// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Mesh/correspondence/detail/CornerSort.h>
#include <KetSDK/Mesh/correspondence/detail/SurfaceMatcher.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

class MMeshBase;

namespace KetSDK::Mesh::Detail {

inline bool IsTetrahedron(MMeshElement const& e) noexcept {
    return e.GetNodeCount() == 4 || e.GetNodeCount() == 10;
}

// The faces of a mesh that a triangle may lie on, by ascending corners; each has a side for every element.
class SurfaceFaces {
public:
    // A face of an element.
    class Side {
    public:
        Side() = default;
        // Of the element with this number, and the nodes of its face in the order in which it winds.
        Side(std::uint32_t number, std::uint32_t face, std::array<MLong, 3> const& nodes) noexcept
            : element(number) {
            auto const after = [&nodes](std::size_t a, std::size_t b) {
                return static_cast<std::uint32_t>(nodes[a] > nodes[b]);
            };
            std::uint32_t const rank[] = {after(0, 1) + after(0, 2), 1 - after(0, 1) + after(1, 2),
                                          2 - after(0, 2) - after(1, 2)};
            for (std::size_t i = 0; i < 3; ++i)
                corners[rank[i]] = nodes[i];
            m_face_and_ranks = face << 4 | rank[1] << 2 | rank[0];
        }

        std::uint32_t Face() const noexcept { return m_face_and_ranks >> 4; }
        std::array<MLong, 3> Nodes() const noexcept {
            std::uint32_t const first = m_face_and_ranks & 3;
            std::uint32_t const second = m_face_and_ranks >> 2 & 3;
            return {corners[first], corners[second], corners[3 - first - second]};
        }
        auto operator<=>(Side const&) const = default;

        std::array<MLong, 3> corners; // the indices of the corner nodes, ascending
        std::uint32_t element;

    private:
        // The place of the first two nodes among the corners, two bits each; then the face.
        std::uint32_t m_face_and_ranks;
    };

    SurfaceFaces(MMeshBase const& mesh, std::vector<char> const& near, MappingLoop const& loop);

    std::span<SurfaceFace const> Faces() const noexcept { return m_faces; }
    // The sides of a face, by ascending element.
    std::span<Side const> SidesOf(std::size_t face) const noexcept {
        std::size_t const first = m_first_side[face];
        std::size_t const next = face + 1 < m_faces.size() ? m_first_side[face + 1] : m_sides.size();
        return std::span(m_sides).subspan(first, next - first);
    }

private:
    void FindSides(MMeshBase const& mesh, std::vector<char> const& near, MappingLoop const& loop);
    void JoinSides(MappingLoop const& loop);

    Support::Values<Side> m_sides;
    Support::Values<std::size_t> m_first_side; // by face
    Support::Values<SurfaceFace> m_faces;
};

} // namespace KetSDK::Mesh::Detail
