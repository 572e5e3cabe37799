// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
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
    struct Side {
        std::array<MLong, 3> key; // the indices of the corner nodes, ascending
        std::uint32_t element;
        std::uint32_t face;
        auto operator<=>(Side const&) const = default;
    };

    SurfaceFaces(MMeshBase const& mesh, SurfaceMatcher const& matcher, MappingLoop const& loop);

    std::span<SurfaceFace const> Faces() const noexcept { return m_faces; }
    // The sides of all faces, in the order of the faces.
    std::span<Side const> Sides() const noexcept { return m_sides; }
    // The index of the first side of a face; for the number of faces that of all sides.
    std::size_t FirstSide(std::size_t face) const noexcept { return m_first_side[face]; }

private:
    void FindSides(MMeshBase const& mesh, std::vector<char> const& near, MappingLoop const& loop);
    void JoinSides(MMeshBase const& mesh);

    std::vector<Side> m_sides;
    std::vector<std::size_t> m_first_side;
    std::vector<SurfaceFace> m_faces;
};

} // namespace KetSDK::Mesh::Detail
