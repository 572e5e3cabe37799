// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Mesh/operators/MMeshOperatorCutPlane.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace {

using Point = MMeshOperatorCutPlane::Point;

// Fills the unit cube at (x, y, z) with elements of a kind, on nodes that are shared.
void FillCube(MMeshBase& mesh, int kind, MLong x, MLong y, MLong z) {
    auto const at = [&](MLong dx, MLong dy, MLong dz) { // in halves
        return &mesh.AddPointUnique(Point(x + 0.5 * dx, y + 0.5 * dy, z + 0.5 * dz), TestMeshes::Unit);
    };
    MLong const c[8][3] = {{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0},
                           {0, 0, 2}, {2, 0, 2}, {2, 2, 2}, {0, 2, 2}};
    auto const corner = [&](int i) { return at(c[i][0], c[i][1], c[i][2]); };
    auto const middle = [&](int i, int k) {
        return at((c[i][0] + c[k][0]) / 2, (c[i][1] + c[k][1]) / 2, (c[i][2] + c[k][2]) / 2);
    };
    if (kind == 8)
        TestMeshes::AddElement(
            mesh, {corner(0), corner(1), corner(2), corner(3), corner(4), corner(5), corner(6), corner(7)});
    if (kind == 6) {
        TestMeshes::AddElement(mesh, {corner(0), corner(1), corner(2), corner(4), corner(5), corner(6)});
        TestMeshes::AddElement(mesh, {corner(0), corner(2), corner(3), corner(4), corner(6), corner(7)});
    }
    if (kind == 4 || kind == 10)
        for (auto const& t : MMeshElementDescriptor::descr_6tetra_point) {
            int const place[4] = {t[0], t[1], t[3], t[2]}; // the table winds against the element
            std::vector<MMeshPoint*> nodes;
            for (int const i : place)
                nodes.push_back(corner(i));
            if (kind == 10)
                for (auto const& edge : MMeshElementDescriptor::descr_tet4_tet10_point)
                    nodes.push_back(middle(place[edge[0]], place[edge[1]]));
            TestMeshes::AddElement(mesh, nodes);
        }
}

// n x n x n unit cubes of one kind or, for 0, layers of hexahedra and wedges in turn.
void FillBlock(MMeshBase& mesh, int kind, MLong n) {
    for (MLong z = 0; z < n; ++z)
        for (MLong y = 0; y < n; ++y)
            for (MLong x = 0; x < n; ++x)
                FillCube(mesh, kind != 0 ? kind : x % 2 == 0 ? 8 : 6, x, y, z);
}

// What must hold for every section: sides as the plane-side tests have them, visibility, contours that
// close, and a surface of the same area.
void ExpectConsistent(MMeshBase& mesh, MMeshOperatorCutPlane const& cut) {
    std::uint64_t count[3] = {};
    for (MMeshElement& e : mesh.Elements()) {
        auto const side = cut.GetSide(e);
        ++count[side + 1];
        ASSERT_EQ(mesh.GetElementMasks()->GetVisibleMask()->GetValue(e),
                  side != MMeshOperatorCutPlane::Above);
    }
    EXPECT_EQ(cut.GetNbBelow(), count[0]);
    EXPECT_EQ(cut.GetNbCut(), count[1]);
    EXPECT_EQ(cut.GetNbAbove(), count[2]);
    MMeshSection const& section = cut.GetSection();
    double const area = section.GetArea();
    std::vector<int> uses(static_cast<std::size_t>(section.NumberOfPoints()), 0);
    for (std::uint64_t i = 0; i < section.NumberOfPolygons(); ++i) {
        EXPECT_GE(section.GetArea(i), 0.0);
        for (std::uint32_t const corner : section.GetCorners(i))
            ++uses[corner];
    }
    for (std::uint64_t i = 0; i < section.NumberOfPoints(); ++i) {
        EXPECT_GT(uses[i], 0);
        EXPECT_NEAR((section.GetPoint(i) - cut.GetPoint()).Dot(section.GetNormal()), 0.0, 1e-12);
    }
    MSection const contours = cut.GetContours();
    EXPECT_NEAR(contours.GetArea(), area, 1e-12 * (1.0 + area));
    for (auto const& contour : contours.Contours())
        EXPECT_TRUE(contour.closed);
    MStlBase stl;
    auto const elements = cut.AddSurfaces(stl);
    ASSERT_EQ(elements.size(), stl.NumberOfTriangles());
    double of_surface = 0.0;
    for (MStlSurface const& surface : stl.Surfaces())
        of_surface += surface.GetArea();
    EXPECT_NEAR(of_surface, area, 1e-4 * (1.0 + area)) << "rounded to internal units";
}

struct Plane {
    Point normal;
    Point point;
    double area; // within a cube of side 4
    std::uint64_t contours;
};

} // namespace

