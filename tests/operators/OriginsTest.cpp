// SPDX-License-Identifier: BSD-3-Clause
// What new meshes and surfaces came from: geometry is the witness.
#include "OriginsWitness.h"
#include "TestMeshes.h"

#include <KetSDK/Mesh/geometry/MMeshConvertHex8ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet10ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet4ToTet10Operator.h>
#include <KetSDK/Mesh/mesh/MMeshSolverFaces.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshIsosurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshOperatorCutPlane.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSTL.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSettingsSTL.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSettingsSurface.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSurface.h>

#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <tuple>

namespace OriginsTests {

using namespace OriginsWitness;

namespace {

using Nodes = std::vector<MMeshPoint*>;

void MoveTo(MMeshBase& mesh, MMeshElement& e, int sub_volume) {
    mesh.GetSubVolume(e)->MoveElement(e, mesh.BeginSubVolume()[sub_volume].get());
}

// Cubes of tetrahedra, which are by turns in the sub-volumes "left" and "right".
void FillWithTetrahedra(MMeshBase& mesh, int n) {
    TestMeshes::FillWithCubes(mesh, n);
    mesh.GetMainSubVolume()->SetName(L"left");
    mesh.AddSubVolume()->SetName(L"right");
    for (std::uint64_t i = 0; i < mesh.Elements().GetNumElements(); i += 2)
        MoveTo(mesh, *mesh.GetElement(i), 1);
}

// A hexahedron in "left", and beside it a wedge and a tetrahedron in "right".
void FillWithMixed(MMeshBase& mesh) {
    mesh.GetMainSubVolume()->SetName(L"left");
    mesh.AddSubVolume()->SetName(L"right");
    Nodes const hexahedron = TestMeshes::AddNodes(mesh, TestMeshes::Corners(8));
    TestMeshes::AddElement(mesh, hexahedron);
    Nodes const side = {hexahedron[1], hexahedron[2], hexahedron[5], hexahedron[6]};
    Nodes const far = TestMeshes::AddNodes(mesh, {{12, 0, 0}, {12, 0, 6}, {6, 0, 12}});
    MMeshElement& wedge = *TestMeshes::AddElement(mesh, {side[0], far[0], side[1], side[2], far[1], side[3]});
    MMeshElement& top = *TestMeshes::AddElement(mesh, {side[2], far[1], side[3], far[2]});
    MoveTo(mesh, wedge, 1);
    MoveTo(mesh, top, 1);
}

std::unique_ptr<MMeshBase> ToQuadratic(MMeshBase& mesh, MMeshOrigins* origins = nullptr) {
    MMeshConvertTet4ToTet10Operator convert;
    convert.SetMesh(&mesh);
    convert.SetOrigins(origins);
    EXPECT_TRUE(convert.Operate());
    return std::unique_ptr<MMeshBase>(convert.GetTet10Mesh());
}

std::unique_ptr<MMeshBase> ToLinear(MMeshBase& mesh, bool multiple, MMeshOrigins* origins) {
    MMeshConvertTet10ToTet4Operator convert;
    convert.SetMesh(&mesh);
    convert.SetMultipleElements(multiple);
    convert.SetOrigins(origins);
    EXPECT_TRUE(convert.Operate());
    return std::unique_ptr<MMeshBase>(convert.GetTet4Mesh());
}

void CutHexahedra(MMeshBase& mesh, MMeshBase& target, MMeshOrigins& origins) {
    MMeshConvertHex8ToTet4Operator convert;
    convert.SetMesh(&mesh);
    convert.SetTet4Mesh(&target);
    convert.SetOrigins(&origins);
    EXPECT_TRUE(convert.Operate());
}

using ElementsAndFaces = std::multiset<std::tuple<MLong, int>>;

ElementsAndFaces FacesOf(MSurfaceOrigins const& origins) {
    ElementsAndFaces faces;
    for (auto const& [element, face] : origins.triangles)
        faces.emplace(element, face);
    return faces;
}

void Extract(MMeshBase& mesh, bool interfaces, MStlBase& stl, MSurfaceOrigins& origins) {
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&mesh);
    extract.SetStl(&stl);
    extract.SetExtractInterfacesBetweenSubVolumes(interfaces);
    extract.SetOrigins(&origins);
    ASSERT_TRUE(extract.Operate());
}

void MarkBoundary(MMeshBase& mesh, bool interfaces) {
    MMeshOperatorSettingsSurface settings;
    settings.SetInterfacesAreBoundary(interfaces);
    MMeshOperatorSurface mark;
    mark.SetMesh(&mesh);
    mark.SetSettings(&settings);
    ASSERT_TRUE(mark.Operate());
}

void WriteTriangles(MMeshBase& mesh, bool marked_only, bool simplify, MStlBase& stl,
                    MSurfaceOrigins& origins) {
    MMeshOperatorSettingsSTL settings;
    settings.SetMarkedOnly(marked_only);
    settings.SetSimplify(simplify);
    MMeshOperatorSTL write;
    write.SetMesh(&mesh);
    write.SetSettings(&settings);
    write.SetStl(&stl);
    write.SetOrigins(&origins);
    ASSERT_TRUE(write.Operate());
}

} // namespace

