// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MTriangle.h>
#include <KetSDK/Mesh/geometry/PolyhedronInterface.h>
#include <KetSDK/Mesh/geometry/TriangularFace.h>

#include <array>
#include <utility>
#include <vector>

// The geometric view of one linear tetrahedron: four corners and every geometric quantity and quality
// measure on them. Made from an element on the stack, asked, and dropped; copies are independent.
//
// T is the coordinate type of the corners: MLong, float or double. Coordinates are widened to double
// before any arithmetic, except that Volume of the MLong variant takes differences in 32 bits. Lengths
// are in the unit of the corners, angles in radians, ratios without unit.
// The element is positively oriented when det[P1 - P0, P2 - P0, P3 - P0] > 0.
// Faces and edges are numbered as in MMeshElementDescriptor. No number is range-checked.
//
// Nothing here fails: degenerate elements give 0, a sentinel, an infinity or NaN as each measure says
// or as its arithmetic yields. Composite measures call their ingredients through the virtual
// functions, so that a subclass which overrides an ingredient changes every measure built on it.
// Distinct objects may be used from several threads; so may one object while none changes it, apart
// from GetBoundingBox, which refreshes the stored box.
template <typename T>
class KETSDK_MESH_API TetrahedronBase : public PolyhedronInterface<T> {
public:
    static constexpr unsigned int m_nb_vertices = 4;
    static constexpr unsigned int m_nb_faces = 4;

    // All corners at the origin.
    TetrahedronBase() = default;
    TetrahedronBase(MMVector<T, 3> const& p0, MMVector<T, 3> const& p1, MMVector<T, 3> const& p2,
                    MMVector<T, 3> const& p3)
        : m_points{p0, p1, p2, p3} {}
    // From an array of four points.
    explicit TetrahedronBase(MMVector<T, 3> const* points)
        : m_points{points[0], points[1], points[2], points[3]} {}
    // The first four nodes of an element in model units; a corner without a node stays at the origin.
    explicit TetrahedronBase(MMeshElement const* element);
    TetrahedronBase(TetrahedronBase const&) = default;
    TetrahedronBase& operator=(TetrahedronBase const&) = default;
    ~TetrahedronBase() override = default;

    MMVector<T, 3> const& GetVertex(unsigned int i) const override;
    // Replaces one corner; the bounding box follows at the next GetBoundingBox.
    void SetVertex(unsigned int i, MMVector<T, 3> const& position) override;
    // Oriented face i, newly allocated; the caller deletes it.
    TriangularFace* GetFace(unsigned int i) const override;
    // Signed: negative for an inverted element, 0 for a flat one.
    double Volume() const override;
    // True also for flat elements.
    bool OrientationOK() const override;
    std::uint64_t GetNbVertices() const override; // 4
    std::uint64_t GetNbFaces() const override;    // 4
    MMVector<double, 3> GetCentroid() override;

    // Face i in the vertex order of descr_triangle_point.
    virtual MTriangle<double, 3> GetFaceUnoriented(unsigned int i);
    // Face i in the vertex order of descr_triangle_point_ORIENTED: the normal points out of a positively
    // oriented element.
    virtual MTriangle<double, 3> GetFaceOriented(unsigned int i);
    // The middle of edge e of descr_tet4_tet10_point.
    virtual MMVector<double, 3> GetMidEdgePoint(unsigned char e);
    // Has a meaning for quadratic elements only: three points at the origin here.
    virtual MTriangle<double, 3> GetTriangleOfTet10(std::uint64_t i);

    // Tests against the planes coordinate[axis] = value, axis 0 to 2 for x to z.
    // True when the element reaches into the slab lo <= coordinate[axis] <= hi.
    virtual bool TetInSlice(unsigned char axis, double lo, double hi) const;
    // True when the plane touches or cuts the element.
    virtual bool IsIntersected(unsigned char axis, double value) const;
    // True when all corners lie strictly above, or strictly below, the plane.
    virtual bool LargerThanXYZPlane(unsigned char axis, double value) const;
    virtual bool SmallerThanXYZPlane(unsigned char axis, double value) const;

