// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/DataQueries/MStlTriangleTree.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

using Point = MStlTriangleTree::Point;

constexpr double Unit = KetSDK::Common::MInternalUnits::Get();

// The distance to the nearest of the points of a fine lattice on the triangle: an upper bound, and close.
double DistanceBySampling(MTriangle<double, 3> const& t, Point const& p, int steps) {
    double least = std::numeric_limits<double>::infinity();
    for (int i = 0; i <= steps; ++i)
        for (int j = 0; i + j <= steps; ++j) {
            double const u = static_cast<double>(i) / steps;
            double const v = static_cast<double>(j) / steps;
            least = std::min(least, (t[0] + u * (t[1] - t[0]) + v * (t[2] - t[0]) - p).Length());
        }
    return least;
}

} // namespace

TEST(TriangleTree, AnswersAsAWalkOverAllTriangles) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> place(-10.0, 10.0);
    std::uniform_real_distribution<double> step(-1.5, 1.5);
    MStlBase stl;
    auto const point_near = [&](double x, double y, double z) {
        auto const round = [](double c) { return static_cast<MLong>(std::lround(c * Unit)); };
        return stl.AddPoint(round(x), round(y), round(z), true);
    };
    for (int i = 0; i < 600; ++i) {
        double const x = place(random), y = place(random), z = place(random);
        // Every fifth triangle is a needle, every seventh a point, and every third comes twice.
        double const width = i % 5 == 0 ? 0.0 : 1.0;
        double const size = i % 7 == 0 ? 0.0 : 1.0;
        double const dx = step(random) * size, dy = step(random) * size;
        MStlPoint* const p[3] = {point_near(x, y, z), point_near(x + dx, y + dy, z),
                                 point_near(x + 2 * dx, y + 2 * dy, z + width * size * step(random))};
        for (int copy = 0; copy < (i % 3 == 0 ? 2 : 1); ++copy)
            stl.AddTriangle(p[0], p[1], p[2], nullptr);
    }
    MStlTriangleTree const tree(stl);
    ASSERT_EQ(tree.NumberOfTriangles(), stl.NumberOfTriangles());
    std::vector<MStlTriangleTree::Hit> hits;
    for (int i = 0; i < 200; ++i) {
        Point const p(place(random), place(random), place(random));
        MStlTriangleTree::Hit const nearest = tree.FindNearest(p);
        tree.FindWithin(p, 3.0, hits);
        std::size_t within = 0;
        double least = std::numeric_limits<double>::infinity();
        std::uint64_t least_number = 0;
        for (std::uint64_t number = 0; number < stl.NumberOfTriangles(); ++number) {
            auto const t = stl.GetTriangle(number)->GetPositions();
            Point const closest = MStlTriangleTree::ClosestPoint(t, p);
            double const distance = (closest - p).Length();
            if (distance < least) {
                least = distance;
                least_number = number;
            }
            if (distance <= 3.0) {
                ASSERT_LT(within, hits.size());
                ASSERT_EQ(hits[within].number, number);
                ASSERT_EQ(hits[within].triangle, stl.GetTriangle(number));
                ASSERT_EQ(hits[within++].distance, distance);
            }
            if (i < 5) {
                double const sampled = DistanceBySampling(t, p, 60);
                ASSERT_LE(distance, sampled + 1e-12) << number;
                ASSERT_GE(distance, sampled - 0.07) << number;
                ASSERT_LE(DistanceBySampling(t, closest, 60), 0.07) << "the point lies on the triangle";
            }
        }
        EXPECT_EQ(within, hits.size());
        EXPECT_EQ(nearest.number, least_number);
        EXPECT_EQ(nearest.distance, least);
        EXPECT_EQ(tree.FindNearest(p, least).number, least_number);
        EXPECT_EQ(tree.FindNearest(p, 0.999 * least).triangle, nullptr);
    }
}

TEST(TriangleTree, HasNoAnswerWithoutTrianglesOrForNoPoint) {
    MStlBase stl;
    EXPECT_EQ(MStlTriangleTree(stl).FindNearest({0, 0, 0}).triangle, nullptr);
    stl.AddTriangle(stl.AddPoint(0, 0, 0, false), stl.AddPoint(9, 0, 0, false), stl.AddPoint(0, 9, 0, false),
                    nullptr);
    MStlTriangleTree const tree(stl);
    double const nan = std::numeric_limits<double>::quiet_NaN();
    std::vector<MStlTriangleTree::Hit> hits(3);
    for (Point const& p : {Point(nan, 0, 0), Point(0, HUGE_VAL, 0)}) {
        EXPECT_EQ(tree.FindNearest(p).triangle, nullptr);
        tree.FindWithin(p, 1.0, hits);
        EXPECT_TRUE(hits.empty());
    }
    EXPECT_EQ(tree.FindNearest({1e300, 0, 0}).triangle, stl.GetTriangle(0));
}
