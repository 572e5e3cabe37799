// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Mesh/operators/MMeshConvertToStlOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace {

// Two tetrahedra with a common face.
void FillWithPair(MMeshBase& mesh) {
    auto nodes = TestMeshes::AddNodes(mesh, TestMeshes::Corners(4));
    nodes.push_back(TestMeshes::AddNodes(mesh, {{6, 6, 6}})[0]);
    TestMeshes::AddElement(mesh, {nodes[0], nodes[1], nodes[2], nodes[3]});
    TestMeshes::AddElement(mesh, {nodes[4], nodes[2], nodes[1], nodes[3]});
}

std::unique_ptr<MStlBase> Convert(MMeshBase& mesh, double epsilon,
                                  MDataMask<MMeshElement, bool>* selection = nullptr) {
    MMeshConvertToStlOperator convert;
    convert.SetMesh(&mesh);
    convert.SetEpsilon(epsilon);
    convert.SetSelectionMask(selection);
    EXPECT_TRUE(convert.Operate());
    return std::unique_ptr<MStlBase>(convert.GetStl());
}

// The indices of the triangles at each point.
std::vector<std::vector<std::uint64_t>> TrianglesOfPoints(MStlBase const& stl) {
    std::map<MStlTriangle const*, std::uint64_t> index;
    for (MStlTriangle const& t : stl.Triangles())
        index.emplace(&t, index.size());
    std::vector<std::vector<std::uint64_t>> lists;
    for (MStlPoint const& p : stl.Points()) {
        lists.emplace_back();
        for (std::uint32_t i = 0; i < p.GetNumberOfNeighbourTriangles(); ++i)
            lists.back().push_back(index.at(p.GetNeighbourTriangle(i)));
    }
    return lists;
}

} // namespace

TEST(ConvertToStl, FacesFollowTheElementsAndAreSeenFromBothSides) {
    MMeshBase mesh;
    FillWithPair(mesh);
    auto const stl = Convert(mesh, 0.0);
    ASSERT_EQ(stl->NumberOfTriangles(), 8u);
    EXPECT_EQ(stl->NumberOfSurfaces(), 1u);
    EXPECT_EQ(stl->NumberOfPoints(), 5u) << "points at one position are shared";
    for (MStlTriangle const& t : stl->Triangles()) {
        auto const corners = t.GetPositions();
        MMVector<double, 3> const normal(t.GetNormalFloat());
        EXPECT_NEAR(normal.Dot(corners.Normal()), 1.0, 1e-6) << "the winding agrees";
        // Out of the element: the two lie on the sides of the plane x + y + z = 6.
        bool const of_first = &t < stl->GetTriangle(4);
        MMVector<double, 3> const inside =
            of_first ? MMVector<double, 3>(1.5, 1.5, 1.5) : MMVector<double, 3>(3.0, 3.0, 3.0);
        EXPECT_GT(normal.Dot(corners[0] - inside), 0.0);
    }
    // Face 2 of the first is face 2 of the second, corners (1, 2, 3) of either.
    MStlTriangle const& there = *stl->GetTriangle(2);
    MStlTriangle const& back = *stl->GetTriangle(6);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_NE(back.IndexOfPoint(there.GetPoint(i)), -1);
    EXPECT_EQ(there.GetNormalFloat(), -back.GetNormalFloat());
}

TEST(ConvertToStl, ShrinkingMovesCornersTowardsTheCentroid) {
    MMeshBase mesh;
    FillWithPair(mesh);
    struct {
        double epsilon;
        MLong corner; // the place along each axis of the first element's corner at the origin, in 1/65536
    } const cases[] = {{0.5, 49152}, {1.0, 98304}, {-1.0, -98304}, {1e-5, 1}, {0.0, 0}};
    for (auto const& c : cases) {
        auto const stl = Convert(mesh, c.epsilon);
        EXPECT_EQ(stl->NumberOfTriangles(), 8u) << "collapsed triangles are there too";
        MStlPoint const& p = *stl->GetPoint(0);
        EXPECT_TRUE(p.GetX() == c.corner && p.GetY() == c.corner && p.GetZ() == c.corner) << c.epsilon;
    }
    EXPECT_EQ(Convert(mesh, 0.5)->NumberOfPoints(), 8u) << "the elements stand apart";
    EXPECT_EQ(Convert(mesh, 1.0)->GetTriangle(0)->GetNormalFloat(), (MMVector<float, 3>()));
}

