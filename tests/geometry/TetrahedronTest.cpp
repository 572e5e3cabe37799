// SPDX-License-Identifier: BSD-3-Clause
#include "Measures.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <random>
#include <typeinfo>

namespace {

using Vector = MMVector<double, 3>;
using Tetrahedron = TetrahedronBase<double>;

constexpr double flat_radius = 1.3407807929942596e+154;

template <typename T>
class TetrahedronOf : public testing::Test {
protected:
    // On small integer corners, so that every coordinate type holds them: scaled, then moved.
    static TetrahedronBase<T> Make(int const (&p)[4][3], T scale, T offset) {
        MMVector<T, 3> corners[4];
        for (std::size_t i = 0; i < 4; ++i)
            for (std::size_t c = 0; c < 3; ++c)
                corners[i][c] = static_cast<T>(static_cast<T>(p[i][c]) * scale + offset);
        return TetrahedronBase<T>(corners);
    }
    static constexpr int regular[4][3] = {{0, 0, 0}, {1, 1, 0}, {0, 1, 1}, {1, 0, 1}};
    static constexpr int corner[4][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
};

using CoordinateTypes = testing::Types<MLong, float, double>;
TYPED_TEST_SUITE(TetrahedronOf, CoordinateTypes);

struct Expected {
    std::string name;
    double value;
    int power = 0; // of the scale
};

} // namespace

TYPED_TEST(TetrahedronOf, RegularAndCornerElementHaveTheirClosedForms) {
    using T = TypeParam;
    using std::numbers::pi;
    double const sqrt2 = std::sqrt(2.0), sqrt3 = std::sqrt(3.0);
    std::vector<Expected> of_regular = {
        {"Volume", 1.0 / 3.0, 3},
        {"QualityAspectRatioTetgen", std::sqrt(1.5)},
        {"QualityRadiusEdgeTetgen", std::sqrt(6.0) / 4.0},
        {"QualityJacobian", 2.0, 3},
        {"QualityAnsysElementQuality", 124.70765802 / (36.0 * std::sqrt(12.0))},
        {"RadiusCircumsphere", sqrt3 / 2.0, 1},
        {"RadiusInsphere", sqrt3 / 6.0, 1},
        {"GetMinEdgeLength", sqrt2, 1},
        {"GetMinHeight", 2.0 / sqrt3, 1},
        {"GetCosLargestMidAngle", -1.0 / 3.0},
        {"GetMinCosDihedralAngle", 1.0 / 3.0},
        {"GetMaxCosDihedralAngle", 1.0 / 3.0}};
    for (std::string const of : {"Facangle", "CornerAngle"})
        for (std::string const extreme : {"QualityMin", "QualityMax"})
            of_regular.push_back({extreme + of, pi / 3.0});
    for (char const* const best : {"Spheres", "InsphereEdge", "MeanRatio", "AspectRatio", "EquiAngleSkew",
                                   "EquiDihedralAngleSkew", "EdgeMinMax", "EdgeMaxMin", "ScaledJacobian",
                                   "EquiSizeSkew", "AbacusShapeFactor", "FluentOrthogonalQuality"})
        of_regular.push_back({std::string("Quality") + best, 1.0});
    std::vector<Expected> const of_corner = {{"Volume", 1.0 / 6.0, 3},
                                             {"QualityScaledJacobian", sqrt2 / 2.0},
                                             {"RadiusInsphere", 1.0 / (3.0 + sqrt3), 1},
                                             {"GetMaxEdgeLength", sqrt2, 1},
                                             {"GetMinHeight", 1.0 / sqrt3, 1},
                                             {"QualityMinFacangle", pi / 4.0},
                                             {"QualityMaxCornerAngle", pi / 2.0},
                                             {"GetMinCosDihedralAngle", 0.0},
                                             {"GetMaxCosDihedralAngle", 1.0 / sqrt3},
                                             {"smallest face area", 0.5, 2},
                                             {"largest face area", sqrt3 / 2.0, 2}};
    T const far = std::is_integral_v<T> ? static_cast<T>(2147000000) : static_cast<T>(1048576);
    for (T const scale : {static_cast<T>(1), static_cast<T>(1000)})
        for (T const offset : {static_cast<T>(0), far, static_cast<T>(-far)}) {
            SCOPED_TRACE(testing::Message() << "scale " << scale << " offset " << offset);
            auto const check = [&](TetrahedronBase<T> const& t, auto const& table) {
                EXPECT_TRUE(t.OrientationOK());
                for (Expected const& e : table) {
                    double const value = e.value * std::pow(static_cast<double>(scale), e.power);
                    EXPECT_NEAR(Value(t, e.name), value, 1e-9 * std::max(1.0, value) * 1e-3) << e.name;
                }
            };
            check(this->Make(this->regular, scale, offset), of_regular);
            check(this->Make(this->corner, scale, offset), of_corner);
        }
}

// A subclass without overrides takes the way through the virtual functions: every bit is the same.
TYPED_TEST(TetrahedronOf, ShortCutsGiveTheBitsOfTheVirtualFunctions) {
    struct Subclass : TetrahedronBase<TypeParam> {
        explicit Subclass(TetrahedronBase<TypeParam> const& t)
            : TetrahedronBase<TypeParam>(t) {}
    };
    constexpr int shapes[][4][3] = {{{0, 0, 0}, {1, 1, 0}, {0, 1, 1}, {1, 0, 1}},
                                    {{7, -3, 11}, {19, 2, 5}, {-4, 23, 8}, {3, 9, 31}},
                                    {{0, 0, 0}, {5, 1, 0}, {2, 7, 0}, {9, 9, 0}},
                                    {{0, 0, 0}, {1, 1, 1}, {2, 2, 2}, {3, 3, 3}},
                                    {{4, 4, 4}, {4, 4, 4}, {4, 4, 4}, {4, 4, 4}}};
    for (auto const& shape : shapes) {
        TetrahedronBase<TypeParam> plain =
            this->Make(shape, static_cast<TypeParam>(3), static_cast<TypeParam>(1));
        Subclass subclass(plain);
        for (Measure<TypeParam> const& measure : AllMeasures<TypeParam>()) {
            double const a = measure.value(plain), b = measure.value(subclass);
            EXPECT_TRUE(a == b || (std::isnan(a) && std::isnan(b))) << measure.name << ": " << a << ", " << b;
        }
    }
}

TYPED_TEST(TetrahedronOf, TakesTheNodesOfAnElementInModelUnits) {
    MMeshPoint nodes[] = {{0, 0, 0}, {65536 * 3, 0, 0}, {0, -65536 * 2, 0}, {32768, 98304, 65536}};
    MMeshPoint* pointers[] = {&nodes[0], &nodes[1], &nodes[2], &nodes[3]};
    MMeshElement const element(4, pointers);
    TetrahedronBase<TypeParam> const t(&element);
    EXPECT_EQ(t.GetVertex(1)[0], static_cast<TypeParam>(3));
    EXPECT_EQ(t.GetVertex(2)[1], static_cast<TypeParam>(-2));
    EXPECT_EQ(t.GetVertex(3)[1], static_cast<TypeParam>(1.5)); // an integer corner is cut off

    MMeshElement const two_nodes(2, pointers);
    TetrahedronBase<TypeParam> const partial(&two_nodes);
    EXPECT_EQ(partial.GetVertex(1)[0], static_cast<TypeParam>(3));
    EXPECT_EQ(partial.GetVertex(3), (MMVector<TypeParam, 3>()));
}

TEST(Tetrahedron, IntegerVolumeWrapsIn32BitsAndNothingElseDoes) {
    TetrahedronBase<MLong> t({-2000000000, 0, 0}, {2000000000, 0, 0}, {-2000000000, 3, 0},
                             {-2000000000, 0, 2});
    EXPECT_EQ(t.Volume(), (4e9 - 4294967296.0) * 3.0 * 2.0 / 6.0);
    EXPECT_EQ(t.QualityJacobian(), 4e9 * 6.0);
    EXPECT_EQ(t.GetMaxEdgeLength(), std::sqrt(16e18 + 9.0));
}

TEST(Tetrahedron, DegenerateElementsGiveTheirSentinels) {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    double const infinity = std::numeric_limits<double>::infinity();
    Tetrahedron const square({0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0});
    Tetrahedron const point({2, 3, 4}, {2, 3, 4}, {2, 3, 4}, {2, 3, 4});
    Tetrahedron const line({0, 0, 0}, {1, 2, 3}, {2, 4, 6}, {3, 6, 9});
    Tetrahedron const two_equal({0, 0, 0}, {0, 0, 0}, {1, 0, 0}, {0, 1, 0});
    Tetrahedron const inverted({0, 0, 0}, {1, 0, 0}, {0, 0, 1}, {0, 1, 0});
    struct {
        char const* what;
        Tetrahedron const& element;
        double expected;
        std::vector<char const*> measures;
    } const table[] = {
        {"square", square, 0.0, {"Volume", "RadiusInsphere", "QualitySpheres", "QualityInsphereEdge"}},
        {"square", square, 0.0, {"QualityScaledJacobian", "QualityMeanRatio", "QualityAbacusShapeFactor"}},
        {"square", square, 0.0, {"GetCosLargestMidAngle"}},
        {"square", square, flat_radius, {"RadiusCircumsphere"}},
        {"square", square, infinity, {"QualityAspectRatioTetgen"}},
        {"point", point, 0.0, {"QualityFluentOrthogonalQuality", "GetMinHeight", "largest face area"}},
        {"point", point, 0.0, {"GetMaxCosDihedralAngle"}},
        {"point", point, 1e30, {"QualityScaledJacobian"}},
        {"point", point, flat_radius, {"RadiusCircumsphere"}},
        {"point", point, std::numbers::pi / 2.0, {"QualityMinCornerAngle"}}, // no direction: cosine 0
        {"point", point, nan, {"QualityEdgeMinMax"}},
        {"line", line, flat_radius, {"RadiusCircumsphere"}},
        {"line", line, 0.0, {"largest face area", "GetMaxCosDihedralAngle"}},
        {"two equal", two_equal, infinity, {"QualityEdgeMaxMin", "QualityRadiusEdgeTetgen"}},
        {"two equal", two_equal, 0.0, {"smallest face area"}},
        {"inverted", inverted, -1.0 / 6.0, {"Volume"}},
        {"inverted", inverted, nan, {"QualityMeanRatio"}},
    };
    for (auto const& [what, element, expected, measures] : table)
        for (char const* const measure : measures) {
            double const value = Value(element, measure);
            EXPECT_TRUE(std::isnan(expected)
                            ? std::isnan(value)
                            : value == expected || std::fabs(value - expected) <= 4e-16 * std::fabs(expected))
                << measure << " of " << what << ": " << value << ", not " << expected;
        }
    for (Tetrahedron flat : {square, point, line, two_equal}) {
        EXPECT_TRUE(flat.OrientationOK());
        EXPECT_EQ(flat.MidpointCircumsphere(), Vector(DBL_MAX, DBL_MAX, DBL_MAX));
    }
    EXPECT_FALSE(inverted.OrientationOK());
    EXPECT_GT(inverted.RadiusInsphere(), 0.0);
    EXPECT_LT(inverted.QualityFluentOrthogonalQuality(), 0.0);

    // Below 2^-26 the volume counts as none for the insphere; at it, not.
    double const edge = std::cbrt(6.0 * 1.4901161193847656e-08);
    EXPECT_GT(Tetrahedron({0, 0, 0}, {edge * 1.001, 0, 0}, {0, edge, 0}, {0, 0, edge}).RadiusInsphere(), 0.0);
    EXPECT_EQ(Tetrahedron({0, 0, 0}, {edge * 0.999, 0, 0}, {0, edge, 0}, {0, 0, edge}).RadiusInsphere(), 0.0);

    // Whatever stands in the coordinates, nothing fails; a lost coordinate is not taken for a flat element.
    for (double const bad : {nan, infinity, -infinity, DBL_MAX, -DBL_MAX, DBL_MIN, 5e-324}) {
        Tetrahedron t({bad, 0, 0}, {1, bad, 0}, {0, 1, 0}, {0, 0, 1});
        for (Measure<double> const& measure : AllMeasures<double>())
            measure.value(t);
        EXPECT_EQ(std::isfinite(t.Volume()), std::fabs(bad) < 1.0) << bad;
    }
    EXPECT_TRUE(std::isnan(Tetrahedron({nan, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}).RadiusCircumsphere()));
}

// Flat elements that lie askew are as flat as those that lie level: rounding does not make them inverted.
TEST(Tetrahedron, OrientationHasTheSignOfTheVolume) {
    std::mt19937 random(11);
    std::uniform_int_distribution<int> small(-9, 9);
    int flat_elements = 0;
    for (int i = 0; i < 20000; ++i) {
        int p[4][3];
        for (auto& corner : p)
            for (int& c : corner)
                c = small(random);
        if (i % 2 == 0) // into the plane of the others
            for (int c = 0; c < 3; ++c)
                p[3][c] = p[0][c] + 3 * (p[1][c] - p[0][c]) - 2 * (p[2][c] - p[0][c]);
        int e[3][3];
        for (int k = 0; k < 3; ++k)
            for (int c = 0; c < 3; ++c)
                e[k][c] = p[k + 1][c] - p[0][c];
        int const exact = e[0][0] * (e[1][1] * e[2][2] - e[1][2] * e[2][1]) -
                          e[0][1] * (e[1][0] * e[2][2] - e[1][2] * e[2][0]) +
                          e[0][2] * (e[1][0] * e[2][1] - e[1][1] * e[2][0]);
        flat_elements += exact == 0;
        Vector corners[4];
        for (std::size_t k = 0; k < 4; ++k)
            corners[k] = Vector(p[k][0], p[k][1], p[k][2]) * 0x1p-10;
        ASSERT_EQ(Tetrahedron(corners).OrientationOK(), exact >= 0) << "element " << i;
    }
    EXPECT_GE(flat_elements, 10000);
    // Volumes beyond the range have their sign too.
    for (double const scale : {1e-120, 1e-80, 1e80, 1e120}) {
        Vector const a(0, 0, 0), b(scale, 0, 0), c(0, scale, 0), d(0, 0, scale);
        EXPECT_TRUE(Tetrahedron(a, b, c, d).OrientationOK()) << scale;
        EXPECT_FALSE(Tetrahedron(b, a, c, d).OrientationOK()) << scale;
    }
}

// The cosines tell which of the two angles decides, but not where both are about as far from the ideal.
TEST(Tetrahedron, AngleSkewsAreThoseOfTheWorseOfBothAngles) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> coordinate(-1.0, 1.0);
    auto const point = [&] { return Vector(coordinate(random), coordinate(random), coordinate(random)); };
    auto const expect_skew = [](double skew, double min_cos, double max_cos, double ideal, double above) {
        double const worse =
            std::max((std::acos(min_cos) - ideal) / above, (ideal - std::acos(max_cos)) / ideal);
        EXPECT_TRUE(skew == 1.0 - worse || (std::isnan(skew) && std::isnan(worse)))
            << skew << ", " << 1.0 - worse;
    };
    for (int i = 0; i < 100000; ++i) {
        Vector const a = point(), b = point(), c = point();
        double const off = i % 4 == 0 ? 1e-9 : 1.0; // near the plane of the others
        Tetrahedron const t(a, b, c,
                            a + (b - a) * coordinate(random) + (c - a) * coordinate(random) + point() * off);
        double min_cos, max_cos;
        t.GetMinMaxCos(min_cos, max_cos);
        expect_skew(t.QualityEquiAngleSkew(), min_cos, max_cos, 1.0471975511965979, 2.0943951023931957);
        t.GetMinMaxCosDihedralAngle(min_cos, max_cos);
        expect_skew(t.QualityEquiDihedralAngleSkew(), min_cos, max_cos, 1.2309594173407747,
                    1.9106332362490184);
    }
}