TEST(SolverFaces, AreThoseOfDecks) {
    for (unsigned char const n : std::initializer_list<unsigned char>{4, 6, 8, 10}) {
        std::vector<std::string> faces;
        for (MMeshSolverFace const& face : MMeshSolverFacesOf(n)) {
            faces.emplace_back();
            for (unsigned int i = 0; i < face.corners; ++i)
                faces.back() += static_cast<char>('1' + face.node[i]);
        }
        EXPECT_EQ(faces, FacesInDecks(n)) << int{n};
    }
    EXPECT_TRUE(MMeshSolverFacesOf(5).empty());
}

TEST(Origins, TellJoinedNodesAndBothStepsOfAConversion) {
    MMeshBase mixed;
    mixed.GetMainSubVolume()->SetName(L"left");
    mixed.AddSubVolume()->SetName(L"right");
    TestMeshes::AddElementOfKind(mixed, 8);
    MoveTo(mixed, *TestMeshes::AddElementOfKind(mixed, 8), 1);
    Nodes moved = TestMeshes::AddNodes(mixed, {{6, 0, 0}, {12, 0, 0}, {6, 6, 0}, {6, 0, 6}});
    TestMeshes::AddElement(mixed, moved);
    MMeshBase cut;
    MMeshOrigins first, second;
    CutHexahedra(mixed, cut, first);
    CheckMesh(mixed, cut, first);
    EXPECT_EQ(first.elements, (std::vector<MLong>{0, 0, 0, 0, 0, 2, 1, 1, 1, 1, 1}));
    EXPECT_EQ(first.joined_nodes, 8u + 3u);

    auto const curved = ToQuadratic(cut, &second);
    MMeshOrigins const both = ComposeOrigins(first, second);
    CheckMesh(mixed, *curved, both);
    EXPECT_EQ(both.elements, first.elements);
    EXPECT_EQ(both.joined_nodes, 11u);
    MMeshOrigins third;
    auto const fine = ToLinear(*curved, true, &third);
    auto const finer = ToQuadratic(*fine, &first);
    EXPECT_THROW(ComposeOrigins(ComposeOrigins(second, third), first), std::invalid_argument);
}

// A corner of one element lies in the middle of an edge of another one.
TEST(Origins, OfANodeThatIsFoundInTheMiddleOfAnEdge) {
    MMeshBase mesh;
    TestMeshes::AddElementOfKind(mesh, 4);
    TestMeshes::AddElement(mesh,
                           TestMeshes::AddNodes(mesh, {{3, 0, 0}, {0, -6, 0}, {6, -6, 0}, {3, -3, -6}}));
    MMeshOrigins origins;
    auto const quadratic = ToQuadratic(mesh, &origins);
    EXPECT_EQ(origins.nodes[4], (MMeshOrigins::Node{4, 4}));
    EXPECT_EQ(origins.nodes[5], (MMeshOrigins::Node{1, 2}));
    EXPECT_EQ(origins.joined_nodes, 0u);
}

