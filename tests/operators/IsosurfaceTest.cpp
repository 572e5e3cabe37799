// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Mesh/operators/MMeshIsosurfaceOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Vector = MMVector<double, 3>;
using Triangle = MTriangle<double, 3>;
using Mask = MMeshIsosurfaceOperator::NodesMask;

struct Isosurface : MMeshIsosurfaceOperator {
    std::vector<Triangle> TrianglesOf(VertexValuedTetrahedron& t) {
        std::vector<Triangle> triangles;
        for (Triangle const* const triangle : _GetIsoTriangles(t)) {
            triangles.push_back(*triangle);
            delete triangle;
        }
        return triangles;
    }
    using MMeshIsosurfaceOperator::_AddTriangle;
};

// A block of n x n x n cubes with a value at each node.
struct Block {
    explicit Block(int n) {
        TestMeshes::FillWithCubes(mesh, n);
        mesh.GetPointMasks()->RegisterMask(&values);
        iso.SetMesh(&mesh);
        iso.SetNodesMask(&values);
        iso.SetIsoSurface(&surface);
    }
    MMeshBase mesh;
    Mask values;
    MStlBase surface;
    Isosurface iso;
};

} // namespace

// Whatever the values, the triangles lie where the linear field has the level, face its gradient, and cover
// the triangle or quadrilateral that the corners above the level cut off.
TEST(Isosurface, TrianglesOfOneTetrahedron) {
    std::mt19937 random(11);
    std::uniform_real_distribution<double> number(-1.0, 1.0);
    Isosurface iso;
    for (int run = 0; run < 20000; ++run) {
        double const level = number(random);
        iso.SetIsoValue(level);
        Vector corners[4];
        double values[4];
        unsigned int above = 0;
        for (unsigned int i = 0; i < 4; ++i) {
            corners[i] = {number(random), number(random), number(random)};
            // Some are tiny differences, whose products underflow.
            values[i] = run % 10 == 0 ? number(random) * 1e-170 : number(random);
            values[i] = run % 10 == 0 ? values[i] : values[i] + level;
            above += values[i] > (run % 10 == 0 ? 0.0 : level);
        }
        if (run % 10 == 0)
            iso.SetIsoValue(0.0);
        VertexValuedTetrahedron t(corners);
        if (std::fabs(t.Volume()) < 1e-3)
            continue;
        t.SetValues(values[0], values[1], values[2], values[3]);
        auto const triangles = iso.TrianglesOf(t);
        ASSERT_EQ(triangles.size(), std::vector<std::size_t>({0, 1, 2, 1, 0})[above]) << run;

        // The value and gradient of the field, by the volumes that a point cuts the tetrahedron into.
        double const scale = run % 10 == 0 ? 1e170 : 1.0;
        auto const value_at = [&](Vector const& p) {
            double value = 0.0;
            for (unsigned int i = 0; i < 4; ++i) {
                VertexValuedTetrahedron part(t);
                part.SetVertex(i, p);
                value += part.Volume() / t.Volume() * (values[i] - iso.GetIsoValue()) * scale;
            }
            return value;
        };
        for (Triangle const& triangle : triangles) {
            for (std::size_t i = 0; i < 3; ++i)
                EXPECT_NEAR(value_at(triangle[i]), 0.0, 1e-9) << run;
            if (triangle.Area() > 1e-6) {
                EXPECT_GT(value_at(triangle[0] + triangle.Normal()), 0.0) << run;
            }
        }
        if (triangles.size() == 2) {
            // The common edge is one diagonal of a convex quadrilateral; the other joins the rest.
            std::vector<Vector> common;
            std::vector<Vector> rest;
            for (std::size_t k = 0; k < 2; ++k)
                for (std::size_t i = 0; i < 3; ++i) {
                    Vector const p = triangles[k][i];
                    Triangle const& other = triangles[1 - k];
                    bool const shared = p == other[0] || p == other[1] || p == other[2];
                    (shared ? common : rest).push_back(p);
                }
            ASSERT_EQ(rest.size(), 2u) << run;
            Vector const diagonal =
                *std::ranges::find_if(common, [&](auto const& p) { return p != common[0]; }) - common[0];
            EXPECT_NEAR(triangles[0].Area() + triangles[1].Area(),
                        0.5 * diagonal.Cross(rest[1] - rest[0]).Length(), 1e-9)
                << run;
        }
    }
}

