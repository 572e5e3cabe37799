// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"
#include "TestProgress.h"

#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/MMeshProjectTetOnStlOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace {

using TestMeshes::Unit;
using Vector = MMVector<double, 3>;

Vector PositionOf(MMeshPoint const& p) {
    return Vector(p.x, p.y, p.z) / static_cast<double>(Unit);
}

std::vector<Vector> PositionsOf(MMeshBase const& mesh) {
    std::vector<Vector> positions;
    for (auto p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
        positions.push_back(PositionOf(*p));
    return positions;
}

void AddTriangle(MStlBase& stl, std::array<Vector, 3> const& corners) {
    MStlPoint* points[3];
    for (std::size_t i = 0; i < 3; ++i) {
        Vector const p = corners[i] * static_cast<double>(Unit);
        points[i] = stl.AddPoint(static_cast<MLong>(std::lround(p[0])), static_cast<MLong>(std::lround(p[1])),
                                 static_cast<MLong>(std::lround(p[2])), false);
    }
    stl.AddTriangle(points[0], points[1], points[2], nullptr);
}

// A large triangle at a height.
void FillWithPlane(MStlBase& stl, double z) {
    AddTriangle(stl, {Vector(-50, -50, z), Vector(100, -50, z), Vector(-50, 100, z)});
}

// The faces of a cube, each n x n squares, blown up to a sphere.
void FillWithSphere(MStlBase& stl, double radius, int n) {
    for (std::size_t axis = 0; axis < 3; ++axis)
        for (int side : {-1, 1})
            for (int i = 0; i < n; ++i)
                for (int k = 0; k < n; ++k) {
                    auto const at = [&](int u, int v) {
                        Vector p;
                        p[axis] = side;
                        p[(axis + 1) % 3] = 2.0 * u / n - 1.0;
                        p[(axis + 2) % 3] = 2.0 * v / n - 1.0;
                        p.Normalize();
                        return radius * p;
                    };
                    AddTriangle(stl, {at(i, k), at(i + 1, k), at(i + 1, k + 1)});
                    AddTriangle(stl, {at(i, k), at(i + 1, k + 1), at(i, k + 1)});
                }
}

// A tetrahedron from the centre to each triangle of such a sphere.
void FillWithBall(MMeshBase& mesh, double radius, int n) {
    MStlBase stl;
    FillWithSphere(stl, radius, n);
    mesh.ForbidDuplicatePoints();
    MMeshPoint* const centre = mesh.AddPoint(0, 0, 0);
    for (MStlTriangle const& triangle : stl.Triangles()) {
        std::vector<MMeshPoint*> nodes = {centre};
        for (unsigned int i = 0; i < 3; ++i) {
            MStlPoint const& p = *triangle.GetPoint(i);
            nodes.push_back(mesh.AddPoint(p.GetX(), p.GetY(), p.GetZ()));
        }
        MMeshElement* const e = TestMeshes::AddElement(mesh, nodes);
        if (TetrahedronBase<double>(e).Volume() < 0.0)
            e->SwapNodes(1, 2);
    }
}

MMeshProjectTetOnStlOperator Projection(MMeshBase& mesh, MStlBase& stl, double distance) {
    MMeshProjectTetOnStlOperator project;
    project.SetMesh(&mesh);
    project.SetStl(&stl);
    project.SetDistance(distance);
    return project;
}

} // namespace

TEST(Project, ABallGrowsToALargerSphere) {
    constexpr int n = 6;
    constexpr double radius = 5.3;
    MStlBase stl;
    FillWithSphere(stl, radius, 40);
    MMeshBase mesh;
    FillWithBall(mesh, 5.0, n);
    mesh.GetNeighborsInfo()->Enable();
    MMeshBase again(mesh);
    auto project = Projection(mesh, stl, 0.31);
    std::vector<MMeshPoint*> const nodes = project.FindNodes();
    EXPECT_EQ(nodes.size(), 218U);
    ASSERT_TRUE(project.Operate());
    EXPECT_EQ(project.GetNbMoved(), 218U);
    EXPECT_EQ(project.GetNbShortened() + project.GetNbLeft(), 0U);
    EXPECT_NEAR(project.GetLargestMove(), 0.3, 0.01);
    for (MMeshPoint const* const p : nodes)
        EXPECT_NEAR(PositionOf(*p).Length(), radius, 0.01);
    EXPECT_NEAR(mesh.GetBoundingBox().GetMax()[0], radius * Unit, 0.01 * Unit);
    int outside = 0;
    for (MMeshElement& e : mesh.Elements()) {
        EXPECT_GT(TetrahedronBase<double>(&e).Volume(), 0.0);
        for (unsigned int face = 0; face < 4; ++face)
            outside += mesh.GetNeighborsInfo()->GetNeighbor(&e, face) == nullptr;
    }
    EXPECT_EQ(outside, 2 * 6 * n * n);

    auto parallel = Projection(again, stl, 0.31);
    parallel.SetParallel(true);
    ASSERT_TRUE(parallel.Operate());
    EXPECT_TRUE(PositionsOf(again) == PositionsOf(mesh));
    ASSERT_TRUE(parallel.Operate());
    EXPECT_EQ(parallel.GetNbOnSurface(), 218U) << "a second run finds nothing to do";
}

