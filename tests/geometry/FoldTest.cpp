// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/MMeshFold.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <random>

namespace {

using TenNodes = std::array<std::array<double, 3>, 10>;

// A straight-sided element with edges of 1000 along the axes.
TenNodes StraightNodes() {
    TenNodes nodes{};
    for (std::size_t i = 1; i < 4; ++i)
        nodes[i][i - 1] = 1000.0;
    std::size_t const ends[6][2] = {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}};
    for (std::size_t m = 0; m < 6; ++m)
        for (std::size_t axis = 0; axis < 3; ++axis)
            nodes[4 + m][axis] = 0.5 * (nodes[ends[m][0]][axis] + nodes[ends[m][1]][axis]);
    return nodes;
}

MMeshElement& AddTo(MMeshBase& mesh, TenNodes const& nodes) {
    std::array<MMeshPoint*, 10> points{};
    std::ranges::transform(nodes, points.begin(), [&mesh](auto const& p) {
        return mesh.AddPoint(static_cast<MLong>(std::lround(p[0])), static_cast<MLong>(std::lround(p[1])),
                             static_cast<MLong>(std::lround(p[2])));
    });
    return *mesh.AddElement(10, points.data());
}

// The determinant at a point, from the shape functions as textbooks write them.
double DeterminantAt(MMeshElement const& e, double r, double s, double t) {
    double const q = 1.0 - r - s - t;
    double const by[10][3] = {{1 - 4 * q, 1 - 4 * q, 1 - 4 * q},
                              {4 * r - 1, 0, 0},
                              {0, 4 * s - 1, 0},
                              {0, 0, 4 * t - 1},
                              {4 * (q - r), -4 * r, -4 * r},
                              {4 * s, 4 * r, 0},
                              {-4 * s, 4 * (q - s), -4 * s},
                              {-4 * t, -4 * t, 4 * (q - t)},
                              {4 * t, 0, 4 * r},
                              {0, 4 * t, 4 * s}};
    double j[3][3] = {};
    for (unsigned int i = 0; i < 10; ++i) {
        double const p[3] = {double(e.GetNode(i)->x), double(e.GetNode(i)->y), double(e.GetNode(i)->z)};
        for (int axis = 0; axis < 3; ++axis)
            for (int k = 0; k < 3; ++k)
                j[axis][k] += p[axis] * by[i][k];
    }
    return j[0][0] * (j[1][1] * j[2][2] - j[1][2] * j[2][1]) -
           j[0][1] * (j[1][0] * j[2][2] - j[1][2] * j[2][0]) +
           j[0][2] * (j[1][0] * j[2][1] - j[1][1] * j[2][0]);
}

// The smallest determinant on a grid of points in the element.
double SmallestOnGrid(MMeshElement const& e, int steps) {
    double smallest = DeterminantAt(e, 0, 0, 0);
    for (int i = 0; i <= steps; ++i)
        for (int k = 0; i + k <= steps; ++k)
            for (int m = 0; i + k + m <= steps; ++m)
                smallest = std::min(
                    smallest, DeterminantAt(e, double(i) / steps, double(k) / steps, double(m) / steps));
    return smallest;
}

TEST(Fold, AgreesWithTheDeterminantOnAGrid) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> shift(-200.0, 200.0);
    MMeshBase mesh;
    int folded = 0, found_between = 0;
    constexpr int Elements = 400;
    for (int i = 0; i < Elements; ++i) {
        TenNodes nodes = StraightNodes();
        for (std::size_t m = 4; m < 10; ++m)
            for (double& coordinate : nodes[m])
                coordinate += shift(random);
        MMeshElement const& e = AddTo(mesh, nodes);
        double const coarse = SmallestOnGrid(e, 2); // corners and middles of the edges
        double const fine = SmallestOnGrid(e, 24);
        bool const is_folded = IsFolded(e);
        folded += is_folded;
        found_between += is_folded && coarse >= 0.0;
        if (fine < 0.0) {
            EXPECT_TRUE(is_folded) << i << " has " << fine;
        } else if (fine >
                   0.02e9) { // a fiftieth of the straight element's: nothing lower hides between points
            EXPECT_FALSE(is_folded) << i << " has " << fine;
        }
    }
    EXPECT_GT(folded, Elements / 10);
    EXPECT_LT(folded, Elements * 9 / 10);
    EXPECT_GT(found_between, 0); // looking at the nodes alone would have missed these
}

