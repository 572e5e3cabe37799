#include "TestMeshes.h"

#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/MMeshConvertTetToGraphOperator.h>
#include <KetSDK/Triangles/Data/MStlFeature.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

// What the operator is described to do, step by step, with the graph's own tables.
void Transcription(MMeshBase& mesh, MStlFeature& feature, bool only_interior) {
    constexpr unsigned int faces[4][3] = {{0, 1, 3}, {0, 2, 1}, {1, 2, 3}, {3, 2, 0}};
    constexpr unsigned int edges[6][2] = {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}};
    std::set<std::pair<MMeshPoint*, MMeshPoint*>> left_out;
    mesh.GetNeighborsInfo()->Enable();
    for (auto s = mesh.BeginSubVolume(); only_interior && s != mesh.EndSubVolume(); ++s)
        for (MMeshElement& e : **s)
            for (unsigned int f = 0; f < 4; ++f) {
                MMeshElement* const n = mesh.GetNeighborsInfo()->GetNeighbor(&e, f);
                if (n && mesh.GetSubVolume(*n)->GetID() == (*s)->GetID())
                    continue;
                for (unsigned int const i : faces[f])
                    for (unsigned int const j : faces[f])
                        left_out.insert({e.GetNode(i), e.GetNode(j)});
            }
    for (auto s = mesh.BeginSubVolume(); s != mesh.EndSubVolume(); ++s) {
        MStlGraph& graph = *feature.AddNewGraph();
        for (MMeshElement& e : **s) {
            MStlPoint* v[4];
            for (unsigned int i = 0; i < 4; ++i)
                v[i] = graph.AddVertex(e.GetNode(i)->x, e.GetNode(i)->y, e.GetNode(i)->z);
            for (auto const& [a, b] : edges)
                if (!left_out.contains({e.GetNode(a), e.GetNode(b)}) && !graph.FindEdge(v[a], v[b], false))
                    graph.AddEdge(v[a], v[b]);
        }
    }
}

// Every vertex and edge in its order, the edges by their vertices.
std::vector<std::int64_t> Content(MStlGraph const& graph) {
    std::vector<std::int64_t> numbers;
    for (MStlPoint const& v : graph.Vertices())
        numbers.insert(numbers.end(), {v.GetX(), v.GetY(), v.GetZ()});
    for (MStlEdge const& e : graph.Edges())
        numbers.insert(numbers.end(), {e.GetPoint(0)->GetIndex(), e.GetPoint(1)->GetIndex()});
    return numbers;
}

} // namespace

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

// Euler's formula for a block: vertices - edges + faces - tetrahedra is 1.
TEST(TetToGraph, EdgesOfABlockFollowFromEulersFormula) {
    for (int const n : {1, 2, 5}) {
        MMeshBase mesh;
        TestMeshes::FillWithCubes(mesh, n);
        MStlFeature feature;
        MMeshConvertTetToGraphOperator convert(mesh, feature);
        convert.SetOnlyInteriorEdges(false);
        ASSERT_TRUE(convert.Operate());
        int const tetrahedra = 6 * n * n * n;
        int const faces = (4 * tetrahedra + 12 * n * n) / 2;
        EXPECT_EQ(feature.GetGraph(0)->NumberOfEdges(),
                  static_cast<std::uint64_t>(mesh.NumberOfPoints() + faces - tetrahedra - 1));
    }
}

// Vertices and edges in the same order and direction; also where nodes share a position and where edges of a
// sub-volume lie on the boundary of another one.
TEST(TetToGraph, IsTheTranscription) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 4);
    TestMeshes::AddElementOfKind(mesh, 10); // nodes of its own at places that are taken
    for (int i = 0; i < 2; ++i) {
        MMeshSubVolume* const part = mesh.AddSubVolume();
        part->SetName(L"part " + std::to_wstring(i));
        for (MLong e = i; e < mesh.NumberOfElements(); e += 3 + i)
            mesh.GetSubVolume(*mesh.GetElement(static_cast<std::uint64_t>(e)))
                ->MoveElement(*mesh.GetElement(static_cast<std::uint64_t>(e)), part);
    }
    mesh.AddSubVolume(); // an empty one
    for (bool const only_interior : {true, false}) {
        MStlFeature expected;
        Transcription(mesh, expected, only_interior);
        MStlFeature feature;
        MMeshConvertTetToGraphOperator convert(mesh, feature);
        convert.SetOnlyInteriorEdges(only_interior);
        ASSERT_TRUE(convert.Operate());
        ASSERT_EQ(feature.NumberOfGraphs(), expected.NumberOfGraphs());
        for (std::uint64_t i = 0; i < feature.NumberOfGraphs(); ++i)
            EXPECT_EQ(Content(*feature.GetGraph(i)), Content(*expected.GetGraph(i))) << i;
    }
}