TEST(Section, OfABlockIsThatOfTheCubeWhateverItsElements) {
    double const n = 4.0;
    std::vector<Plane> planes = {
        {{1, 1, 1}, {2, 2, 2}, 0.75 * std::sqrt(3.0) * n * n, 1}, // a hexagon, through nodes
        {{-1, 1, 0}, {0, 0, 0}, std::sqrt(2.0) * n * n, 1},       // along faces of tetrahedra and wedges
        {{1, 1, 0}, {3, 1, 0}, std::sqrt(2.0) * n * n, 1},        // through edges
        {{1, 1, 1}, {0, 0, 0}, 0.0, 0},                           // touches a corner
        {{1, 0, 1}, {4, 0, 4}, 0.0, 0},                           // and an edge
        {{0, 0, 1}, {0, 0, 4.5}, 0.0, 0},
        {{1e300, 0, 0}, {1.25, 0, 0}, n * n, 1}};
    for (double z = 0.0; z <= 4.0; z += 0.5) // in faces at whole numbers, the lowest and the highest too
        for (double const up : {1.0, -2.0})
            planes.push_back({{0, 0, up}, {0, 0, z}, n * n, 1});
    for (int const kind : {4, 6, 8, 10, 0}) {
        MMeshBase mesh;
        FillBlock(mesh, kind, 4);
        for (Plane const& plane : planes) {
            SCOPED_TRACE(testing::Message() << kind << " normal " << plane.normal[0] << " " << plane.normal[1]
                                            << " " << plane.normal[2] << " through " << plane.point[2]);
            MMeshOperatorCutPlane cut;
            cut.SetMesh(&mesh);
            cut.SetPlane(plane.normal, plane.point);
            ASSERT_TRUE(cut.Operate());
            EXPECT_NEAR(cut.GetSection().GetArea(), plane.area, 1e-12 * (1.0 + plane.area));
            EXPECT_EQ(cut.GetContours().NumberOfContours(), plane.contours);
            ExpectConsistent(mesh, cut);
        }
    }
}

// Nodes moved at random bend the faces; they stay common ones, and the stack of sections the volume.
TEST(Section, BentElementsLeaveNoGapAndStackUpToTheVolume) {
    for (int const kind : {4, 6, 8, 10}) {
        SCOPED_TRACE(kind);
        MMeshBase mesh;
        FillBlock(mesh, kind, 4);
        std::mt19937 random(5);
        std::uniform_int_distribution<MLong> shift(-TestMeshes::Unit / 8, TestMeshes::Unit / 8);
        for (MMeshPointIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
            p->x += shift(random), p->y += shift(random), p->z += shift(random);
        mesh.NodesMoved();
        MMeshOperatorCutPlane cut;
        cut.SetMesh(&mesh);
        Point const normal(1.0, 2.0, 2.0); // of length 3
        double volume = 0.0;
        for (int i = -5; i <= 125; ++i) {
            cut.SetPlane(normal, normal * (20.0 / 120.0 * i / 9.0));
            ASSERT_TRUE(cut.Operate());
            volume += cut.GetSection().GetArea() * 20.0 / 120.0 / 3.0;
            if (i % 10 == 5)
                ExpectConsistent(mesh, cut);
        }
        EXPECT_NEAR(volume, mesh.GetVolume(), 0.005 * volume);
    }
}

// A block without its middle, and two cubes that touch along an edge, in sub-volumes of their own.
TEST(Section, ContoursGoRoundHolesAndKeepTouchingPartsApart) {
    MMeshBase mesh;
    for (MLong z = 0; z < 2; ++z)
        for (MLong i = 0; i < 9; ++i)
            if (i != 4)
                FillCube(mesh, 4, i % 3, i / 3, z);
    MMeshSubVolume* const corner = mesh.AddSubVolume();
    corner->SetName(L"corner");
    int const in_block = mesh.NumberOfElements();
    FillCube(mesh, 4, 3, 3, 0);
    for (int i = in_block; i < mesh.NumberOfElements(); ++i)
        mesh.GetMainSubVolume()->MoveElement(*mesh.GetElement(static_cast<std::uint64_t>(i)), corner);
    MMeshOperatorCutPlane cut;
    EXPECT_FALSE(cut.Operate());
    cut.SetMesh(&mesh);
    ASSERT_TRUE(cut.Operate());
    EXPECT_NEAR(cut.GetSection().GetArea(), 9.0, 1e-12) << "the plane z = 0, in faces";
    cut.SetPlane({0, 0, 3}, {0, 0, 0.3});
    ASSERT_TRUE(cut.Operate());
    ExpectConsistent(mesh, cut);
    MSection const contours = cut.GetContours();
    EXPECT_EQ(contours.NumberOfContours(), 3u);
    EXPECT_NEAR(contours.GetLength(), 12.0 + 4.0 + 4.0, 1e-12);
    MStlBase stl;
    auto const elements = cut.AddSurfaces(stl);
    ASSERT_EQ(stl.NumberOfSurfaces(), 2u);
    EXPECT_EQ(stl.GetSurface(1)->GetName(), L"corner");
    EXPECT_NEAR(stl.GetSurface(1)->GetArea(), 1.0, 1e-4);
    EXPECT_EQ(mesh.GetSubVolume(*elements.back()), corner);

    for (Point const& normal : {Point(0, 0, 0), Point(0, std::numeric_limits<double>::quiet_NaN(), 1),
                                Point(std::numeric_limits<double>::infinity(), 0, 0)}) {
        cut.SetPlane(normal, {0, 0, 0});
        EXPECT_FALSE(cut.Operate());
        EXPECT_EQ(cut.GetNbCut() + cut.GetSection().NumberOfPolygons(), 0u);
    }
}