TEST(Fold, IsNeitherTouchingZeroNorBeingFlat) {
    MMeshBase mesh;
    TenNodes const straight = StraightNodes();
    EXPECT_FALSE(IsFolded(AddTo(mesh, straight)));
    // A mid node a quarter along its edge: zero at the corner near it. A unit nearer, and it folds.
    TenNodes quarter = straight;
    quarter[4][0] = 250.0;
    EXPECT_FALSE(IsFolded(AddTo(mesh, quarter)));
    quarter[4][0] = 249.0;
    EXPECT_TRUE(IsFolded(AddTo(mesh, quarter)));
    // Zero all over.
    TenNodes flat = straight;
    for (auto& node : flat)
        node[2] = 0.0;
    EXPECT_FALSE(IsFolded(AddTo(mesh, flat)));
    // The largest coordinates that there are, inside out.
    TenNodes large = straight;
    for (auto& node : large)
        for (double& coordinate : node)
            coordinate = (coordinate - 500.0) * 4e6;
    EXPECT_FALSE(IsFolded(AddTo(mesh, large)));
    std::swap(large[1], large[2]);
    std::swap(large[4], large[6]);
    std::swap(large[8], large[9]);
    EXPECT_TRUE(IsFolded(AddTo(mesh, large)));
}

TEST(Fold, OfALinearElementIsANegativeVolume) {
    MMeshBase mesh;
    MMeshPoint* nodes[] = {mesh.AddPoint(0, 0, 0), mesh.AddPoint(9, 0, 0), mesh.AddPoint(0, 9, 0),
                           mesh.AddPoint(0, 0, 9)};
    EXPECT_FALSE(IsFolded(*mesh.AddElement(4, nodes)));
    std::swap(nodes[0], nodes[1]);
    EXPECT_TRUE(IsFolded(*mesh.AddElement(4, nodes)));
    nodes[1] = nodes[0];
    EXPECT_FALSE(IsFolded(*mesh.AddElement(4, nodes)));
}

// The determinant of a hexahedron or wedge at a point, t upwards, from its shape functions.
double SolidDeterminantAt(MMeshElement const& e, double r, double s, double t) {
    std::array<std::array<double, 3>, 8> by{};
    if (e.GetNodeCount() == 6)
        for (std::size_t i = 0; i < 6; ++i) {
            double const in_triangle[3][3] = {{1 - r - s, -1, -1}, {r, 1, 0}, {s, 0, 1}};
            auto const& f = in_triangle[i % 3];
            double const up = i < 3 ? 1 - t : t;
            by[i] = {f[1] * up, f[2] * up, i < 3 ? -f[0] : f[0]};
        }
    else
        for (std::size_t i = 0; i < 8; ++i) {
            bool const far_x = i % 4 == 1 || i % 4 == 2, far_y = i % 4 >= 2, far_z = i >= 4;
            double const x = far_x ? r : 1 - r, y = far_y ? s : 1 - s, z = far_z ? t : 1 - t;
            by[i] = {(far_x ? 1 : -1) * y * z, x * (far_y ? 1 : -1) * z, x * y * (far_z ? 1 : -1)};
        }
    double j[3][3] = {};
    for (unsigned int i = 0; i < e.GetNodeCount(); ++i) {
        double const p[3] = {double(e.GetNode(i)->x), double(e.GetNode(i)->y), double(e.GetNode(i)->z)};
        for (int axis = 0; axis < 3; ++axis)
            for (std::size_t k = 0; k < 3; ++k)
                j[axis][k] += p[axis] * by[i][k];
    }
    return j[0][0] * (j[1][1] * j[2][2] - j[1][2] * j[2][1]) -
           j[0][1] * (j[1][0] * j[2][2] - j[1][2] * j[2][0]) +
           j[0][2] * (j[1][0] * j[2][1] - j[1][1] * j[2][0]);
}

