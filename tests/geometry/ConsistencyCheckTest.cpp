// SPDX-License-Identifier: BSD-3-Clause
#include "../TestMeshes.h"

#include <KetSDK/Mesh/geometry/MMeshTet10ConsistencyCheckOperator.h>

#include <gtest/gtest.h>

#include <array>
#include <utility>

using namespace TestMeshes;

TEST(Tet10ConsistencyCheck, CountsEachKindOfDefectAndAddsUpOverRuns) {
    MMeshBase mesh;
    AddElementOfKind(mesh, 10);
    std::vector<MMeshPoint*> bent = AddNodes(mesh, Corners(10));
    bent[5]->x += Unit * 6 * 141 / 10000; // about 1 % of an edge of 6 sqrt(2)
    AddElement(mesh, bent);
    std::vector<Coordinates> nodes = Corners(10); // exchanging two axes mirrors it
    for (Coordinates& p : nodes)
        std::swap(p[0], p[2]);
    AddElement(mesh, AddNodes(mesh, nodes));
    nodes = Corners(10);
    for (Coordinates& p : nodes)
        p[2] = 0;
    AddElement(mesh, AddNodes(mesh, nodes)); // flat, and its edge 0-3 has no length
    AddElementOfKind(mesh, 4);

    struct Case {
        MMeshBase::TetMeshType type;
        double tolerance;
        std::array<int, 4> counts; // mid edges, mid faces, orientation, zero volume
    };
    for (Case const& c : {Case{MMeshBase::TetMeshType::Linear, 0.5, {0, 0, 1, 1}},
                          {MMeshBase::TetMeshType::Quadratic, 0.5, {2, 1, 1, 1}},
                          {MMeshBase::TetMeshType::Quadratic, 2.0, {1, 0, 1, 1}}}) {
        mesh.SetMeshType(c.type);
        MMeshTet10ConsistencyCheckOperator check;
        EXPECT_EQ(check.GetTolerance(), 0.5);
        EXPECT_FALSE(check.Operate()) << "without a mesh";
        check.SetMesh(&mesh);
        check.SetTolerance(c.tolerance);
        for (int run = 1; run <= 2; ++run) {
            EXPECT_TRUE(check.Operate());
            std::array<int, 4> const counts = {check.GetWrongMidEdges(), check.GetWrongMidFaces(),
                                               check.GetWrongOrientation(), check.GetZeroVolume()};
            for (std::size_t i = 0; i < 4; ++i)
                EXPECT_EQ(counts[i], run * c.counts[i]) << i << " at " << c.tolerance;
        }
    }
}