// Everything is to become flat.
TEST(Project, NoElementFoldsAndNoNodeMovesFromFartherAway) {
    constexpr double z = 1.7;
    MStlBase stl;
    FillWithPlane(stl, z);
    for (auto const& [distance, far] : {std::pair(5.0, 0U), std::pair(1.0, 32U), std::pair(0.1, 56U)}) {
        SCOPED_TRACE(distance);
        MMeshBase mesh;
        TestMeshes::FillWithCubes(mesh, 3);
        std::vector<Vector> const before = PositionsOf(mesh);
        auto project = Projection(mesh, stl, distance);
        ASSERT_TRUE(project.Operate());
        EXPECT_EQ(project.GetNbNodes(), 56U);
        EXPECT_EQ(project.GetNbFar(), far);
        EXPECT_EQ(project.GetNbMoved() > 0, far < 56);
        EXPECT_EQ(project.GetNbShortened() > 0, far < 56);
        for (MMeshElement& e : mesh.Elements())
            EXPECT_GT(TetrahedronBase<double>(&e).Volume(), 0.0);
        std::uint64_t on_plane = 0, part_of_the_way = 0;
        std::vector<Vector> const after = PositionsOf(mesh);
        for (std::size_t i = 0; i < after.size(); ++i) {
            EXPECT_EQ(after[i][0], before[i][0]);
            EXPECT_EQ(after[i][1], before[i][1]);
            double const way = (after[i][2] - before[i][2]) / (z - before[i][2]);
            on_plane += std::abs(way - 1.0) < 1e-4;
            part_of_the_way += way != 0.0 && std::abs(way - 1.0) >= 1e-4;
            EXPECT_TRUE(way >= 0.0 && way < 1.0001);
            EXPECT_TRUE(way == 0.0 || std::abs(z - before[i][2]) <= distance);
        }
        EXPECT_EQ(on_plane, project.GetNbMoved());
        EXPECT_EQ(part_of_the_way, project.GetNbShortened());
    }
}

// The base is 6 above the plane, the tip 12: the base goes there, the tip half of its way.
TEST(Project, MidNodesKeepTheirOffsets) {
    MStlBase stl;
    FillWithPlane(stl, -6.0);
    for (unsigned char const kind : {std::uint8_t(4), std::uint8_t(10)}) {
        MMeshBase mesh;
        MMeshElement& e = *TestMeshes::AddElementOfKind(mesh, kind);
        for (unsigned int i = 4; i < kind; ++i)
            e.GetNode(i)->z += Unit / 4;
        std::vector<Vector> const before = PositionsOf(mesh);
        auto project = Projection(mesh, stl, 20.0);
        ASSERT_TRUE(project.Operate());
        EXPECT_EQ(project.GetNbMoved(), 3U);
        EXPECT_EQ(project.GetNbShortened(), 1U);
        EXPECT_EQ(project.GetLargestMove(), 6.0);
        std::vector<Vector> const after = PositionsOf(mesh);
        for (std::size_t i = 0; i < kind; ++i)
            EXPECT_EQ(after[i], before[i] - Vector(0, 0, 6)) << i;
    }
}

TEST(Project, AMidNodeOfTwoEdgesStaysAndIsLookedAtAllTheSame) {
    MStlBase stl;
    FillWithPlane(stl, -6.0);
    MMeshBase mesh;
    MMeshElement const& e = *TestMeshes::AddElementOfKind(mesh, 10);
    std::vector<MMeshPoint*> others(e.GetNodes(), e.GetNodes() + 10);
    others[1] = TestMeshes::AddNodes(mesh, {{60, 0, 0}})[0]; // so its mid nodes are on other edges, too
    TestMeshes::AddElement(mesh, others);
    std::vector<Vector> const before = PositionsOf(mesh);
    ASSERT_TRUE(Projection(mesh, stl, 20.0).Operate());
    for (std::size_t const mid : {4U, 5U, 8U})
        EXPECT_EQ(PositionsOf(mesh)[mid], before[mid]);
    EXPECT_GT(Tetrahedron10Base<double>(&e, false).MinJacobianDeterminant(), 0.0);
}

