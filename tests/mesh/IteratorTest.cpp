// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Mesh/mesh/MMeshElementIterators.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <vector>

using ElementIterator = KetSDK::Mesh::Detail::MeshElementsIterator<0>;

namespace {

std::unique_ptr<ElementIterator> Begin(MMeshBase& mesh) {
    return std::unique_ptr<ElementIterator>(mesh.CreateBeginElementIter());
}

template <typename Iterator>
int Count(Iterator&& it) {
    int steps = 0;
    for (; !it.IsDone(); ++it)
        ++steps;
    return steps;
}

template <typename Iterator>
std::vector<MLong> Triangle(Iterator& it) {
    MMeshPoint* nodes[3];
    it.GetTriangle(nodes);
    for (char v = 0; v < 3; ++v)
        EXPECT_EQ(it.GetPoint(v), nodes[static_cast<unsigned char>(v)]);
    return {nodes[0]->GetIndex(), nodes[1]->GetIndex(), nodes[2]->GetIndex()};
}

} // namespace

TEST(ElementIterators, StepCountsOfEachKind) {
    struct Case {
        unsigned char kind;
        int tetrahedra;
        int super_tetrahedra;
    };
    for (Case const c : {Case{4, 1, 1}, Case{6, 3, 3}, Case{8, 6, 6}, Case{10, 8, 1}}) {
        MMeshBase mesh;
        TestMeshes::AddElementOfKind(mesh, c.kind);
        auto const it = Begin(mesh);
        EXPECT_EQ(Count(MMeshTetrahedronIterator(it.get())), c.tetrahedra) << int{c.kind};
        it->First();
        EXPECT_EQ(Count(MMeshSuperTetrahedronIterator(it.get())), c.super_tetrahedra) << int{c.kind};
        it->First();
        EXPECT_EQ(Count(MMeshOnElementTetraIterator(it.get())), c.tetrahedra) << int{c.kind};
        EXPECT_EQ(it->GetPosition(), 0u) << "the element iterator is left alone";
        MMeshTetrahedronIterator tetrahedron(it.get());
        EXPECT_EQ(Count(MMeshOnTetraTriangleIterator(&tetrahedron)), 4);
        EXPECT_EQ(Count(MMeshTriangleIterator(&tetrahedron)), 4 * c.tetrahedra) << int{c.kind};
    }
    MMeshBase empty;
    auto const it = Begin(empty);
    MMeshTetrahedronIterator tetrahedron(it.get());
    EXPECT_TRUE(tetrahedron.IsDone());
    EXPECT_TRUE(MMeshTriangleIterator(&tetrahedron).IsDone());
    MMeshOnElementTetraIterator on_element(it.get());
    EXPECT_TRUE(on_element.IsDone());
    EXPECT_TRUE(MMeshOnTetraTriangleIterator(&on_element).IsDone());
}

TEST(ElementIterators, LinearAndQuadraticElementsAreReadThroughTheirTables) {
    MMeshBase mesh;
    TestMeshes::AddElementOfKind(mesh, 4);
    auto const it = Begin(mesh);
    MMeshTetrahedronIterator tetrahedron(it.get());
    MMeshTriangleIterator triangle(&tetrahedron);
    for (auto const& expected : std::vector<std::vector<MLong>>{{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {3, 2, 0}}) {
        EXPECT_EQ(Triangle(triangle), expected);
        ++triangle;
    }
    EXPECT_TRUE(triangle.IsDone());

    MMeshBase quadratic;
    TestMeshes::AddElementOfKind(quadratic, 10);
    auto const quadratic_it = Begin(quadratic);
    MMeshSuperTetrahedronIterator corners(quadratic_it.get());
    for (char v = 0; v < 4; ++v)
        EXPECT_EQ(corners.GetPoint(v)->GetIndex(),
                  MMeshElementDescriptor::descr_1tetra_point[static_cast<unsigned char>(v)]);
}

// Every inner face of a conforming mesh is met once from each side, every outer one once.
TEST(ElementIterators, TrianglesMeetInnerFacesTwice) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 3);
    auto const it = Begin(mesh);
    MMeshTetrahedronIterator tetrahedron(it.get());
    std::map<std::vector<MLong>, int> met;
    for (MMeshTriangleIterator triangle(&tetrahedron); !triangle.IsDone(); ++triangle) {
        auto face = Triangle(triangle);
        std::sort(face.begin(), face.end());
        ++met[face];
    }
    int outer = 0;
    for (auto const& [face, times] : met) {
        EXPECT_TRUE(times == 1 || times == 2);
        outer += times == 1;
    }
    EXPECT_EQ(outer, 6 * 9 * 2);
}
