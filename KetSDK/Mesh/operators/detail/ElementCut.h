// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/mesh/MMeshElement.h>

#include <boost/container/static_vector.hpp>

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

namespace KetSDK::Mesh::Detail {

// How a hexahedron or wedge is cut into tetrahedra.
struct ElementCut {
    // Corners as indices into the node array of the element, wound like an element.
    using Tetrahedron = std::array<unsigned char, 4>;
    static constexpr unsigned char Inside = 8; // the index of a node that the cut adds

    boost::container::static_vector<Tetrahedron, 16> tetrahedra;
    std::optional<MMVector<MLong, 3>> inside; // where that node lies, in internal units
    bool positive = false;                    // whether all tetrahedra are, exactly
    bool turned = false;                      // the element was inverted, its tetrahedra are not
};

// A hexahedron or wedge that is to be cut. Corners with the same number count as one, so that collapsed
// elements are cut as what they are.
class ElementToCut {
public:
    using Numbers = std::array<MLong, 8>;
    using Edge = std::array<MLong, 2>; // numbers, ascending

    // A face with four different corners.
    struct Face {
        std::array<MLong, 4> key; // its numbers, ascending
        Edge diagonal;            // the one through the smallest number
        Edge other;
        std::array<unsigned char, 4> corners; // winding outwards, from the smallest number on
        bool flipped = false;                 // halved along the other diagonal
    };
    using Faces = boost::container::static_vector<Face, 6>;

    // The numbers of the corners: those of nodes at one position are the same, and neighbours agree on them.
    ElementToCut(MMeshElement const& e, Numbers const& numbers);

    // May be flipped before the cut.
    Faces& GetFaces() noexcept { return m_faces; }
    Faces const& GetFaces() const noexcept { return m_faces; }
    // The edges of the faces with three corners, which neighbours with four have to heed.
    std::vector<Edge> GetEdgesOfTriangles() const;

    // Cuts from the corner with the smallest number: J. Dompierre, P. Labbe, M.-G. Vallet, R. Camarero, How
    // to subdivide pyramids, prisms and hexahedra into tetrahedra, 8th International Meshing Roundtable,
    // 1999. Where that gives a tetrahedron that is not positive, on the same diagonals in another way, and
    // where there is none, with a node inside. When that fails, too, the first cut comes back.
    ElementCut Cut() const;

private:
    using Triangle = std::array<unsigned char, 3>; // winding outwards, the smallest index first
    using Triangles = boost::container::static_vector<Triangle, 48>;
    class Search;

    void AddFace(std::array<unsigned char, 4> const& face, unsigned int corners);
    Triangles Boundary() const;
    bool IsGood(ElementCut::Tetrahedron const& t) const;
    ElementCut CutFromSmallest(Triangles const& boundary) const;
    ElementCut CutFromInside(Triangles const& boundary) const;

    MMeshElement const& m_element;
    Numbers const m_numbers;
    boost::container::static_vector<unsigned char, 8> m_corners; // the different ones, by ascending number
    boost::container::static_vector<Triangle, 6> m_fixed;        // faces with three corners
    Faces m_faces;
};

} // namespace KetSDK::Mesh::Detail
