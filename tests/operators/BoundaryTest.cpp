// SPDX-License-Identifier: BSD-3-Clause
// MMeshOperatorSTL and MMeshOperatorSurface: all faces of the tetrahedra, and which lie on the boundary.
#include "TestMeshes.h"

#include <KetSDK/Mesh/mesh/MMeshElementIterators.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSTL.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSettingsSTL.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSettingsSurface.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSurface.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <tuple>
#include <vector>

namespace {

// (element, sub-tetrahedron, face) of every marked triangle.
using Marks = std::set<std::tuple<MLong, int, int>>;

Marks Mark(MMeshBase& mesh, bool interfaces) {
    MMeshOperatorSettingsSurface settings;
    settings.SetInterfacesAreBoundary(interfaces);
    MMeshOperatorSurface surface;
    surface.SetMesh(&mesh);
    surface.SetSettings(&settings);
    EXPECT_TRUE(surface.Operate());
    Marks marks;
    for (MLong i = 0; i < mesh.NumberOfElements(); ++i)
        for (auto const& face : mesh.GetElementMasks()->GetSurfaceMask()->GetValue(
                 *mesh.GetElement(static_cast<std::uint64_t>(i))))
            EXPECT_TRUE(marks.insert({i, face.tetrahedron, face.triangle}).second);
    return marks;
}

// By definition: triangles that no other sub-tetrahedron (of the same sub-volume) has. For meshes whose
// quadrilaterals are cut alike on both sides.
Marks Unshared(MMeshBase& mesh, bool interfaces) {
    std::map<std::set<MMeshPoint*>, std::vector<std::tuple<MLong, int, int, int>>> users;
    std::unique_ptr<KetSDK::Mesh::Detail::MeshElementsIterator<0>> it(mesh.CreateBeginElementIter());
    MMeshTetrahedronIterator tetrahedron(it.get());
    for (MMeshTriangleIterator t(&tetrahedron); !t.IsDone(); ++t)
        users[{t.GetPoint(0), t.GetPoint(1), t.GetPoint(2)}].push_back(
            {static_cast<MLong>(it->GetPosition()), tetrahedron.GetCurrentTetrahedron(),
             t.GetCurrentTriangle(), interfaces ? mesh.GetSubVolume(**it)->GetID() : 0});
    Marks marks;
    for (auto const& [nodes, of] : users)
        for (auto const& [element, tetra, face, group] : of)
            if (of.size() == 1 || std::get<3>(of[0]) != std::get<3>(of[1]))
                marks.insert({element, tetra, face});
    return marks;
}

// A hexahedron, a wedge on its side, tetrahedra on the wedge and on top of the hexahedron: the two that lie
// on the quadrilateral (4, 5, 6, 7) meet along the diagonal at which it is cut, 5-7.
void FillWithMixedKinds(MMeshBase& mesh) {
    auto n = TestMeshes::AddNodes(mesh, TestMeshes::Corners(8));
    TestMeshes::AddElement(mesh, n);
    auto const ridge = TestMeshes::AddNodes(mesh, {{12, 0, 0}, {12, 0, 6}, {6, 0, 12}, {3, 3, 12}});
    TestMeshes::AddElement(mesh, {n[1], ridge[0], n[2], n[5], ridge[1], n[6]});
    TestMeshes::AddElement(mesh, {n[5], ridge[1], n[6], ridge[2]});
    TestMeshes::AddElement(mesh, {n[5], n[6], n[7], ridge[3]});
    TestMeshes::AddElement(mesh, {n[4], n[5], n[7], ridge[3]});
    MMeshSubVolume* const other = mesh.AddSubVolume();
    for (std::uint64_t const i : {1u, 3u})
        mesh.GetMainSubVolume()->MoveElement(*mesh.GetElement(i), other);
}

} // namespace

TEST(Boundary, IsWhatNoOtherTetrahedronShares) {
    for (int const kind : {4, 6, 8, 10, 0, 1}) {
        MMeshBase mesh;
        if (kind == 0)
            FillWithMixedKinds(mesh);
        else if (kind == 1)
            TestMeshes::FillWithCubes(mesh, 3);
        else
            TestMeshes::AddElementOfKind(mesh, static_cast<unsigned char>(kind));
        if (kind == 1) {
            MMeshSubVolume* const half = mesh.AddSubVolume();
            for (std::uint64_t i = 0; i < 80; ++i)
                mesh.GetMainSubVolume()->MoveElement(*mesh.GetElement(i), half);
        }
        for (bool const interfaces : {false, true}) {
            SCOPED_TRACE(testing::Message() << kind << " " << interfaces);
            Marks const marks = Mark(mesh, interfaces);
            EXPECT_EQ(marks, Unshared(mesh, interfaces));
            EXPECT_FALSE(marks.empty());
        }
    }
}

// Where neighbours are cut along different diagonals, their common quadrilateral is inside all the same.
TEST(Boundary, QuadrilateralsMatchAcrossDifferentDiagonals) {
    auto const common = [](bool turned) {
        MMeshBase mesh;
        auto n = TestMeshes::AddNodes(mesh, TestMeshes::Corners(8));
        auto const far = TestMeshes::AddNodes(mesh, {{12, 0, 0}, {12, 6, 0}, {12, 0, 6}, {12, 6, 6}});
        TestMeshes::AddElement(mesh, n);
        if (turned) // about the x axis by a right angle
            TestMeshes::AddElement(mesh, {n[5], far[2], far[0], n[1], n[6], far[3], far[1], n[2]});
        else
            TestMeshes::AddElement(mesh, {n[1], far[0], far[1], n[2], n[5], far[2], far[3], n[6]});
        EXPECT_DOUBLE_EQ(mesh.GetVolume(), 432.0);
        return std::pair(Mark(mesh, false).size(), Unshared(mesh, false).size());
    };
    auto const [straight, straight_unshared] = common(false);
    auto const [turned, turned_unshared] = common(true);
    EXPECT_EQ(straight, 20u);
    EXPECT_EQ(turned, 20u);
    EXPECT_NE(straight_unshared, turned_unshared) << "one of the two is cut along different diagonals";
}