    // Quality figures; 1 for the regular tetrahedron unless said otherwise.
    // 3 insphere radius / circumsphere radius; 0 for a flat element.
    virtual double QualitySpheres() const;
    // 2 sqrt(6) insphere radius / longest edge; 0 for a flat element.
    virtual double QualityInsphereEdge() const;
    // 12 (3 volume)^(2/3) / sum of the squared edge lengths (Liu and Joe 1994); NaN when inverted.
    virtual double QualityMeanRatio() const;
    // sqrt(3/2) smallest height / longest edge.
    virtual double QualityAspectRatio() const;
    // Longest edge / smallest height: sqrt(3/2) for the regular tetrahedron, growing as it degenerates.
    virtual double QualityAspectRatioTetgen() const;
    // Circumsphere radius / shortest edge: sqrt(6)/4 for the regular tetrahedron.
    virtual double QualityRadiusEdgeTetgen() const;
    // 1 - the larger relative deviation of the extreme face angles from 60 degrees.
    virtual double QualityEquiAngleSkew() const;
    // 1 - the larger relative deviation of the extreme dihedral angles from acos(1/3).
    virtual double QualityEquiDihedralAngleSkew() const;
    // Shortest edge / longest edge.
    virtual double QualityEdgeMinMax() const;
    // Longest edge / shortest edge.
    virtual double QualityEdgeMaxMin() const;
    // Six times the signed volume.
    virtual double QualityJacobian();
    // sqrt(2) Jacobian / the largest product of three edge lengths at a corner (Knupp 2003), in [-1, 1];
    // 1e30 when that product is below 1e-30.
    virtual double QualityScaledJacobian();
    // The smallest and the largest corner angle of the faces: pi/3 for the regular tetrahedron.
    virtual double QualityMinFacangle() const;
    virtual double QualityMaxFacangle() const;
    // Volume / volume of the regular tetrahedron with the same circumsphere, as 1 - the missing part.
    virtual double QualityEquiSizeSkew() const;
    // The same ratio by way of the edge of that tetrahedron: the last bits may differ on purpose.
    virtual double QualityAbacusShapeFactor() const;
    // 124.70765802 volume / (sum of the squared edge lengths)^(3/2): 0.999999999 for the regular one.
    virtual double QualityAnsysElementQuality() const;
    // The smallest cosine between a face's outward normal and the line from the centroid to the face's
    // centroid, and at most 1; negative when inverted.
    virtual double QualityFluentOrthogonalQuality() const;
    // The smallest and the largest of the twelve angles between two edges at a corner. Angles that
    // rounding makes NaN do not count; DBL_MAX and 0 when none counts.
    virtual double QualityMinCornerAngle() const;
    virtual double QualityMaxCornerAngle() const;

    // sqrt(DBL_MAX) for a flat element.
    virtual double RadiusCircumsphere() const;
    virtual double GetMaxEdgeLength() const;
    virtual double GetMinEdgeLength() const;
    // Positive for inverted elements too; 0 when the volume's magnitude is below 2^-26.
    virtual double RadiusInsphere() const;
    // The circumcentre; every coordinate DBL_MAX for a flat element.
    virtual MMVector<double, 3> MidpointCircumsphere();
    // The cosine of the largest angle that an edge subtends at the circumcentre.
    virtual double GetCosLargestMidAngle() const;
    // The smallest distance of a corner to the plane of the other three.
    virtual double GetMinHeight() const;
    // The extreme cosines of the twelve corner angles of the faces.
    virtual void GetMinMaxCos(double& minCos, double& maxCos) const;
    // The extreme cosines of the six dihedral angles.
    virtual void GetMinMaxCosDihedralAngle(double& minCos, double& maxCos) const;
    // The smallest and the largest face area.
    virtual void GetMinMaxArea(double& minArea, double& maxArea) const;
    virtual double GetMinCosDihedralAngle() const;
    virtual double GetMaxCosDihedralAngle() const;
    // The cosine between the normal of the shared face, as the neighbour winds it, and the line from
    // this centroid to the neighbour's. The two must have three corners in common, coordinate for
    // coordinate; the result is meaningless otherwise.
    virtual double FluentOrthogonalQualityForNeighbor(TetrahedronBase<T> const& neighbor) const;

protected:
    // The sum of the six squared edge lengths.
    virtual double _compute_sum_sq_lengths() const;
    // The squared lengths of the edges (0,1), (0,2), (0,3), (1,2), (1,3), (2,3): not the edge order of
    // the element descriptor.
    virtual std::vector<double> _compute_sq_lengths();

    // The first four nodes of an element, in model units or as they are in the mesh.
    TetrahedronBase(MMeshElement const* element, bool rawCoordinates);
    // Node i of an element as a vertex, likewise; at the origin where the element has no such node.
    static MMVector<T, 3> NodeOf(MMeshElement const& element, unsigned int i, bool rawCoordinates) noexcept {
        if (i >= element.GetNodeCount())
            return {};
        MMeshPoint const& node = *element.GetNode(i);
        return rawCoordinates ? MMVector<T, 3>(MMVector<MLong, 3>(node.x, node.y, node.z))
                              : TetrahedronBase::NodePosition(node);
    }
    // The corners as they are stored here.
    std::array<MMVector<T, 3>, 4> const& Points() const noexcept { return m_points; }

private:
    using DoubleVector = MMVector<double, 3>;
    struct Faces;

    bool IsPlain() const noexcept;
    TetrahedronBase& Virtuals() const noexcept;
    DoubleVector Corner(unsigned int i) const noexcept { return DoubleVector(m_points[i]); }
    decltype(auto) Corners() const noexcept;
    Faces OrientedFaces() const;
    std::array<DoubleVector, 4> VerdictCorners() const;
    std::pair<double, double> HeightAndLongestEdge() const;
    template <typename Edges>
    double PlainVolume(Edges const& edges) const;

    std::array<MMVector<T, 3>, 4> m_points{};
};

extern template class TetrahedronBase<MLong>;
extern template class TetrahedronBase<float>;
extern template class TetrahedronBase<double>;
