// SPDX-License-Identifier: BSD-3-Clause
#include "../TestMeshes.h"
#include "VerdictAdapter.h"

#include <KetSDK/Math/MathCore/MGeneralMatrix.h>
#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using Vector = MMVector<double, 3>;
using Nodes = std::vector<TestMeshes::Coordinates>;
constexpr auto& edges = MMeshElementDescriptor::descr_tet4_tet10_point;

// An element of its own nodes, in internal units.
class LoneElement {
public:
    explicit LoneElement(Nodes const& nodes) {
        for (auto const& p : nodes)
            m_points.emplace_back(p[0], p[1], p[2]);
        for (MMeshPoint& p : m_points)
            m_addresses.push_back(&p);
        m_element.Set(m_addresses);
    }
    MMeshElement* operator&() { return &m_element; }

private:
    std::vector<MMeshPoint> m_points;
    std::vector<MMeshPoint*> m_addresses;
    MMeshElement m_element;
};

// Corners of an element of about 1000 units, with its mid nodes up to `bend` off their places.
Nodes RandomNodes(std::mt19937& random, int bend) {
    auto const shifted = [&random](TestMeshes::Coordinates p, int by) {
        std::uniform_int_distribution<int> shift(-by, by);
        for (MLong& c : p)
            c += shift(random);
        return p;
    };
    Nodes nodes;
    for (TestMeshes::Coordinates p :
         {TestMeshes::Coordinates{0, 0, 0}, {1000, 0, 0}, {0, 1000, 0}, {0, 0, 1000}})
        nodes.push_back(shifted(p, 200));
    for (auto const& [a, b] : edges) {
        TestMeshes::Coordinates mid;
        for (std::size_t c = 0; c < 3; ++c)
            mid[c] = (nodes[a][c] + nodes[b][c]) / 2;
        nodes.push_back(shifted(mid, bend));
    }
    return nodes;
}

// The position at natural coordinates, by the shape functions themselves.
Vector Position(Nodes const& nodes, Vector const& at) {
    double const l[4] = {1.0 - at[0] - at[1] - at[2], at[0], at[1], at[2]};
    Vector sum;
    for (std::size_t i = 0; i < 10; ++i) {
        double const shape =
            i < 4 ? l[i] * (2.0 * l[i] - 1.0) : 4.0 * l[edges[i - 4][0]] * l[edges[i - 4][1]];
        sum += shape * Vector(nodes[i][0], nodes[i][1], nodes[i][2]);
    }
    return sum;
}

// The determinants at corners, edges and centroid by central differences, which are exact for positions
// of second degree.
std::vector<double> DeterminantsByDifferences(Nodes const& nodes) {
    Vector const corners[4] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    std::vector<Vector> points(corners, corners + 4);
    for (auto const& [a, b] : edges)
        points.push_back((corners[a] + corners[b]) / 2.0);
    points.push_back({0.25, 0.25, 0.25});
    std::vector<double> determinants;
    for (Vector const& p : points) {
        Vector d[3];
        for (std::size_t k = 0; k < 3; ++k)
            d[k] = (Position(nodes, p + corners[k + 1] * 0.5) - Position(nodes, p - corners[k + 1] * 0.5));
        determinants.push_back(d[0].Dot(d[1].Cross(d[2])));
    }
    return determinants;
}

// Computes everything through the virtual functions, and shows those that are protected.
Nodes Straight() {
    Nodes nodes = TestMeshes::Corners(10);
    for (auto& p : nodes)
        for (MLong& c : p)
            c *= TestMeshes::Unit;
    return nodes;
}

} // namespace

