// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/mesh/detail/NeighborBlocks.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <stdexcept>

using D = MMeshElementDescriptor;

namespace {

std::set<MMeshPoint*> FaceNodes(MMeshElement& e, unsigned int f) {
    auto const& row = D::descr_triangle_point[f];
    return {e.GetNode(row[0]), e.GetNode(row[1]), e.GetNode(row[2])};
}

bool Uses(MMeshElement& e, std::set<MMeshPoint*> const& nodes) {
    std::set<MMeshPoint*> const corners(e.GetNodes(), e.GetNodes() + std::min<int>(e.GetNodeCount(), 4));
    return std::includes(corners.begin(), corners.end(), nodes.begin(), nodes.end());
}

// The definition, by trying every element.
MMeshElement* NeighborBySearch(MMeshBase& mesh, MMeshElement& e, unsigned int f) {
    MMeshElement* lowest = nullptr;
    for (MMeshElement& other : mesh.Elements())
        if (&other != &e && Uses(other, FaceNodes(e, f)) && (!lowest || std::less<>()(&other, lowest)))
            lowest = &other;
    return lowest;
}

} // namespace

TEST(NeighborsInfo, AgreesWithASearchOfAllElements) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 3);
    // What real meshes should not have: an element on top of another, one with a repeated node, and a
    // quadratic one that shares corners.
    MMeshElement* const first = mesh.GetElement(0);
    TestMeshes::AddElement(mesh,
                           {first->GetNode(0), first->GetNode(1), first->GetNode(2), first->GetNode(3)});
    TestMeshes::AddElement(mesh,
                           {first->GetNode(0), first->GetNode(1), first->GetNode(2), first->GetNode(2)});
    TestMeshes::AddElement(mesh,
                           {first->GetNode(0), first->GetNode(0), first->GetNode(1), first->GetNode(1)});
    auto nodes = TestMeshes::AddNodes(mesh, TestMeshes::Corners(10));
    nodes[1] = mesh.GetElement(20)->GetNode(1);
    nodes[2] = mesh.GetElement(20)->GetNode(2);
    nodes[3] = mesh.GetElement(20)->GetNode(3);
    TestMeshes::AddElement(mesh, nodes);

    MMeshBaseNeighborsInfo& info = *mesh.GetNeighborsInfo();
    EXPECT_FALSE(info.IsEnabled());
    auto const masks = mesh.GetPointMasks()->GetNumberOfMasks();
    info.Enable();
    info.Enable();
    EXPECT_EQ(mesh.GetPointMasks()->GetNumberOfMasks(), masks + 1);
    for (MMeshElement& e : mesh.Elements())
        for (unsigned int f = 0; f < 4; ++f)
            EXPECT_EQ(info.GetNeighbor(&e, f), NeighborBySearch(mesh, e, f));
    EXPECT_EQ(info.GetNeighbor(first, 4), nullptr);
    std::vector<MMeshElement*> around;
    for (int const count : {0, 3}) { // too few nodes for faces
        MMeshElement few(static_cast<unsigned char>(count), nodes.data());
        EXPECT_EQ(info.GetNeighbor(&few, 0), nullptr);
        info.GetEdgeNeighbors(&few, 5, around);
        EXPECT_TRUE(around.empty());
    }
    info.Disable();
    EXPECT_EQ(mesh.GetPointMasks()->GetNumberOfMasks(), masks);
}

TEST(NeighborsInfo, EdgeIndexTakesMissesForNodeZero) {
    MMeshBase mesh;
    MMeshElement& e = *TestMeshes::AddElementOfKind(mesh, 4);
    MMeshBaseNeighborsInfo& info = *mesh.GetNeighborsInfo();
    info.Enable();
    for (char edge = 0; edge < 6; ++edge) {
        auto const& ends = D::descr_tet4_tet10_point[static_cast<unsigned char>(edge)];
        EXPECT_EQ(info.GetEdgeIndex(&e, e.GetNode(ends[0]), e.GetNode(ends[1])), edge);
        EXPECT_EQ(info.GetEdgeIndex(&e, e.GetNode(ends[1]), e.GetNode(ends[0])), edge);
    }
    MMeshPoint stranger;
    EXPECT_EQ(info.GetEdgeIndex(&e, &stranger, e.GetNode(3)), 3);
    EXPECT_EQ(info.GetEdgeIndex(&e, &stranger, &stranger), 0);
}

// Around every edge of a block of cubes the walk finds every element once, neighbours side by side.
TEST(NeighborsInfo, EdgeWalkFindsTheWholeRingAndBothSidesOfTheBoundary) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 2);
    MMeshBaseNeighborsInfo& info = *mesh.GetNeighborsInfo();
    info.Enable();
    int closed = 0;
    for (MMeshElement& e : mesh.Elements()) {
        for (char edge = 0; edge < 6; ++edge) {
            auto const& ends = D::descr_tet4_tet10_point[static_cast<unsigned char>(edge)];
            std::set<MMeshElement*> expected;
            for (MMeshElement& other : mesh.Elements())
                if (Uses(other, {e.GetNode(ends[0]), e.GetNode(ends[1])}))
                    expected.insert(&other);
            MMeshElement* const kept = mesh.GetElement(0);
            std::vector<MMeshElement*> out = {kept};
            info.GetEdgeNeighbors(&e, edge, out);
            ASSERT_EQ(out.size(), expected.size() + 1);
            EXPECT_EQ(out[0], kept) << "appended behind what was there";
            EXPECT_EQ(out[1], &e);
            EXPECT_EQ(std::set<MMeshElement*>(out.begin() + 1, out.end()), expected);
            unsigned int const first_face = D::descr_tet4_edge_faces[static_cast<unsigned char>(edge)][0];
            if (MMeshElement* const across = info.GetNeighbor(&e, first_face)) {
                EXPECT_EQ(out[2], across);
            }
            auto const adjacent = [&info](MMeshElement* a, MMeshElement* b) {
                for (unsigned int f = 0; f < 4; ++f)
                    if (info.GetNeighbor(a, f) == b)
                        return true;
                return false;
            };
            int breaks = 0;
            for (std::size_t i = 2; i < out.size(); ++i)
                breaks += !adjacent(out[i - 1], out[i]);
            EXPECT_LE(breaks, 1) << "only where the second side begins";
            closed += out.size() > 3 && adjacent(out.back(), &e) && breaks == 0;
        }
    }
    EXPECT_GT(closed, 0);
    std::vector<MMeshElement*> out;
    info.GetEdgeNeighbors(mesh.GetElement(0), 6, out);
    EXPECT_TRUE(out.empty());
}

TEST(Neighbors, AreCountedAsMemory) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 10);
    std::size_t const before = mesh.MemoryUsed();
    mesh.GetNeighborsInfo()->Enable();
    EXPECT_GT(mesh.MemoryUsed(), before + 4 * 8 * static_cast<std::size_t>(mesh.NumberOfElements()));
    mesh.GetNeighborsInfo()->Disable();
    EXPECT_EQ(mesh.MemoryUsed(), before);
}

TEST(Neighbors, AreRefusedBeyondWhatCanBeCounted) {
    KetSDK::Mesh::Detail::NeighborBlocks blocks;
    EXPECT_EQ(blocks.Take(5), 0u);
    EXPECT_THROW(blocks.Take(4 * ((1u << 30) - 2) + 1), std::runtime_error);
    EXPECT_EQ(blocks.Take(4 * ((1u << 30) - 2)), 2u);
    EXPECT_THROW(blocks.Take(1), std::runtime_error);
}
