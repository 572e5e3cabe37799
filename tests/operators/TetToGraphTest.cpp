// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Mesh/operators/MMeshConvertTetToGraphOperator.h>
#include <KetSDK/Triangles/Data/MStlFeature.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>

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

// A vertex with very many edges: all of them once, in a time that grows with their number.
TEST(TetToGraph, OfAFanTakesTimeInProportion) {
    auto const seconds_for = [](int n, bool only_interior) {
        MMeshBase mesh;
        MMeshPoint* const hub = mesh.AddPoint(0, 0, 0);
        for (int i = 0; i < n; ++i)
            TestMeshes::AddElement(mesh, {hub, mesh.AddPoint(3 * i + 1, 1, 0), mesh.AddPoint(3 * i + 2, 0, 1),
                                          mesh.AddPoint(3 * i + 3, 1, 1)});
        MStlFeature feature;
        MMeshConvertTetToGraphOperator convert(mesh, feature);
        std::clock_t const start = std::clock();
        convert.SetOnlyInteriorEdges(only_interior);
        EXPECT_TRUE(convert.Operate());
        double const seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
        EXPECT_EQ(feature.GetGraph(0)->NumberOfEdges(),
                  static_cast<std::uint64_t>(only_interior ? 0 : 6 * n));
        return seconds;
    };
    for (bool const only_interior : {false, true}) // 16 times where each edge looks at all others
        EXPECT_LT(seconds_for(40000, only_interior), 10.0 * seconds_for(10000, only_interior) + 0.05);
}
