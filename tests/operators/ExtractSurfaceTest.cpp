// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Math/MathCore/MTriangle.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshSplitVolumesOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/Data/MStlSurface.h>
#include <KetSDK/Triangles/Data/MStlTriangle.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <vector>

namespace {

std::unique_ptr<MStlBase> Extract(MMeshBase& mesh, bool interfaces) {
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&mesh);
    extract.SetExtractInterfacesBetweenSubVolumes(interfaces);
    EXPECT_TRUE(extract.Operate());
    EXPECT_TRUE(mesh.GetNeighborsInfo()->IsEnabled());
    return std::unique_ptr<MStlBase>(extract.GetStl());
}

std::map<std::wstring, int> TrianglesByName(MStlBase& stl) {
    std::map<std::wstring, int> count;
    for (MStlSurface& surface : stl.Surfaces())
        count[surface.GetName()] += static_cast<int>(surface.NumberOfTriangles());
    return count;
}

MTriangle<double, 3> Corners(MStlTriangle const& t) {
    return {t.GetPoint(0)->GetPosition(), t.GetPoint(1)->GetPosition(), t.GetPoint(2)->GetPosition()};
}

// By the divergence theorem; positive when the triangles wind outwards.
double EnclosedVolume(MStlBase& stl) {
    double volume = 0.0;
    for (MStlSurface& surface : stl.Surfaces())
        for (MStlTriangle& t : surface.Triangles()) {
            auto const c = Corners(t);
            volume += c[0].Dot(c[1].Cross(c[2])) / 6.0;
        }
    return volume;
}

// Two tetrahedra with a common face, in the sub-volumes 1 and 2.
void FillWithPair(MMeshBase& mesh, int first_sub_volume, int second_sub_volume) {
    auto nodes = TestMeshes::AddNodes(mesh, TestMeshes::Corners(4));
    nodes.push_back(TestMeshes::AddNodes(mesh, {{6, 6, 6}})[0]);
    for (int i = 1; i <= 2; ++i)
        mesh.AddSubVolume();
    MMeshElement* const first = TestMeshes::AddElement(mesh, {nodes[0], nodes[1], nodes[2], nodes[3]});
    MMeshElement* const second = TestMeshes::AddElement(mesh, {nodes[4], nodes[2], nodes[1], nodes[3]});
    mesh.GetMainSubVolume()->MoveElement(*first, (mesh.BeginSubVolume() + first_sub_volume)->get());
    mesh.GetMainSubVolume()->MoveElement(*second, (mesh.BeginSubVolume() + second_sub_volume)->get());
}

// The x component of the normal of the one interface triangle.
double InterfaceNormalX(MStlBase& stl) {
    for (MStlSurface& surface : stl.Surfaces())
        if (surface.GetName() == L"Interface Surface1-2")
            for (MStlTriangle& t : surface.Triangles())
                return double{t.GetNormalFloat()[0]};
    return 0.0;
}

} // namespace

TEST(ExtractSurface, NamesAndSidesOfInterfaces) {
    MMeshBase mesh;
    FillWithPair(mesh, 1, 2);
    EXPECT_EQ(TrianglesByName(*Extract(mesh, false)),
              (std::map<std::wstring, int>{{L"Exterior Surface-1", 3}, {L"Exterior Surface-2", 3}}));
    auto const with_interfaces = Extract(mesh, true);
    EXPECT_EQ(TrianglesByName(*with_interfaces),
              (std::map<std::wstring, int>{
                  {L"Exterior Surface-1", 3}, {L"Exterior Surface-2", 3}, {L"Interface Surface1-2", 1}}));
    EXPECT_GT(InterfaceNormalX(*with_interfaces), 0.0) << "seen from sub-volume 1";

    MMeshBase swapped;
    FillWithPair(swapped, 2, 1);
    EXPECT_LT(InterfaceNormalX(*Extract(swapped, true)), 0.0);

    MMeshBase same;
    FillWithPair(same, 1, 1);
    EXPECT_EQ(TrianglesByName(*Extract(same, true)),
              (std::map<std::wstring, int>{{L"Exterior Surface-1", 6}}));
}

TEST(ExtractSurface, ExtremeIdentifiersAreTakenAsTheyAre) {
    MMeshBase mesh;
    FillWithPair(mesh, 1, 2);
    (*(mesh.BeginSubVolume() + 1))->SetID(-1);
    (*(mesh.BeginSubVolume() + 2))->SetID(std::numeric_limits<int>::max());
    EXPECT_EQ(
        TrianglesByName(*Extract(mesh, false)),
        (std::map<std::wstring, int>{{L"Exterior Surface--1", 3}, {L"Exterior Surface-2147483647", 3}}));
    EXPECT_EQ(TrianglesByName(*Extract(mesh, true)),
              (std::map<std::wstring, int>{{L"Exterior Surface--1", 4}}))
        << "the largest number stands for the exterior";
}