TEST(Boundary, NodesListTheTrianglesAtThem) {
    MMeshBase mesh;
    FillWithMixedKinds(mesh);
    Marks const marks = Mark(mesh, true);
    std::size_t corners = 0;
    for (MMeshPointIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p) {
        MMeshTriangleIterator** triangles = nullptr;
        unsigned long long count = 0;
        mesh.GetPointMasks()->GetNeighbourMaskPointInfo(*p, triangles, count);
        Marks here;
        for (unsigned long long i = 0; i < count; ++i) {
            MMeshTriangleIterator& t = *triangles[i];
            EXPECT_TRUE(t.GetPoint(0) == &*p || t.GetPoint(1) == &*p || t.GetPoint(2) == &*p);
            here.insert({static_cast<MLong>(t.GetTetraIt()->GetElementIt()->GetPosition()),
                         t.GetTetraIt()->GetCurrentTetrahedron(), t.GetCurrentTriangle()});
        }
        EXPECT_EQ(here.size(), count);
        for (auto const& mark : here)
            EXPECT_TRUE(marks.contains(mark));
        corners += here.size();
    }
    EXPECT_EQ(corners, 3 * marks.size());
}

TEST(Boundary, RefusesWhatItCannotMark) {
    MMeshOperatorSurface surface;
    EXPECT_FALSE(surface.Operate());
    MMeshBase mesh;
    surface.SetMesh(&mesh);
    EXPECT_FALSE(surface.Operate());
    EXPECT_FALSE(mesh.GetElementMasks()->HasSurfaceMask());
    // A collapsed element has no face; one with a repeated corner has those that are left.
    auto const n = TestMeshes::AddNodes(mesh, TestMeshes::Corners(8));
    TestMeshes::AddElement(mesh, {n[0], n[1], n[2], n[2]});
    EXPECT_TRUE(surface.Operate()) << "the defaults stand in for settings";
    TestMeshes::AddElement(mesh, {n[0], n[1], n[2], n[3], n[4], n[5], n[6], n[6]});
    MMeshOperatorSettingsSTL wrong;
    surface.SetSettings(&wrong);
    EXPECT_FALSE(surface.Operate());
    for (auto const& [element, tetrahedron, face] : Mark(mesh, false))
        EXPECT_TRUE(element == 1 || face != 2) << "no triangle has a node twice";
    EXPECT_EQ(Mark(mesh, false), Mark(mesh, false)) << "lists are made anew";
}

TEST(MeshToStl, WritesEveryFaceOfEveryTetrahedronInMaterialColours) {
    struct {
        unsigned char kind;
        bool simplify;
        std::uint64_t triangles;
    } const cases[] = {{4, false, 4}, {6, true, 12}, {8, false, 24}, {10, false, 32}, {10, true, 4}};
    for (auto const& c : cases) {
        SCOPED_TRACE(testing::Message() << int{c.kind} << " " << c.simplify);
        MMeshBase mesh;
        MMeshElement* const first = TestMeshes::AddElementOfKind(mesh, c.kind);
        MStlBase stl;
        stl.AddSurface(nullptr);
        stl.AddSurface(nullptr);
        stl.AddFeature();
        MMeshOperatorSettingsSTL settings;
        settings.SetSimplify(c.simplify);
        MMeshOperatorSTL write;
        write.SetMesh(&mesh);
        write.SetStl(&stl);
        EXPECT_FALSE(write.Operate()) << "no settings";
        EXPECT_EQ(stl.NumberOfSurfaces(), 2u);
        write.SetSettings(&settings);
        ASSERT_TRUE(write.Operate());
        EXPECT_EQ(stl.NumberOfSurfaces(), 1u);
        EXPECT_EQ(stl.NumberOfFeatures(), 0u);
        EXPECT_TRUE(stl.GetKeepNeighbourInfo());
        EXPECT_EQ(stl.NumberOfTriangles(), c.triangles);
        // The faces inside cancel; what is left encloses the element, seen from outside.
        double volume = 0.0;
        for (MStlTriangle const& t : stl.Triangles()) {
            auto const p = t.GetPositions();
            volume += p[0].Dot(p[1].Cross(p[2])) / 6.0;
            EXPECT_FALSE(t.GetColor().IsDefined());
        }
        EXPECT_NEAR(volume, mesh.GetVolume(), 1e-9);

        MMeshMaterial material;
        material.SetColor(0xFF336699);
        int const id = static_cast<int>(mesh.GetMaterialCatalog().AddMaterialNewID(material)->GetID());
        mesh.GetElementMasks()->GetMaterialMask()->SetValue(*first, id);
        TestMeshes::AddElementOfKind(mesh, c.kind); // without a material
        auto const n = first->GetNodes();
        TestMeshes::AddElement(mesh, {n[0], n[1], n[2], n[2]}); // with two faces of no area
        ASSERT_TRUE(write.Operate());
        EXPECT_EQ(stl.NumberOfTriangles(), 2 * c.triangles + 2);
        std::uint64_t coloured = 0;
        for (MStlTriangle const& t : stl.Triangles())
            coloured += t.GetColor().IsDefined() && t.GetColor().GetRGB() == 0x336699;
        EXPECT_EQ(coloured, c.triangles);
    }
}