TEST(Tetrahedron, LengthsNeitherOverflowNorUnderflow) {
    for (double const scale : {1e-80, 1e-70, 1e70, 1e75}) { // squares of areas are beyond the range
        Tetrahedron t({0, 0, 0}, {scale, scale, 0}, {0, scale, scale}, {scale, 0, scale});
        double low, high;
        t.GetMinMaxArea(low, high);
        EXPECT_NEAR(high / scale / scale, std::sqrt(3.0) / 2.0, 1e-14) << scale;
        EXPECT_NEAR(t.GetMinHeight() / scale, 2.0 / std::sqrt(3.0), 1e-14) << scale;
        EXPECT_NEAR(t.QualityFluentOrthogonalQuality(), 1.0, 1e-14) << scale;
        EXPECT_NEAR(t.GetMaxCosDihedralAngle(), 1.0 / 3.0, 1e-14) << scale;
    }
}

TEST(Tetrahedron, AxisPlanesTouchWithoutStrictlyHolding) {
    TetrahedronBase<float> const t({0, 0, 1}, {1, 0, 1}, {0, 1, 1}, {1, 1, 1}); // all z at 1
    EXPECT_TRUE(t.TetInSlice(2, 0.0, 1.0) && t.TetInSlice(2, 1.0, 2.0));
    EXPECT_FALSE(t.TetInSlice(2, 0.0, std::nextafter(1.0, 0.0)));
    EXPECT_FALSE(t.TetInSlice(2, std::nextafter(1.0, 2.0), 2.0));
    EXPECT_TRUE(t.IsIntersected(0, 0.0) && t.IsIntersected(0, 1.0) && !t.IsIntersected(0, 1.5));
    EXPECT_TRUE(t.LargerThanXYZPlane(1, -0.5) && !t.LargerThanXYZPlane(1, 0.0));
    EXPECT_TRUE(t.SmallerThanXYZPlane(1, 1.5) && !t.SmallerThanXYZPlane(1, 1.0));
}