TEST(Origins, OfExtractedSurfaces) {
    for (bool const interfaces : {false, true})
        for (int const kind : {4, 8, 10}) {
            SCOPED_TRACE(kind);
            MMeshBase mesh;
            kind == 8 ? FillWithMixed(mesh) : FillWithTetrahedra(mesh, 2);
            auto const curved = kind == 10 ? ToQuadratic(mesh) : nullptr;
            MStlBase stl;
            // What is there already has no origin, and shares a point.
            stl.AddSurface(nullptr)->AddTriangle(stl.AddPoint(-1, 0, 0, false), stl.AddPoint(0, 0, 0, false),
                                                 stl.AddPoint(0, -1, 0, false));
            MSurfaceOrigins origins;
            Extract(curved ? *curved : mesh, interfaces, stl, origins);
            ASSERT_EQ(origins.triangles[0], MSurfaceOrigins::Triangle());
            ASSERT_EQ(origins.surfaces[0], MSurfaceOrigins::Surface());
            EXPECT_EQ(origins.points[0], -1);
            ASSERT_GE(origins.points[1], 0);
            MMeshBase const& surfaced = curved ? *curved : mesh;
            EXPECT_EQ(PlaceOf(*surfaced.GetRandomPoint(static_cast<std::uint64_t>(origins.points[1]))),
                      Place());

            MStlBase fresh;
            Extract(curved ? *curved : mesh, interfaces, fresh, origins);
            CheckSurface(curved ? *curved : mesh, fresh, origins, true);
            EXPECT_EQ(std::ranges::count_if(origins.surfaces,
                                            [](auto const& surface) { return surface.outside.has_value(); }),
                      interfaces ? 1 : 0);
            EXPECT_TRUE(std::ranges::none_of(origins.triangles, [](auto const& t) { return t.face == 0; }));
        }
}

// The faces that are marked as boundary are those that the extraction finds.
TEST(Origins, OfTheMarkedBoundary) {
    for (bool const interfaces : {false, true})
        for (bool const simplify : {false, true})
            for (int const kind : {4, 8, 10}) {
                SCOPED_TRACE(kind);
                MMeshBase linear;
                kind == 8 ? FillWithMixed(linear) : FillWithTetrahedra(linear, 2);
                auto const curved = kind == 10 ? ToQuadratic(linear) : nullptr;
                MMeshBase& mesh = curved ? *curved : linear;
                MarkBoundary(mesh, interfaces);
                MStlBase marked, extracted;
                MSurfaceOrigins of_marked, of_extracted;
                WriteTriangles(mesh, true, simplify, marked, of_marked);
                Extract(mesh, interfaces, extracted, of_extracted);
                CheckSurface(mesh, marked, of_marked);
                ElementsAndFaces expected = FacesOf(of_extracted);
                if (kind == 10 && !simplify)
                    for (auto const& face : FacesOf(of_extracted)) // each comes as four triangles
                        for (int i = 0; i < 3; ++i)
                            expected.insert(face);
                EXPECT_EQ(FacesOf(of_marked), expected);
            }
}

// Triangles that nodes at one position collapse are not there, and leave no origin.
TEST(Origins, OfCollapsedFaces) {
    MMeshBase mesh;
    TestMeshes::AddElement(mesh, TestMeshes::AddNodes(mesh, {{0, 0, 0}, {6, 0, 0}, {0, 6, 0}, {0, 6, 0}}));
    MStlBase stl;
    MSurfaceOrigins origins;
    Extract(mesh, false, stl, origins);
    EXPECT_EQ(stl.NumberOfTriangles(), 2u);
    CheckSurface(mesh, stl, origins);
    WriteTriangles(mesh, false, false, stl, origins);
    EXPECT_EQ(stl.NumberOfTriangles(), 2u);
    EXPECT_EQ(origins.triangles.size(), 2u);
}