TEST(Project, AnInvertedElementIsNotMadeWorse) {
    MStlBase stl;
    FillWithPlane(stl, -6.0);
    MMeshBase mesh;
    TestMeshes::AddElementOfKind(mesh, 4)->SwapNodes(1, 2);
    auto project = Projection(mesh, stl, 20.0);
    ASSERT_TRUE(project.Operate());
    // The node below the tip would make it larger. The others do not, and the tip goes through between
    // them, which turns the element the right way round.
    EXPECT_EQ(project.GetNbMoved(), 3U);
    EXPECT_EQ(project.GetNbHeld(), 1U);
    EXPECT_EQ(mesh.GetVolume(), 36.0);
}

TEST(Project, NodesBetweenSubVolumesMoveWhenAsked) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 2);
    MMeshSubVolume* const upper = mesh.AddSubVolume();
    for (MMeshElement& e : mesh.Elements())
        if (TetrahedronBase<double>(&e).GetCentroid()[2] > 1.0)
            upper->IncludeElement(e);
    MStlBase stl;
    FillWithPlane(stl, 1.25);
    auto project = Projection(mesh, stl, 0.5);
    EXPECT_EQ(project.FindNodes().size(), 26U);
    project.SetInterfaces(true);
    ASSERT_TRUE(project.Operate());
    EXPECT_EQ(project.GetNbMoved(), 9U);
    EXPECT_NEAR(upper->GetVolume(), 3.0, 1e-3);
}

TEST(Project, CancellingPutsEveryNodeBack) {
    MStlBase sphere, plane;
    FillWithSphere(sphere, 5.3, 10);
    FillWithPlane(plane, -6.0);
    MMeshBase ball, curved;
    FillWithBall(ball, 5.0, 6);
    TestMeshes::AddElementOfKind(curved, 10);
    for (auto const& [mesh, stl] : {std::pair(&ball, &sphere), std::pair(&curved, &plane)}) {
        std::vector<Vector> const before = PositionsOf(*mesh);
        auto project = Projection(*mesh, *stl, 20.0);
        for (double const part : {0.0, 0.5, 0.6, 0.9, 1.0}) {
            auto const delegate = std::make_shared<RecordingDelegate>(part);
            project.SetProgressDelegate(delegate);
            EXPECT_FALSE(project.Operate()) << part;
            EXPECT_TRUE(PositionsOf(*mesh) == before) << part;
            EXPECT_EQ(project.GetNbNodes(), 0U);
            EXPECT_FALSE(delegate->m_running);
        }
        project.SetProgressDelegate(std::make_shared<RecordingDelegate>());
        EXPECT_TRUE(project.Operate());
    }
}

// Each node of a block can be pulled down until the elements around it are nearly flat.
TEST(Project, NoElementFallsBelowTheSmallestQuality) {
    for (double const least : {0.0, 0.05, 0.2}) {
        SCOPED_TRACE(least);
        MMeshBase mesh;
        TestMeshes::FillWithCubes(mesh, 2);
        MStlBase stl;
        FillWithPlane(stl, 0.995);
        MMeshProjectTetOnStlOperator project;
        project.SetMesh(&mesh);
        project.SetStl(&stl);
        project.SetDistance(1.0);
        project.SetMinQuality(least);
        ASSERT_TRUE(project.Operate());
        EXPECT_TRUE(mesh.GetNeighborsInfo()->IsEnabled());
        double smallest = 1.0;
        for (MMeshElement const& e : mesh.Elements())
            smallest = std::min(smallest, TetrahedronBase<double>(&e).QualityScaledJacobian());
        EXPECT_GE(smallest, least);
        EXPECT_EQ(smallest < 0.02, least == 0.0);
        EXPECT_EQ(project.GetNbLimited() > 0, least > 0.0);
    }
}

TEST(Project, RefusesWhatItCannotUse) {
    MStlBase stl, empty;
    FillWithPlane(stl, 0.0);
    MMeshBase mesh, hexahedron;
    TestMeshes::FillWithCubes(mesh, 1);
    TestMeshes::AddElementOfKind(hexahedron, 8);
    struct {
        MMeshBase* mesh;
        MStlBase* stl;
        double distance;
    } const cases[] = {{nullptr, &stl, 1.0},
                       {&mesh, nullptr, 1.0},
                       {&mesh, &empty, 1.0},
                       {&hexahedron, &stl, 1.0},
                       {&mesh, &stl, -1.0},
                       {&mesh, &stl, std::numeric_limits<double>::infinity()},
                       {&mesh, &stl, std::numeric_limits<double>::quiet_NaN()}};
    MMeshProjectTetOnStlOperator project = Projection(mesh, stl, 0.0);
    ASSERT_TRUE(project.Operate());
    EXPECT_EQ(project.GetNbOnSurface(), 4U);
    for (auto const& c : cases) {
        project.SetMesh(c.mesh);
        project.SetStl(c.stl);
        project.SetDistance(c.distance);
        EXPECT_FALSE(project.Operate());
        EXPECT_EQ(project.GetNbNodes(), 0U);
    }
    EXPECT_DOUBLE_EQ(mesh.GetVolume(), 1.0);
}
