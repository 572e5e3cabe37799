#include "TestMeshes.h"

#include <KetSDK/Mesh/operators/MMeshConvertTetToGraphOperator.h>
#include <KetSDK/Triangles/Data/MStlFeature.h>

#include <gtest/gtest.h>

#include <cstdint>

TEST(TetToGraph, SmallMeshes) {
    struct {
        int elements;
        bool only_interior;
        std::uint64_t vertices, edges;
    } const cases[] = {{0, true, 0, 0}, {1, true, 4, 0}, {1, false, 4, 6}, {2, true, 5, 0}, {2, false, 5, 9}};
    for (auto const& c : cases) {
        MMeshBase mesh;
        auto nodes = TestMeshes::AddNodes(mesh, TestMeshes::Corners(4));
        nodes.push_back(TestMeshes::AddNodes(mesh, {{6, 6, 6}})[0]);
        if (c.elements > 0)
            TestMeshes::AddElement(mesh, {nodes[0], nodes[1], nodes[2], nodes[3]});
        if (c.elements > 1)
            TestMeshes::AddElement(mesh, {nodes[4], nodes[2], nodes[1], nodes[3]});
        TestMeshes::AddElement(mesh, {nodes[0], nodes[1]}); // no tetrahedron
        mesh.GetMainSubVolume()->SetName(c.elements == 1 ? L"" : L"bone");
        MStlFeature feature;
        MMeshConvertTetToGraphOperator convert(mesh, feature);
        EXPECT_TRUE(convert.GetOnlyInteriorEdges());
        convert.SetOnlyInteriorEdges(c.only_interior);
        ASSERT_TRUE(convert.Operate() && convert.Operate());
        ASSERT_EQ(feature.NumberOfGraphs(), 2u) << "graphs are appended";
        for (MStlGraph const& graph : feature.Graphs()) {
            EXPECT_EQ(graph.GetName(), mesh.GetMainSubVolume()->GetName());
            EXPECT_EQ(graph.NumberOfVertices(), c.vertices);
            EXPECT_EQ(graph.NumberOfEdges(), c.edges);
        }
        mesh.ClearSubVolumes();
        EXPECT_TRUE(convert.Operate());
        EXPECT_EQ(feature.NumberOfGraphs(), 2u) << "no sub-volume, no graph";
    }
}