TEST(Tetrahedron10, JacobianMeasuresAgreeWithDifferencesOfThePositionAndWithVerdict) {
    constexpr unsigned int seed = 7;
    std::mt19937 random(seed);
    int folded = 0, inverted = 0, regular = 0;
    for (int bend : {0, 50, 200, 1500})
        for (int i = 0; i < 3000; ++i) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", bend " + std::to_string(bend) + ", " +
                         std::to_string(i));
            Nodes const nodes = RandomNodes(random, bend);
            LoneElement element(nodes);
            Tetrahedron10Base<double> t(&element, true);
            auto const determinants = DeterminantsByDifferences(nodes);
            auto const [low, high] = std::minmax_element(determinants.begin(), determinants.end());
            double const scale = std::max(std::fabs(*low), std::fabs(*high));
            ASSERT_NEAR(t.MinJacobianDeterminant(), *low, 1e-12 * scale);
            bool const folds = *high > 0.0 && *low < 0.0;
            bool const turned = t.QualityJacobian() * *high < 0.0;
            double const ratio = folds || turned ? -100.0 : *high / *low;
            ASSERT_NEAR(t.JacobianRatio(), ratio, 1e-9 * std::fabs(ratio));
            ++(folds ? folded : turned ? inverted : regular);

            double rows[10][3];
            for (std::size_t n = 0; n < 10; ++n)
                std::copy(nodes[n].begin(), nodes[n].end(), rows[n]);
            double const distortion = KetSDK::Mesh::Detail::VerdictTetDistortion(10, rows);
            ASSERT_NEAR(t.QualityJacobianDistortion(), distortion,
                        1e-9 * std::max(1.0, distortion * distortion));
        }
    EXPECT_GT(folded, 1000);
    EXPECT_GT(regular, 1000);
    EXPECT_GT(inverted, 0);
}

TEST(Tetrahedron10, StraightElementsMeasureAsTheirCornersAndLinearOnesFallBackToThem) {
    Nodes nodes = Straight();
    for (std::size_t count : {std::size_t{10}, std::size_t{4}, std::size_t{8}}) {
        LoneElement element(Nodes(nodes.begin(), nodes.begin() + static_cast<std::ptrdiff_t>(count)));
        Tetrahedron10Base<double> t(&element, false);
        EXPECT_EQ(t.IsTrueQuadratic(), count == 10);
        EXPECT_EQ(t.GetNbVertices(), 10u);
        EXPECT_EQ(t.Volume(), 36.0);
        EXPECT_EQ(t.JacobianRatio(), 1.0);
        EXPECT_EQ(t.MinJacobianDeterminant(), 216.0);
        EXPECT_EQ(t.MaxMidVertexDeviation(false), 0.0);
        EXPECT_TRUE(t.CheckMidVertices(1e-300) && t.CheckMidFaces(1e-300));
        EXPECT_EQ(t.GetMidVertex(1), count == 10 ? Vector(3, 3, 0) : Vector());
        EXPECT_EQ(t.GetTriangleOfTet10(3).Area() > 0.0, count == 10);
    }
    // A mid node far beyond the opposite face turns the element inside out somewhere.
    nodes[4] = {3 * TestMeshes::Unit, 9 * TestMeshes::Unit, 9 * TestMeshes::Unit};
    LoneElement folded(nodes);
    EXPECT_EQ(Tetrahedron10Base<double>(&folded, false).JacobianRatio(), -100.0);
    EXPECT_LT(Tetrahedron10Base<double>(&folded, false).MinJacobianDeterminant(), 0.0);
}

TEST(Tetrahedron10, TrianglesOfTheFacesEncloseTheVolume) {
    std::mt19937 random(3);
    for (int i = 0; i < 100; ++i) {
        LoneElement element(RandomNodes(random, 100));
        Tetrahedron10Base<double> t(&element, true);
        double enclosed = 0.0;
        for (std::uint64_t k = 0; k < 16; ++k) {
            MTriangle<double, 3> const triangle = t.GetTriangleOfTet10(k);
            enclosed += triangle[0].Dot(triangle[1].Cross(triangle[2])) / 6.0;
            // A face's mid nodes stand last of its four triangles; all four are on that face.
            MTriangle<double, 3> const middle = t.GetTriangleOfTet10(k / 4 * 4 + 3);
            for (std::size_t v = 0; v < 3; ++v)
                EXPECT_TRUE(k % 4 == 3 || v == 0 || triangle[v] == middle[0] || triangle[v] == middle[1] ||
                            triangle[v] == middle[2]);
        }
        EXPECT_NEAR(enclosed, t.Volume(), 1e-9 * enclosed);
    }
    LoneElement straight(Straight());
    EXPECT_EQ(Tetrahedron10Base<double>(&straight, true).GetTriangleOfTet10(16).Area(), 0.0);
}