TEST(Isosurface, CornersOnTheLevelAndWithoutAValue) {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        double values[4];
        std::size_t triangles;
    };
    Isosurface iso;
    iso.SetIsoValue(5.0);
    for (Case const& c : std::vector<Case>{{{5, 5, 5, 5}, 0},
                                           {{5, 9, 9, 9}, 0}, // on the level is above it
                                           {{5, 4, 4, 4}, 1}, // a point, and no reference vertex
                                           {{4, 5, 4, 9}, 2},
                                           {{5, 5, 5, 4}, 1},
                                           {{nan, 4, 9, 9}, 0},
                                           {{nan, nan, 4, 9}, 0}}) {
        VertexValuedTetrahedron t({0, 0, 0}, {6, 0, 0}, {0, 6, 0}, {0, 0, 6});
        t.SetValues(c.values[0], c.values[1], c.values[2], c.values[3]);
        EXPECT_EQ(iso.TrianglesOf(t).size(), c.triangles) << c.values[0] << c.values[1] << c.values[2];
    }
    // Exactly equal corners go; corners that rounding makes equal stay.
    MStlBase surface;
    iso._AddTriangle(&surface, {{1, 1, 1}, {2, 2, 2}, {1, 1, 1}});
    EXPECT_EQ(surface.NumberOfPoints() + surface.NumberOfTriangles(), 0u);
    iso._AddTriangle(&surface, {{1, 1, 1}, {2, 2, 2}, {1, 1, 1 + 1e-9}});
    EXPECT_EQ(surface.NumberOfPoints(), 2u);
    EXPECT_EQ(surface.NumberOfTriangles(), 1u);
}

TEST(Isosurface, OfADistanceConvergesToTheSphere) {
    double area_error[2];
    double volume_error[2];
    int const sizes[2] = {14, 26}; // no node lies on these spheres
    for (int const k : {0, 1}) {
        int const n = sizes[k];
        Block block(n);
        block.iso.GenerateDemoValues(); // a sphere of a quarter of the box
        ASSERT_TRUE(block.iso.Operate());
        ASSERT_EQ(block.surface.NumberOfSurfaces(), 1u);
        MStlSurface const& surface = *block.surface.GetSurface(0);
        EXPECT_TRUE(surface.IsClosed());
        double const r = n / 4.0;
        Vector const centre(n / 2.0, n / 2.0, n / 2.0);
        double volume = 0.0;
        for (MStlTriangle const& t : surface.Triangles()) {
            Triangle const p = t.GetPositions();
            EXPECT_GT(p.Normal().Dot(p[0] - centre), 0.0) << "values are higher outside";
            volume += (p[0] - centre).Dot((p[1] - centre).Cross(p[2] - centre)) / 6.0;
        }
        double const pi = std::acos(-1.0);
        area_error[k] = std::fabs(surface.GetArea() / (4.0 * pi * r * r) - 1.0);
        volume_error[k] = std::fabs(volume / (4.0 / 3.0 * pi * r * r * r) - 1.0);
    }
    EXPECT_LT(volume_error[1], 0.02);
    double const finer = std::log(double{26} / 14);
    EXPECT_NEAR(std::log(area_error[0] / area_error[1]) / finer, 2.0, 0.4);
    EXPECT_NEAR(std::log(volume_error[0] / volume_error[1]) / finer, 2.0, 0.4);
}

TEST(Isosurface, RefusesWithoutWritingAnything) {
    MMeshIsosurfaceOperator iso;
    iso.GenerateDemoValues();
    EXPECT_FALSE(iso.Operate());
    MMeshBase small;
    TestMeshes::FillWithCubes(small, 5); // 750 elements
    Mask values;
    iso.SetMesh(&small);
    iso.SetNodesMask(&values);
    try {
        iso.Operate();
        ADD_FAILURE() << "nothing was thrown";
    } catch (std::domain_error const& e) {
        EXPECT_EQ(std::string(e.what()), "integer division by zero");
    }
    EXPECT_EQ(iso.GetIsoSurface(), nullptr);
    MMeshBase large;
    TestMeshes::FillWithCubes(large, 6);
    iso.SetMesh(&large);
    iso.SetNodesMask(nullptr);
    iso.GenerateDemoValues();
    EXPECT_FALSE(iso.Operate());
    EXPECT_EQ(iso.GetIsoSurface(), nullptr);
    iso.SetNodesMask(&values); // in no mesh: the default everywhere
    ASSERT_TRUE(iso.Operate());
    std::unique_ptr<MStlBase> const made(iso.GetIsoSurface());
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->NumberOfTriangles(), 0u);
}
