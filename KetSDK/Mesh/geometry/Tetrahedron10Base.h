// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>

#include <array>

// The geometric view of one ten-node (quadratic) tetrahedron: the corners of TetrahedronBase and six mid-edge
// nodes. With them the Jacobian of the curved element, the measures built on it, and how far the mid-edge
// nodes stray from the middles of their edges.
//
// Nodes 0 to 3 are the corners; node 4 + m is mid node m on edge m of descr_tet4_tet10_point. Vertices
// are all ten nodes: the bounding box and ShrinkTowardsCentroid cover them. The centroid and the linear
// measures are those of the corners, except where they build on Volume.
// An object that was not made from an element of ten nodes counts as linear, whatever is set later: it
// answers the quadratic measures as a straight-sided element.
// Units, coordinate types, failures and threads as in TetrahedronBase.
template <typename T>
class KETSDK_MESH_API Tetrahedron10Base : public TetrahedronBase<T> {
public:
    static constexpr unsigned int m_nb_vertices = 10;
    static constexpr unsigned int m_nb_faces = 4;

    // Linear, all nodes at the origin.
    Tetrahedron10Base() = default;
    // The nodes of an element, in model units or as they are in the mesh. With fewer than ten nodes the
    // mid nodes are at the origin, and so is a corner without a node.
    Tetrahedron10Base(MMeshElement const* element, bool rawCoordinates);
    Tetrahedron10Base(Tetrahedron10Base const&) = default;
    Tetrahedron10Base& operator=(Tetrahedron10Base const&) = default;
    ~Tetrahedron10Base() override = default;

    // Node i of all ten.
    MMVector<T, 3> const& GetVertex(unsigned int i) const override;
    // Replaces node i of all ten.
    void SetVertex(unsigned int i, MMVector<T, 3> const& position) override;
    // Signed: of a quadratic element the sum over the eight tetrahedra of descr_tet10_to_tet4.
    double Volume() const override;
    std::uint64_t GetNbVertices() const override; // 10
    std::uint64_t GetNbFaces() const override;    // 4
    // The faces of the curved element as 16 triangles, wound outwards. Triangle i belongs to face i / 4,
    // which gives the three triangles at its corners, then the one of its mid nodes. Three points at the
    // origin for other numbers and for a linear element.
    MTriangle<double, 3> GetTriangleOfTet10(std::uint64_t i) override;

    virtual MMVector<T, 3> const& GetNode(unsigned int i) const;
    // Mid node 0 to 5.
    virtual MMVector<T, 3> const& GetMidVertex(unsigned int m) const;
    virtual void SetMidVertex(unsigned int m, MMVector<T, 3> const& position);
    // True when made from an element with at least ten nodes.
    virtual bool IsTrueQuadratic() const;

    // Scales the deviation of every mid node from the middle of its edge: 0 straightens the edges, 1
    // changes nothing. Integer coordinates are rounded to the nearest, halves away from zero. Leaves a
    // linear element as it is.
    virtual void ShrinkMidEdges(double factor);
    // True when every mid node lies less than `percent` of its edge's length from the edge's middle;
    // for a linear element always. An edge without length does not pass.
    virtual bool CheckMidVertices(double percent);
    // True when on every face the largest deviation of a mid node is less than `percent` of the mean length
    // of the face's three straight edges. For a linear element always.
    virtual bool CheckMidFaces(double percent);
    // The smallest Jacobian determinant at the nodes and at four inner points, over the mean of those
    // four: 1 for a straight-sided element. It is what Verdict calls the distortion of ten nodes.
    virtual double QualityJacobianDistortion();
    // The largest distance of a mid node from the middle of its edge, as it is or relative to the edge's
    // length; 0 for a linear element.
    virtual double MaxMidVertexDeviation(bool absolute);

    // The following look at the Jacobian determinant at eleven points: the corners, the middles of the
    // edges and the centroid.
    // The largest determinant over the smallest; -100 when their signs differ or are not the sign of the
    // corners' volume (the element folds). 1 for a linear element.
    virtual double JacobianRatio();
    // The smallest determinant; six times the corners' volume for a linear element.
    virtual double MinJacobianDeterminant();

protected:
    // The derivatives g0 to g3 of the position by each barycentric coordinate, at the point with the
    // coordinates l0 to l3. Shape functions are L (2 L - 1) at corners, 4 L L' at mid nodes (Zienkiewicz and
    // Taylor, The Finite Element Method, vol. 1).
    virtual void _ComputeJacobian(double l0, double l1, double l2, double l3, MMVector<double, 3>& g0,
                                  MMVector<double, 3>& g1, MMVector<double, 3>& g2, MMVector<double, 3>& g3);
    // det[g1 - g0, g2 - g0, g3 - g0], which is six times the volume where the element is straight-sided.
    virtual double _ComputeDeterminant(MMVector<double, 3>& g0, MMVector<double, 3>& g1,
                                       MMVector<double, 3>& g2, MMVector<double, 3>& g3);

private:
    using DoubleVector = MMVector<double, 3>;
    using NodeVectors = std::array<MMVector<T, 3>, 10>;

    static std::array<MMVector<T, 3>, 6> MidNodesOf(MMeshElement const& element,
                                                    bool rawCoordinates) noexcept;
    bool IsPlain() const noexcept;
    NodeVectors NodesOfVirtuals() const;
    template <typename Measure>
    auto OnNodes(Measure const& measure) const;
    std::array<double, 11> DeterminantsOfVirtuals();

    bool m_true_quadratic = false;
    std::array<MMVector<T, 3>, 6> m_mid_points{};
};

extern template class Tetrahedron10Base<MLong>;
extern template class Tetrahedron10Base<float>;
extern template class Tetrahedron10Base<double>;