TEST(Tetrahedron, FacesAndEdgesFollowTheDescriptor) {
    Tetrahedron t({0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1});
    Vector const centroid = t.GetCentroid();
    for (unsigned int f = 0; f < 4; ++f) {
        MTriangle<double, 3> const out = t.GetFaceOriented(f), in = t.GetFaceUnoriented(f);
        EXPECT_GT(out.Normal().Dot(out[0] - centroid), 0.0);
        EXPECT_LT(in.Normal().Dot(in[0] - centroid), 0.0);
        std::unique_ptr<TriangularFace> const face(t.GetFace(f));
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_EQ(face->GetNode(i), out[i]);
    }
    EXPECT_EQ(t.GetMidEdgePoint(4), Vector(0.5, 0.0, 0.5)); // 1-3
    EXPECT_EQ(t.GetTriangleOfTet10(5)[2], Vector());
}

TEST(Tetrahedron, NeighborCosineKeepsItsSign) {
    Vector const a(0, 0, 0), b(1, 0, 0), c(0, 1, 0);
    Vector const below(1.0 / 3.0, 1.0 / 3.0, -1.0), above(1.0 / 3.0, 1.0 / 3.0, 2.0),
        aside(2.0, 1.0 / 3.0, 2.0);
    Tetrahedron const t(below, a, b, c);
    EXPECT_NEAR(t.FluentOrthogonalQualityForNeighbor(Tetrahedron(a, b, c, above)), 1.0, 1e-15);
    EXPECT_NEAR(t.FluentOrthogonalQualityForNeighbor(Tetrahedron(b, a, above, c)), -1.0, 1e-15);
    // The centroids are (aside - below) / 4 apart.
    Vector const line = aside - below;
    EXPECT_NEAR(t.FluentOrthogonalQualityForNeighbor(Tetrahedron(a, aside, b, c)), 3.0 / line.Length(),
                1e-15);
}