TEST(ExtractSurface, AppendsToAGivenContainerInOrderOfFirstMeeting) {
    MMeshBase mesh;
    FillWithPair(mesh, 2, 1);
    MStlBase stl;
    stl.AddSurface(nullptr)->SetName(L"kept");
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&mesh);
    extract.SetStl(&stl);
    extract.Operate();
    extract.Operate();
    std::vector<std::wstring> names;
    for (MStlSurface& surface : stl.Surfaces())
        names.push_back(surface.GetName());
    EXPECT_EQ(names, (std::vector<std::wstring>{L"kept", L"Exterior Surface-2", L"Exterior Surface-1",
                                                L"Exterior Surface-2", L"Exterior Surface-1"}));
    EXPECT_EQ(stl.NumberOfPoints(), 5u) << "points are shared";
}

// Every kind of element gives its true boundary, whose volume is the element's own.
TEST(ExtractSurface, BoundaryOfEveryKindEnclosesItsVolume) {
    struct Case {
        unsigned char kind;
        int triangles;
    };
    std::mt19937 random(7);
    std::uniform_int_distribution<MLong> shift(-40000, 40000);
    for (Case const c : {Case{4, 4}, Case{6, 8}, Case{8, 12}, Case{10, 4}}) {
        MMeshBase mesh;
        TestMeshes::AddElementOfKind(mesh, c.kind);
        if (c.kind != 10)
            for (MMeshPointIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
                p->x += shift(random), p->y += shift(random), p->z += shift(random);
        auto const stl = Extract(mesh, false);
        EXPECT_EQ(stl->NumberOfTriangles(), static_cast<unsigned>(c.triangles)) << int{c.kind};
        EXPECT_NEAR(EnclosedVolume(*stl), mesh.GetVolume(), 1e-9) << int{c.kind};
    }
}

// A hexahedron and a wedge share a quadrilateral, and the wedge a triangle with a tetrahedron.
TEST(ExtractSurface, DifferentKindsMatchAtTheirCommonFaces) {
    MMeshBase mesh;
    auto nodes = TestMeshes::AddNodes(mesh, TestMeshes::Corners(8));
    TestMeshes::AddElement(mesh, nodes);
    auto const ridge = TestMeshes::AddNodes(mesh, {{12, 0, 0}, {12, 0, 6}, {6, 0, 12}});
    TestMeshes::AddElement(mesh, {nodes[1], ridge[0], nodes[2], nodes[5], ridge[1], nodes[6]});
    TestMeshes::AddElement(mesh, {nodes[5], ridge[1], nodes[6], ridge[2]});
    EXPECT_DOUBLE_EQ(mesh.GetVolume(), 216.0 + 108.0 + 36.0);
    auto const stl = Extract(mesh, false);
    EXPECT_EQ(stl->NumberOfTriangles(), 10u + (1 + 4) + 3);
    EXPECT_NEAR(EnclosedVolume(*stl), 360.0, 1e-9);
}

TEST(ExtractSurface, DuplicatedElementsHideTheirFacesFromTheExterior) {
    MMeshBase mesh;
    auto const nodes = TestMeshes::AddNodes(mesh, TestMeshes::Corners(4));
    for (int i = 0; i < 3; ++i)
        TestMeshes::AddElement(mesh, nodes);
    EXPECT_EQ(Extract(mesh, false)->NumberOfTriangles(), 0u);
    // An element that collapses has triangles without area, which nobody keeps; its surface is there.
    MMeshBase flat;
    auto const corners = TestMeshes::AddNodes(flat, TestMeshes::Corners(4));
    TestMeshes::AddElement(flat, {corners[0], corners[1], corners[2], corners[2]});
    auto const stl = Extract(flat, false);
    for (MStlSurface& surface : stl->Surfaces())
        for (MStlTriangle& t : surface.Triangles())
            EXPECT_GT(Corners(t).Area(), 0.0);
}

// Copies of one element, as a program leaves them that writes an element again and again.
TEST(ExtractSurface, ManyElementsAtOneFaceTakeNoLongerThanOthers) {
    MMeshBase mesh;
    MMeshSubVolume* const second = mesh.AddSubVolume();
    auto const nodes = TestMeshes::AddNodes(mesh, TestMeshes::Corners(4));
    constexpr int copies = 200'000;
    std::vector<MMeshElement*> elements;
    for (int i = 0; i < copies; ++i)
        elements.push_back(TestMeshes::AddElement(mesh, nodes));
    // The neighbour of each is the one of lowest address, of that the next, both of the second sub-volume.
    std::ranges::sort(elements);
    for (int i = 0; i < copies / 2; ++i)
        mesh.GetMainSubVolume()->MoveElement(*elements[static_cast<std::size_t>(i)], second);
    EXPECT_EQ(Extract(mesh, false)->NumberOfTriangles(), 0u);
    auto const count = TrianglesByName(*Extract(mesh, true));
    ASSERT_EQ(count.size(), 1u);
    EXPECT_EQ(count.begin()->second, 4 * copies / 2);
    MMeshSplitVolumesOperator split;
    split.SetMesh(&mesh);
    ASSERT_TRUE(split.Operate());
    EXPECT_EQ(mesh.NumberOfSubVolumes(), 2u);
}
