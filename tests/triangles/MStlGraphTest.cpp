// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Triangles/Data/MSection.h>
#include <KetSDK/Triangles/Data/MStlFeature.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

TEST(MStlGraph, MergesVerticesAndFindsEdges) {
    MStlFeature feature;
    MStlGraph* const graph = feature.AddNewGraph();
    MStlPoint *const p = graph->AddVertex(1, 2, 3), *const q = graph->AddVertex(3, 2, 1),
                     *const r = graph->AddVertex(0, 0, 0);
    EXPECT_EQ(graph->AddVertex(1, 2, 3), p);
    EXPECT_EQ(graph->AddEdge(p, p), nullptr);
    DLIST_ELEMENT<MStlEdge>* const forth = graph->AddEdge(p, q);
    struct {
        MStlPoint *from, *to;
        bool directed;
        MStlEdge* expected;
    } const cases[] = {{p, q, false, forth},  {q, p, false, forth},   {p, q, true, forth},
                       {q, p, true, nullptr}, {p, r, false, nullptr}, {r, r, false, nullptr}};
    for (auto const& c : cases)
        EXPECT_EQ(graph->FindEdge(c.from, c.to, c.directed), c.expected);

    DLIST_ELEMENT<MStlEdge>* const back = graph->AddEdge(q, p);
    EXPECT_EQ(graph->FindEdge(q, p, false), back);
    EXPECT_EQ(graph->AddEdge(p, q)->Prev(), back);
    EXPECT_EQ(graph->FindEdge(p, q, true), forth);
    std::array<std::uint32_t, 2> const ends[] = {{0, 2}, {2, 1}};
    graph->AddEdges(ends, true);
    graph->AddEdges({}, true);
    EXPECT_EQ(graph->FindEdge(q, r, true), nullptr);
    auto* const last = static_cast<DLIST_ELEMENT<MStlEdge>*>(graph->FindEdge(q, r, false));
    EXPECT_EQ(last->Prev(), graph->FindEdge(p, r, true));
    EXPECT_EQ(last->Prev()->Prev()->Prev(), back);
    EXPECT_EQ(graph->AddEdge(r, p)->Prev(), last);
    // A second graph has vertices of its own, and graphs stay where they are.
    for (int i = 0; i < 100; ++i)
        EXPECT_NE(feature.AddNewGraph()->AddVertex(1, 2, 3), p);
    EXPECT_EQ(feature.GetGraph(0), graph);
    graph->AddCopy(*graph); // without end
    EXPECT_EQ(graph->NumberOfVertices(), 3U);
    EXPECT_EQ(graph->NumberOfEdges(), 12U);
}

TEST(MSection, MeasuresRingsAndPolylines) {
    // A ring in a slanted plane far from the origin: a polygon with a hole, which runs the other way.
    MMVector<double, 3> const u(0.6, 0.0, 0.8), v(0.0, 1.0, 0.0), centre(1000.0, -2000.0, 500.0);
    int const n = 96;
    double const step = 2.0 * std::numbers::pi / n;
    MSection section;
    for (double radius : {5.0, -3.0}) {
        std::vector<MMVector<double, 3>> points;
        for (int i = 0; i < n; ++i)
            points.push_back(centre + u * (std::fabs(radius) * std::cos(i * step)) +
                             v * (radius * std::sin(i * step)));
        EXPECT_TRUE(section.AddContour(points, true));
    }
    EXPECT_FALSE(section.AddContour({centre, centre + u}, true));
    EXPECT_FALSE(section.AddContour({centre}, false));
    EXPECT_EQ(section.NumberOfContours(), 2U);
    EXPECT_NEAR(section.GetArea(), 0.5 * n * std::sin(step) * (25.0 - 9.0), 1e-9);
    EXPECT_NEAR(section.GetLength(), 2.0 * n * std::sin(step / 2.0) * (5.0 + 3.0), 1e-9);
    EXPECT_NEAR(section.GetBoundingBox().GetMax()[0], 1003.0, 1e-9);

    EXPECT_TRUE(section.AddContour({centre, centre + u, centre + u + v}, false));
    EXPECT_NEAR(section.GetLength(), 2.0 * n * std::sin(step / 2.0) * 8.0 + 2.0, 1e-9);
    EXPECT_NEAR(section.GetArea(), 0.5 * n * std::sin(step) * 16.0, 1e-9);
}
