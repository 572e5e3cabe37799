// SPDX-License-Identifier: BSD-3-Clause
// The real head, straight and curved, is moved onto its own surface and onto disturbed ones.
#include "RealMeshes.h"

#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshProjectTetOnStlOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/DataQueries/MStlTriangleTree.h>

#include <vtkUnstructuredGrid.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Vector = MMVector<double, 3>;
constexpr double Unit = 65536.0;

std::unique_ptr<MMeshBase> Head(char const* kind) {
    return ReadMesh(std::string("head_small_") + kind + ".vtu");
}

// The surface of the straight head, every point moved by up to `distance` along each axis.
std::unique_ptr<MStlBase> DisturbedSurface(double distance) {
    auto const head = Head("tet4");
    MStlBase own;
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(head.get());
    extract.SetStl(&own);
    EXPECT_TRUE(extract.Operate());
    std::mt19937 random(7);
    auto const moved = [&](MLong x) {
        double const step = distance * (static_cast<double>(random()) / 2147483647.5 - 1.0);
        return static_cast<MLong>(std::lround(x + Unit * step));
    };
    auto disturbed = std::make_unique<MStlBase>();
    std::map<MStlPoint const*, MStlPoint*> points;
    for (MStlTriangle const& triangle : own.Triangles()) {
        MStlPoint* corners[3];
        for (unsigned int i = 0; i < 3; ++i) {
            MStlPoint const& p = *triangle.GetPoint(i);
            MStlPoint*& point = points[&p];
            if (!point) {
                MLong const x = moved(p.GetX()), y = moved(p.GetY()), z = moved(p.GetZ());
                point = disturbed->AddPoint(x, y, z, true);
            }
            corners[i] = point;
        }
        disturbed->AddTriangle(corners[0], corners[1], corners[2], nullptr);
    }
    return disturbed;
}

Vector PositionOf(MMeshPoint const& p) {
    return Vector(p.x, p.y, p.z);
}

bool IsGood(MMeshElement const& e) {
    Tetrahedron10Base<double> t(&e, false);
    return t.QualityJacobian() > 0.0 && t.MinJacobianDeterminant() > 0.0;
}

// Twice what mid node m has between it and the middle of its edge.
Vector Offset(MMeshElement const& e, unsigned int m) {
    auto const& ends = MMeshElementDescriptor::descr_tet4_tet10_point[m];
    return 2.0 * PositionOf(*e.GetNode(4 + m)) - PositionOf(*e.GetNode(ends[0])) -
           PositionOf(*e.GetNode(ends[1]));
}

} // namespace

TEST(ProjectRealMesh, TheHeadFollowsItsSurfaceAndNoGoodElementIsLost) {
    for (double const disturbance : {0.0, 0.02, 5.0}) {
        auto const stl = DisturbedSurface(disturbance);
        MStlTriangleTree const tree(*stl);
        for (char const* const kind : {"tet4", "tet10"}) {
            SCOPED_TRACE(std::string(kind) + ", " + std::to_string(disturbance));
            auto const head = Head(kind);
            MMeshBase const before(*head);
            MMeshProjectTetOnStlOperator project;
            project.SetMesh(head.get());
            project.SetStl(stl.get());
            project.SetDistance(10.0);
            ASSERT_TRUE(project.Operate());
            EXPECT_EQ(project.GetNbNodes(), 3118U);
            EXPECT_EQ(project.GetNbFar(), 0U);
            EXPECT_LE(project.GetLargestMove(), std::sqrt(3.0) * disturbance + 1.0 / Unit);
            EXPECT_EQ(project.GetNbOnSurface() == 3118, disturbance == 0.0);
            EXPECT_EQ(project.GetNbMoved() > 1500, disturbance > 0.0);
            EXPECT_GE(project.GetNbShortened(), disturbance > 1.0 ? 10U : 0U);
            std::uint64_t on_surface = 0;
            for (MMeshPoint const* const p : project.FindNodes())
                on_surface += tree.FindNearest(PositionOf(*p) / Unit, 1.0 / Unit).triangle != nullptr;
            EXPECT_EQ(on_surface, project.GetNbMoved() + project.GetNbOnSurface());
            for (std::uint64_t i = 0; i < static_cast<std::uint64_t>(head->NumberOfElements()); ++i) {
                MMeshElement const& e = *head->GetElement(i);
                MMeshElement const& old = *before.GetElement(i);
                ASSERT_TRUE(IsGood(e) || !IsGood(old)) << i;
                for (unsigned int m = 0; m + 4 < e.GetNodeCount(); ++m)
                    ASSERT_LE((Offset(e, m) - Offset(old, m)).Length(), std::sqrt(3.0)) << i;
            }
        }
    }
}