double SmallestInSolid(MMeshElement const& e, int steps) {
    double smallest = SolidDeterminantAt(e, 0, 0, 0);
    for (int i = 0; i <= steps; ++i)
        for (int k = 0; k <= (e.GetNodeCount() == 6 ? steps - i : steps); ++k)
            for (int m = 0; m <= steps; ++m)
                smallest = std::min(
                    smallest, SolidDeterminantAt(e, double(i) / steps, double(k) / steps, double(m) / steps));
    return smallest;
}

TEST(Fold, OfHexahedraAndWedgesAgreesWithTheDeterminantOnAGrid) {
    std::mt19937 random(11);
    std::uniform_real_distribution<double> shift(-450.0, 450.0);
    MMeshBase mesh;
    for (unsigned int const corners : {8U, 6U}) {
        SCOPED_TRACE(corners);
        int folded = 0;
        constexpr int Elements = 150;
        for (int i = 0; i < Elements; ++i) {
            std::array<MMeshPoint*, 8> nodes{};
            for (unsigned int n = 0; n < corners; ++n) {
                unsigned int const in_layer = n % (corners / 2);
                auto const at = [&](bool far) {
                    return static_cast<MLong>((far ? 1000.0 : 0.0) + shift(random));
                };
                bool const far_x = in_layer == 1 || (corners == 8 && in_layer == 2), far_y = in_layer >= 2;
                MLong const x = at(far_x), y = at(far_y), z = at(n >= corners / 2);
                nodes[n] = mesh.AddPoint(x, y, z);
            }
            MMeshElement const& e = *mesh.AddElement(static_cast<char>(corners), nodes.data());
            double const fine = SmallestInSolid(e, 8);
            bool const is_folded = IsFolded(e);
            folded += is_folded;
            if (fine < 0.0) {
                EXPECT_TRUE(is_folded) << i << " has " << fine;
            } else if (fine > 0.1e9) {
                EXPECT_FALSE(is_folded) << i << " has " << fine;
            }
        }
        EXPECT_GT(folded, Elements / 10);
        EXPECT_LT(folded, Elements * 9 / 10);
    }
}

// Positive at all corners, and negative in the middle of the edge between the first nodes of bottom and top.
TEST(Fold, OfHexahedraAndWedgesIsFoundBetweenTheCorners) {
    MMeshBase mesh;
    for (MLong const reach : {200, 0}) {
        MMeshPoint* hexahedron[] = {mesh.AddPoint(0, 0, 0),
                                    mesh.AddPoint(1000, 0, 0),
                                    mesh.AddPoint(1000, 1000, 0),
                                    mesh.AddPoint(0, 1000, 0),
                                    mesh.AddPoint(0, 0, 1000),
                                    mesh.AddPoint(-1000, reach, 1000),
                                    mesh.AddPoint(reach - 1000, reach - 1000, 1000),
                                    mesh.AddPoint(reach, -1000, 1000)};
        MMeshPoint* wedge[] = {hexahedron[0], hexahedron[1], hexahedron[3],
                               hexahedron[4], hexahedron[5], hexahedron[7]};
        for (MMeshElement const* const e : {mesh.AddElement(8, hexahedron), mesh.AddElement(6, wedge)}) {
            EXPECT_GT(SmallestInSolid(*e, 1), 0.0);
            EXPECT_EQ(SmallestInSolid(*e, 2) < 0.0, reach > 0);
            EXPECT_EQ(IsFolded(*e), reach > 0); // touching zero is no fold
        }
    }
}

} // namespace
