// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Mesh/geometry/MMeshJacobianCorrectorOperator.h>

#include <gtest/gtest.h>

#include <map>
#include <utility>
#include <vector>

namespace {

std::vector<TestMeshes::Coordinates> Positions(MMeshBase& mesh) {
    std::vector<TestMeshes::Coordinates> all;
    for (MMeshPointIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
        all.push_back({p->x, p->y, p->z});
    return all;
}

} // namespace

// A mid node that slides along its edge by s edge lengths gives the ratio (1 + 4 s) / (1 - 4 s), and
// folds the element from s = 1/4 on.
TEST(JacobianCorrector, PullsASlidNodeBackJustAsFarAsTheRatioAsks) {
    for (double const max_ratio : {30.0, 10.0, 1.5})
        for (double const slid : {0.24, 0.3, 0.45}) {
            SCOPED_TRACE(testing::Message() << max_ratio << " " << slid);
            MMeshBase mesh;
            MMeshElement* const e = TestMeshes::AddElementOfKind(mesh, 10);
            double const length = 6.0 * TestMeshes::Unit;
            auto const middle = static_cast<MLong>(length / 2.0);
            e->GetNode(4)->x += static_cast<MLong>(slid * length);
            auto expected = Positions(mesh);
            MMeshJacobianCorrectorOperator corrector;
            corrector.SetMesh(&mesh);
            corrector.SetMaxRatioThreshold(max_ratio);
            ASSERT_TRUE(corrector.Operate());
            EXPECT_EQ(corrector.GetNbModified(), 1);
            EXPECT_EQ(corrector.GetNbMidNodeCorrections(), 0);
            double const left = (e->GetNode(4)->x - middle) / length;
            double const limit = (max_ratio - 1.0) / (max_ratio + 1.0) / 4.0;
            EXPECT_LE(left, limit);
            EXPECT_GT(left, limit - 1e-6 * slid - 1.0 / length);
            expected[4][0] = e->GetNode(4)->x;
            EXPECT_EQ(Positions(mesh), expected) << "nothing else moved";
        }
}

// On an edge of length 2 h a mid node at the height d above the middle has the alignment
// (h^2 - d^2) / (h^2 + d^2). Box and coordinate index follow it down.
TEST(JacobianCorrector, PullsABulgingNodeBackToTheAlignment) {
    MMeshBase mesh;
    mesh.ForbidDuplicatePoints();
    MMeshElement* const e = TestMeshes::AddElementOfKind(mesh, 10);
    double const h = 3.0 * TestMeshes::Unit;
    e->GetNode(4)->z = -5 * TestMeshes::Unit;
    mesh.NodesMoved();
    MMeshJacobianCorrectorOperator corrector;
    corrector.SetMesh(&mesh);
    corrector.SetMinAlignmentThreshold(0.6);
    corrector.SetMaxRatioThreshold(1e9); // h / 2 below the edge, the element does not fold
    ASSERT_TRUE(corrector.Operate());
    EXPECT_EQ(corrector.GetNbMidNodeCorrections(), 1);
    EXPECT_DOUBLE_EQ(corrector.GetLargestDeviation(), 5.0);
    EXPECT_DOUBLE_EQ(corrector.GetLargestRelativeDeviation(), 5.0 / 6.0);
    EXPECT_DOUBLE_EQ(corrector.GetSmallestAlignment(), (9.0 - 25.0) / (9.0 + 25.0));
    EXPECT_NEAR(-e->GetNode(4)->z, h / 2.0, 1e-6 * 5 * TestMeshes::Unit + 1.0);
    EXPECT_EQ(mesh.GetBoundingBox().GetMin()[2], e->GetNode(4)->z);
    MMeshPoint const p = *e->GetNode(4);
    EXPECT_EQ(mesh.AddPoint(p.x, p.y, p.z)->GetIndex(), e->GetNode(4)->GetIndex());
}

TEST(JacobianCorrector, LeavesAloneWhatItCannotHelp) {
    MMeshJacobianCorrectorOperator corrector;
    EXPECT_FALSE(corrector.Operate());

    MMeshBase mesh;
    for (int const kind : {4, 6, 8, 10})
        TestMeshes::AddElementOfKind(mesh, static_cast<unsigned char>(kind));
    // Flat and bent: no better when straight. Then a mid node on an edge without length.
    auto const add_moved = [&mesh](std::map<unsigned int, TestMeshes::Coordinates> const& moved) {
        auto corners = TestMeshes::Corners(10);
        for (auto const& [node, to] : moved)
            corners[node] = to;
        TestMeshes::AddElement(mesh, TestMeshes::AddNodes(mesh, corners));
    };
    add_moved({{3, {6, 6, 0}}, {7, {3, 3, 1}}, {8, {6, 3, 1}}, {9, {3, 6, -1}}});
    add_moved({{1, {0, 0, 0}}, {5, {0, 3, 0}}, {8, {0, 0, 3}}});
    // Two elements that want one node on different edges, and a mid node that is a corner elsewhere.
    auto const first = TestMeshes::AddNodes(mesh, TestMeshes::Corners(10));
    auto second = TestMeshes::AddNodes(mesh, TestMeshes::Corners(10));
    first[4]->x += 2 * TestMeshes::Unit;
    second[9] = first[4];
    auto third = TestMeshes::AddNodes(mesh, TestMeshes::Corners(10));
    third[5] = first[0];
    for (auto const& of : {first, second, third})
        TestMeshes::AddElement(mesh, of);

    corrector.SetMesh(&mesh);
    for (auto const& [min_ratio, max_ratio] : {std::pair(0.0, 30.0), {0.0, 1.0}, {1.0, 30.0}, {50.0, 30.0}}) {
        SCOPED_TRACE(testing::Message() << min_ratio << " " << max_ratio);
        auto const before = Positions(mesh);
        corrector.SetMinRatioThreshold(min_ratio);
        corrector.SetMaxRatioThreshold(max_ratio);
        ASSERT_TRUE(corrector.Operate());
        EXPECT_EQ(corrector.GetNbModified(), 0);
        EXPECT_EQ(corrector.GetNbPasses(), 1);
        EXPECT_EQ(Positions(mesh), before);
        // With thresholds that exclude the straight form even this one is left alone.
        TestMeshes::AddElementOfKind(mesh, 10)->GetNode(4)->x += 2 * TestMeshes::Unit;
    }
    EXPECT_EQ(corrector.GetNbOuterElements(), mesh.NumberOfElements() - 1);
}

// A mid node that is a corner of a linear neighbour stays; the element's own ones unfold it.
TEST(JacobianCorrector, PullsBackOwnNodesBesideALinearElement) {
    MMeshBase mesh;
    MMeshElement* const e = TestMeshes::AddElementOfKind(mesh, 10);
    e->GetNode(4)->x += 2 * TestMeshes::Unit; // folds it
    TestMeshes::AddElement(mesh, {e->GetNode(1), e->GetNode(2), e->GetNode(5), mesh.AddPoint(9, 9, -9)});
    auto const shared = Positions(mesh)[5];
    MMeshJacobianCorrectorOperator corrector;
    corrector.SetMesh(&mesh);
    ASSERT_TRUE(corrector.Operate());
    EXPECT_EQ(corrector.GetNbModified(), 1);
    EXPECT_GT(corrector.GetSmallestRatio(), 0.0);
    EXPECT_LE(corrector.GetLargestRatio(), 30.0);
    EXPECT_EQ(Positions(mesh)[5], shared);
}
