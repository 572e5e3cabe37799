// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Mesh/geometry/LimitedPolyhedron.h>
#include <KetSDK/Mesh/geometry/QuadrangularFace.h>
#include <KetSDK/Mesh/geometry/VertexValuedTetrahedron.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <memory>
#include <stdexcept>

namespace {

using Vector = MMVector<double, 3>;

// Bare points, to see what the interface does on its own.
template <typename T>
struct Points : PolyhedronInterface<T> {
    std::vector<MMVector<T, 3>> points;

    explicit Points(std::vector<MMVector<T, 3>> p)
        : points(std::move(p)) {}
    MMVector<T, 3> const& GetVertex(unsigned int i) const override { return points[i]; }
    void SetVertex(unsigned int i, MMVector<T, 3> const& p) override { points[i] = p; }
    PolyhedralFaceInterface* GetFace(unsigned int) const override { return nullptr; }
    double Volume() const override { return 0.0; }
    bool OrientationOK() const override { return true; }
    std::uint64_t GetNbVertices() const override { return points.size(); }
    std::uint64_t GetNbFaces() const override { return 0; }

    using PolyhedronInterface<T>::_CopyVertices;
    using PolyhedronInterface<T>::_CopyVerticesMMeshElement;
    using PolyhedronInterface<T>::_ConvertToVerdictPoints;
};

} // namespace

TEST(Polyhedron, BoxLeavesOutVertexZero) {
    TetrahedronBase<float> t({-9, 2, 1}, {0, 0, 0}, {4, 1, 0}, {1, 5, 3});
    EXPECT_EQ(t.GetBoundingBox().GetMin(), Vector(0, 0, 0)); // not -9
    EXPECT_EQ(t.GetBoundingBox().GetMax(), Vector(4, 5, 3));
    auto const& box = t.GetBoundingBox();
    t.SetVertex(3, {1, 50, 3});
    EXPECT_EQ(box.GetMax(), Vector(4, 5, 3)); // follows at the next call only
    t.GetBoundingBox();
    EXPECT_EQ(box.GetMax(), Vector(4, 50, 3));

    Points<double> one({{1, 2, 3}});
    EXPECT_EQ(one.GetBoundingBox().GetMin(), Vector(DBL_MAX, DBL_MAX, DBL_MAX));
}

TEST(Polyhedron, PlanesAreStrict) {
    Points<double> const p({{0, 0, 1}, {1, 0, 2}, {0, 1, 3}});
    Vector const up(0, 0, 2); // any length
    EXPECT_TRUE(p.LargerThanPlane(up, {5, 5, 0.5}) && !p.LargerThanPlane(up, {5, 5, 1.0}));
    EXPECT_TRUE(p.SmallerThanPlane(up, {5, 5, 3.5}) && !p.SmallerThanPlane(up, {5, 5, 3.0}));
}

TEST(Polyhedron, ShrinksTowardsItsCentroid) {
    Points<double> p({{0, 0, 0}, {8, 0, 0}, {0, 4, 0}, {0, 0, 12}});
    Vector const centroid = p.GetCentroid();
    EXPECT_EQ(centroid, Vector(2, 1, 3));
    p.ShrinkTowardsCentroid(0.5);
    EXPECT_EQ(p.GetCentroid(), centroid);
    EXPECT_EQ(p.points[1], Vector(5, 0.5, 1.5));

    Points<MLong> integers({{0, 0, 0}, {3, 0, 0}});
    integers.ShrinkTowardsCentroid(1.0);
    EXPECT_EQ(integers.points[0], (MMVector<MLong, 3>(1, 0, 0))); // 1.5 is cut off
    integers.ShrinkTowardsCentroid(1e300);                        // stops at the limits of the type
}

TEST(Faces, HandOutTrianglesAndSegments) {
    Vector const a(0, 0, 0), b(1, 0, 0), c(1, 1, 0), d(0, 1, 0);
    TriangularFace const triangle(a, b, c);
    std::unique_ptr<MTriangle<double, 3>> const only(triangle.GetTriangle(0));
    EXPECT_EQ((*only)[1], b);
    EXPECT_EQ(triangle.GetSegment(2).second, &triangle.GetNode(0));

    QuadrangularFace quadrangle;
    quadrangle.SetNodes(a, b, c, d);
    std::unique_ptr<MTriangle<double, 3>> const first(quadrangle.GetTriangle(0)),
        other(quadrangle.GetTriangle(7));
    EXPECT_EQ((*first)[2], d);
    EXPECT_EQ((*other)[0], b);
    EXPECT_EQ((*other)[1], c);
    EXPECT_DOUBLE_EQ(first->Area() + other->Area(), 1.0);
    EXPECT_EQ(quadrangle.GetSegment(3).second, &quadrangle.GetNode(0));
}
