// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/MMeshOperatorLayers.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

// In a block of unit cubes every element reaches at most one step further in than its outermost corner.
MLong LayerInBlock(MMeshElement const& e, int n) {
    MLong depth = n;
    for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
        for (MLong const c : {e.GetNode(i)->x, e.GetNode(i)->y, e.GetNode(i)->z})
            depth = std::min({depth, c / TestMeshes::Unit, n - c / TestMeshes::Unit});
    return depth + 1;
}

} // namespace

TEST(Layers, OfABlockFollowFromTheDepthOfTheCorners) {
    int const n = 7;
    for (bool const mixed : {false, true}) {
        MMeshBase mesh;
        TestMeshes::FillWithCubes(mesh, n);
        int const in_block = mesh.NumberOfElements();
        // The border of a sub-volume is no boundary.
        MMeshSubVolume* const inner = mesh.AddSubVolume();
        for (MMeshElement& e : mesh.Elements())
            if (LayerInBlock(e, n) == 3)
                mesh.GetMainSubVolume()->MoveElement(e, inner);
        // Single elements are outermost, whatever their kind, except a collapsed one: it has no face.
        for (int const kind : {6, 8, 10})
            if (mixed)
                TestMeshes::AddElementOfKind(mesh, static_cast<unsigned char>(kind));
        auto const two = TestMeshes::AddNodes(mesh, {{9, 9, 9}, {9, 9, 8}});
        TestMeshes::AddElement(mesh, {two[0], two[1], two[1], two[1]});

        MMeshOperatorLayers layers;
        EXPECT_EQ(layers.GetNbLayers(), 1u);
        layers.SetMesh(&mesh);
        for (unsigned int const number : {0u, 1u, 2u, 4000000000u}) {
            SCOPED_TRACE(testing::Message() << mixed << " " << number);
            layers.SetNbLayers(number);
            ASSERT_TRUE(layers.Operate());
            EXPECT_TRUE(mesh.GetNeighborsInfo()->IsEnabled()) << "callers count on it";
            int in_layers = 0;
            for (MLong i = 0; i < mesh.NumberOfElements(); ++i) {
                MMeshElement const& e = *mesh.GetElement(static_cast<std::uint64_t>(i));
                bool const collapsed = i == mesh.NumberOfElements() - 1;
                MLong const layer = i < in_block ? LayerInBlock(e, n) : 1;
                bool const reached = static_cast<unsigned int>(layer) <= number && !collapsed;
                in_layers += reached;
                ASSERT_EQ(layers.GetLayerMask()->GetValue(e), reached ? layer : 0) << i;
            }
            EXPECT_EQ(layers.GetNbLayersElements(), in_layers);
        }
    }
}