TEST(ConvertToStl, PointsListTheirTrianglesInOrder) {
    MMeshBase mesh;
    FillWithPair(mesh);
    for (double const epsilon : {0.0, 0.25, 1.0}) {
        auto const stl = Convert(mesh, epsilon);
        auto const lists = TrianglesOfPoints(*stl);
        stl->SetKeepNeighbourInfo(false);
        stl->SetKeepNeighbourInfo(true);
        EXPECT_EQ(lists, TrianglesOfPoints(*stl)) << epsilon;
    }
}

TEST(ConvertToStl, TakesTheSelectionAndAddsToTheContainer) {
    MMeshConvertToStlOperator convert;
    EXPECT_FALSE(convert.Operate());
    EXPECT_EQ(convert.GetStl(), nullptr);
    MMeshBase mesh;
    EXPECT_EQ(Convert(mesh, 0.0)->NumberOfSurfaces(), 0u);
    FillWithPair(mesh);
    MDataMask<MMeshElement, bool> selection(false);
    mesh.GetElementMasks()->RegisterMask(&selection);
    EXPECT_EQ(Convert(mesh, 0.0, &selection)->NumberOfTriangles(), 0u);
    selection.SetValue(*mesh.GetElement(1), true);
    MStlBase stl;
    stl.AddSurface(nullptr)->SetName(L"kept");
    convert.SetMesh(&mesh);
    convert.SetStl(&stl);
    convert.SetSelectionMask(&selection);
    MMeshConvertToStlOperator copy(convert);
    ASSERT_TRUE(convert.Operate() && copy.Operate());
    EXPECT_EQ(stl.NumberOfSurfaces(), 1u);
    EXPECT_EQ(stl.GetSurface(0)->NumberOfTriangles(), 8u);
    EXPECT_EQ(stl.NumberOfPoints(), 4u);
}

TEST(ConvertToStl, AsksAContainerOfADerivedClassToAddEachTriangle) {
    struct Counting : MStlBase {
        using MStlBase::AddTriangle;
        DLIST_ELEMENT<MStlTriangle>* AddTriangle(MStlPoint* p, MStlPoint* q, MStlPoint* r,
                                                 MStlSurface* surface) override {
            ++added;
            return MStlBase::AddTriangle(p, q, r, surface);
        }
        int added = 0;
    };
    MMeshBase mesh;
    FillWithPair(mesh);
    auto const by_itself = Convert(mesh, 0.25);
    for (bool const parallel : {false, true}) {
        Counting counting;
        MMeshConvertToStlOperator convert;
        convert.SetMesh(&mesh);
        convert.SetStl(&counting);
        convert.SetEpsilon(0.25);
        convert.SetParallel(parallel);
        ASSERT_TRUE(convert.Operate());
        EXPECT_EQ(counting.added, 8);
        ASSERT_EQ(counting.NumberOfTriangles(), 8u);
        for (std::uint64_t i = 0; i < 8; ++i) {
            EXPECT_EQ(counting.GetTriangle(i)->GetNormalFloat(), by_itself->GetTriangle(i)->GetNormalFloat());
            for (std::size_t k = 0; k < 3; ++k)
                EXPECT_EQ(counting.GetTriangle(i)->GetPoint(k)->GetIndex(),
                          by_itself->GetTriangle(i)->GetPoint(k)->GetIndex());
        }
    }
}