namespace {

// Whether the middle of a triangle lies in the box of an element.
bool LiesIn(MStlTriangle const& triangle, MMeshElement const& e) {
    MMVector<double, 3> const middle =
        (triangle.GetPoint(0)->GetPosition() + triangle.GetPoint(1)->GetPosition() +
         triangle.GetPoint(2)->GetPosition()) /
        3.0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double low = 1e300, high = -1e300;
        for (unsigned int i = 0; i < e.GetNodeCount(); ++i) {
            low = std::min(low, e.GetNode(i)->GetPosition()[axis]);
            high = std::max(high, e.GetNode(i)->GetPosition()[axis]);
        }
        if (middle[axis] < low - 1e-4 || middle[axis] > high + 1e-4)
            return false;
    }
    return true;
}

void CheckTrianglesLieInElements(MMeshBase const& mesh, MStlBase const& stl, MSurfaceOrigins const& origins) {
    ASSERT_EQ(origins.triangles.size(), stl.NumberOfTriangles());
    auto origin = origins.triangles.begin();
    for (MStlSurface const& surface : stl.Surfaces())
        for (MStlTriangle const& triangle : surface.Triangles())
            ASSERT_TRUE(LiesIn(triangle, *mesh.GetElement(static_cast<std::uint64_t>((origin++)->element))));
}

} // namespace

// Through elements, and in the plane of their faces.
TEST(Origins, OfSections) {
    for (int const kind : {4, 8, 10})
        for (double const z : {kind == 8 ? 6.0 : 1.0, 0.0, 0.7}) {
            SCOPED_TRACE(kind);
            MMeshBase linear;
            kind == 8 ? FillWithMixed(linear) : FillWithTetrahedra(linear, 2);
            auto const curved = kind == 10 ? ToQuadratic(linear) : nullptr;
            MMeshBase& mesh = curved ? *curved : linear;
            MMeshOperatorCutPlane cut;
            cut.SetMesh(&mesh);
            cut.SetPlane({0, 0, 1}, {0, 0, z});
            ASSERT_TRUE(cut.Operate());
            MStlBase stl;
            MSurfaceOrigins origins;
            std::vector<MMeshElement const*> const elements = cut.AddSurfaces(stl, &origins);
            CheckSurface(mesh, stl, origins);
            CheckTrianglesLieInElements(mesh, stl, origins);
            ASSERT_EQ(elements.size(), origins.triangles.size());
            for (std::size_t i = 0; i < elements.size(); ++i)
                ASSERT_EQ(mesh.GetElement(static_cast<std::uint64_t>(origins.triangles[i].element)),
                          elements[i]);
            bool const in_faces = z != 0.7;
            EXPECT_FALSE(elements.empty());
            EXPECT_TRUE(std::ranges::all_of(origins.triangles,
                                            [&](auto const& t) { return (t.face > 0) == in_faces; }));
            EXPECT_TRUE(
                std::ranges::all_of(origins.surfaces, [](auto const& s) { return s.inside && !s.outside; }));
        }
}

TEST(Origins, OfIsosurfaces) {
    MMeshBase mesh;
    FillWithTetrahedra(mesh, 6);
    MDataMask<MMeshPoint, double> values(0.0);
    mesh.GetPointMasks()->RegisterMask(&values);
    MStlBase stl;
    MSurfaceOrigins origins;
    MMeshIsosurfaceOperator iso;
    iso.SetMesh(&mesh);
    iso.SetNodesMask(&values);
    iso.SetIsoSurface(&stl);
    iso.SetOrigins(&origins);
    iso.GenerateDemoValues();
    ASSERT_TRUE(iso.Operate());
    EXPECT_GT(stl.NumberOfTriangles(), 100u);
    CheckTrianglesLieInElements(mesh, stl, origins);
}

} // namespace OriginsTests
