// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>

#include <gtest/gtest.h>

#include <cmath>
#include <set>

using D = MMeshElementDescriptor;

namespace {

MMVector<double, 3> Position(TestMeshes::Coordinates const& c) {
    return {static_cast<double>(c[0]), static_cast<double>(c[1]), static_cast<double>(c[2])};
}

double TetrahedronVolume(std::vector<TestMeshes::Coordinates> const& nodes, unsigned char const (&row)[4]) {
    auto const o = Position(nodes[row[0]]);
    auto const a = Position(nodes[row[1]]) - o;
    auto const b = Position(nodes[row[2]]) - o;
    auto const c = Position(nodes[row[3]]) - o;
    return a.Dot(b.Cross(c)) / 6.0;
}

template <std::size_t N>
std::set<unsigned char> SetOf(unsigned char const (&row)[N]) {
    return {std::begin(row), std::end(row)};
}

} // namespace

TEST(MeshElement, MovesItsNodesAndStaysUsable) {
    MMeshPoint p[10];
    MMeshPoint* nodes[10];
    for (int i = 0; i < 10; ++i)
        nodes[i] = &p[i];
    MMeshElement e(4, nodes);
    MMeshElement target(10, nodes);
    target = std::move(e);
    EXPECT_EQ(target.GetNodeCount(), 4);
    EXPECT_EQ(target.GetNode(3), &p[3]);
    EXPECT_EQ(e.GetNodeCount(), 0);
    EXPECT_EQ(e.GetNodes(), nullptr);
    e.Set({&p[5], &p[4], &p[3], &p[2], &p[1], &p[0]});
    EXPECT_EQ(e.GetType(), D::Other) << "a wedge";
    EXPECT_EQ(e.GetNode(0), &p[5]);
    e.Set(0, nodes);
    EXPECT_EQ(e.GetNodeCount(), 0);
    e.Set(8, nodes);
    EXPECT_EQ(e.GetType(), D::Hex8);
    e.Free();
    EXPECT_EQ(e.GetNodeCount(), 0);
    MMeshElement& self = target;
    target = std::move(self);
    EXPECT_EQ(target.GetNodeCount(), 4);
}

// The tetrahedra of every table fill the element without overlap and share one winding.
TEST(ElementDescriptor, TetrahedraFillEveryKindWithOneWinding) {
    for (int const number : {4, 6, 8, 10}) {
        auto const kind = static_cast<unsigned char>(number);
        auto const nodes = TestMeshes::Corners(kind);
        double sum = 0.0;
        for (unsigned char t = 0; t < D::GetNumTetraOfElement(kind); ++t) {
            unsigned char row[4];
            for (unsigned char v = 0; v < 4; ++v)
                row[v] = D::GetOffsetForTetra(kind, t, v);
            double const volume = TetrahedronVolume(nodes, row);
            EXPECT_LT(volume, 0.0) << "kind " << int{kind} << " tetrahedron " << int{t};
            sum += volume;
        }
        double const expected = kind == 8 ? 216.0 : kind == 6 ? 108.0 : 36.0;
        EXPECT_DOUBLE_EQ(-sum, expected) << "kind " << int{kind};

        MMeshBase mesh;
        EXPECT_DOUBLE_EQ(GetElementVolume(*TestMeshes::AddElementOfKind(mesh, kind)), expected);
    }
    double split = 0.0;
    for (auto const& row : D::descr_tet10_to_tet4) {
        double const volume = TetrahedronVolume(TestMeshes::Corners(10), row);
        EXPECT_GT(volume, 0.0);
        split += volume;
    }
    EXPECT_DOUBLE_EQ(split, 36.0);
}

// The tables of faces, edges and mid-edge nodes agree with one another.
TEST(ElementDescriptor, FaceEdgeAndMidNodeTablesAgree) {
    auto const nodes = TestMeshes::Corners(4);
    MMVector<double, 3> const centre(1.5, 1.5, 1.5);
    auto const mid_node = [](unsigned char a, unsigned char b) {
        for (unsigned char i = 0; i < 6; ++i)
            if (SetOf(D::descr_tet4_tet10_point[i]) == std::set{a, b})
                return static_cast<unsigned char>(4 + i);
        return static_cast<unsigned char>(0);
    };
    for (std::size_t f = 0; f < 4; ++f) {
        auto const& face = D::descr_triangle_point[f];
        auto const& oriented = D::descr_triangle_point_ORIENTED[f];
        EXPECT_EQ(SetOf(face), SetOf(oriented));
        auto const a = Position(nodes[oriented[0]]);
        auto const normal = (Position(nodes[oriented[1]]) - a).Cross(Position(nodes[oriented[2]]) - a);
        EXPECT_GT(normal.Dot(a - centre), 0.0) << "oriented face " << f << " looks outwards";
        EXPECT_EQ(
            SetOf(D::descr_tet10_midpoints[f]),
            (std::set{mid_node(face[0], face[1]), mid_node(face[1], face[2]), mid_node(face[2], face[0])}));
    }
    for (std::size_t edge = 0; edge < 6; ++edge)
        for (unsigned char const f : D::descr_tet4_edge_faces[edge])
            for (unsigned char const end : D::descr_tet4_tet10_point[edge])
                EXPECT_TRUE(SetOf(D::descr_triangle_point[f]).contains(end)) << "edge " << edge;
    for (unsigned char corner = 0; corner < 4; ++corner) {
        std::set<unsigned char> around;
        for (unsigned char other = 0; other < 4; ++other)
            if (other != corner)
                around.insert(mid_node(corner, other));
        EXPECT_EQ(SetOf(D::descr_KET_face[corner]), around);
    }
    for (auto const& pair : D::descr_antipodal_midpoints) {
        auto const first = SetOf(D::descr_tet4_tet10_point[pair[0] - 4]);
        for (unsigned char const end : D::descr_tet4_tet10_point[pair[1] - 4])
            EXPECT_FALSE(first.contains(end));
    }
    auto const hexahedron = TestMeshes::Corners(8);
    for (auto const& quad : D::descr_quad_point_ORIENTED) {
        auto const a = Position(hexahedron[quad[0]]);
        auto const normal = (Position(hexahedron[quad[1]]) - a).Cross(Position(hexahedron[quad[3]]) - a);
        EXPECT_GT(normal.Dot(a - MMVector<double, 3>(3, 3, 3)), 0.0);
    }
}

// Where a mid node moves, the volume changes with the integral of its shape function's gradient: that of the
// edge 1-2 is V (1/6, 1/6, 0) here.
TEST(Element, VolumeOfACurvedOneIsExact) {
    MMeshBase mesh;
    MMeshElement* const e = TestMeshes::AddElementOfKind(mesh, 10);
    EXPECT_NEAR(GetCurvedElementVolume(*e), 36.0, 1e-12);
    e->GetNode(5)->x += TestMeshes::Unit;
    e->GetNode(5)->y += TestMeshes::Unit;
    EXPECT_NEAR(GetCurvedElementVolume(*e), 36.0 + 2.0 * 36.0 / 6.0, 1e-12);
    EXPECT_GT(std::fabs(GetElementVolume(*e) - GetCurvedElementVolume(*e)), 1.0);
}