TEST(Tetrahedron10, NodesAreVerticesFourToNine) {
    LoneElement element(Straight());
    Tetrahedron10Base<double> t(&element, false);
    t.SetVertex(9, {1.0, 2.0, -8.0});
    t.SetMidVertex(0, {7.0, 0.0, 0.0});
    EXPECT_EQ(t.GetNode(9), Vector(1.0, 2.0, -8.0));
    EXPECT_EQ(t.GetMidVertex(5), t.GetVertex(9));
    EXPECT_EQ(t.GetBoundingBox().GetMin()[2], -8.0);
    EXPECT_EQ(t.GetBoundingBox().GetMax()[0], 7.0);
    EXPECT_EQ(t.GetCentroid(), Vector(1.5, 1.5, 1.5)) << "of the corners";
    // Integers are cut off, not rounded, on the way to model units.
    LoneElement odd({{65535, -65535, 65536}, {}, {}, {}, {}, {}, {}, {}, {}, {-98304, 0, 98304}});
    EXPECT_EQ(Tetrahedron10Base<MLong>(&odd, false).GetNode(0), (MMVector<MLong, 3>(0, 0, 1)));
    EXPECT_EQ(Tetrahedron10Base<MLong>(&odd, false).GetNode(9), (MMVector<MLong, 3>(-1, 0, 1)));
}

TEST(Tetrahedron10, MidNodeDeviationsAreJudgedStrictlyAgainstTheirLengths) {
    // Mid node 0, on an edge of 6, is 0.75 off: 12.5 % of the edge. Its faces have edges of 6, 6 and
    // 6 sqrt(2), 6 (2 + sqrt 2) / 3 on average.
    Nodes nodes = Straight();
    nodes[4][2] += TestMeshes::Unit * 3 / 4;
    LoneElement element(nodes);
    Tetrahedron10Base<double> t(&element, false);
    double const of_faces = 12.5 * 3.0 / (2.0 + std::sqrt(2.0));
    EXPECT_EQ(t.MaxMidVertexDeviation(true), 0.75);
    EXPECT_EQ(t.MaxMidVertexDeviation(false), 0.125);
    EXPECT_FALSE(t.CheckMidVertices(12.5));
    EXPECT_TRUE(t.CheckMidVertices(std::nextafter(12.5, 13.0)));
    EXPECT_FALSE(t.CheckMidFaces(of_faces * 0.999999));
    EXPECT_TRUE(t.CheckMidFaces(of_faces * 1.000001));
    t.ShrinkMidEdges(1.0);
    EXPECT_EQ(t.MaxMidVertexDeviation(true), 0.75);
    t.ShrinkMidEdges(0.5);
    EXPECT_EQ(t.MaxMidVertexDeviation(true), 0.375);
    t.ShrinkMidEdges(0.0);
    EXPECT_EQ(t.MaxMidVertexDeviation(true), 0.0);

    // An edge without length passes no test, wherever its mid node is.
    nodes[1] = nodes[4] = nodes[0];
    LoneElement collapsed(nodes);
    EXPECT_FALSE(Tetrahedron10Base<double>(&collapsed, false).CheckMidVertices(1e300));
}

TEST(Tetrahedron10, IntegerMidNodesAreRoundedToTheNearestAndStayThere) {
    LoneElement element({{0, 0, 0}, {3, -3, 1}, {0, 9, 0}, {0, 0, 9}, {8, 8, 8}, {}, {}, {}, {}, {}});
    Tetrahedron10Base<MLong> t(&element, true);
    for (int repeat = 0; repeat < 3; ++repeat) {
        t.ShrinkMidEdges(0.0);
        EXPECT_EQ(t.GetMidVertex(0), (MMVector<MLong, 3>(2, -2, 1))) << "halves go away from zero";
    }
}
