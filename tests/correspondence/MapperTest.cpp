// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceChecker.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperExact.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

using TestMeshes::Unit;
using Mapper = MMeshCorrespondenceMapperBase;

// Both mappers, which must agree where the surface is that of the mesh.
std::vector<std::unique_ptr<Mapper>> Mappers(MStlBase* stl, MMeshBase* mesh) {
    std::vector<std::unique_ptr<Mapper>> mappers;
    mappers.push_back(std::make_unique<MMeshCorrespondenceMapperExact>(stl, mesh));
    for (double const tolerance : {0.0, 0.001, 1.0})
        mappers.push_back(std::make_unique<MMeshCorrespondenceMapperProjection>(stl, mesh, tolerance));
    return mappers;
}

// Two tetrahedra, one above and one below the plane z = 0, and a third far away.
struct TwoTetrahedra {
    TwoTetrahedra() {
        auto const n = TestMeshes::AddNodes(mesh, {{0, 0, 0}, {6, 0, 0}, {0, 6, 0}, {0, 0, 6}, {0, 0, -6}});
        above = TestMeshes::AddElement(mesh, {n[0], n[1], n[2], n[3]}); // its face 1 lies in the plane
        below = TestMeshes::AddElement(mesh, {n[0], n[2], n[1], n[4]});
        far = TestMeshes::AddElement(
            mesh, TestMeshes::AddNodes(mesh, {{90, 0, 0}, {96, 0, 0}, {90, 6, 0}, {90, 0, 6}}));
    }
    // A triangle in the plane, facing up or down.
    MStlTriangle* Add(bool up) {
        MStlPoint* const p[3] = {stl.AddPoint(0, 0, 0, true), stl.AddPoint(6 * Unit, 0, 0, true),
                                 stl.AddPoint(0, 6 * Unit, 0, true)};
        return &stl.AddTriangle(p[0], up ? p[1] : p[2], up ? p[2] : p[1], nullptr)->GetData();
    }

    MMeshBase mesh;
    MStlBase stl;
    MMeshElement* above;
    MMeshElement* below;
    MMeshElement* far;
};

} // namespace

TEST(Mapper, AssignsATriangleToTheElementThatItFacesAwayFrom) {
    for (bool const up : {true, false}) {
        TwoTetrahedra t;
        MStlTriangle* const triangle = t.Add(up);
        t.Add(up); // again: the first counts
        for (auto const& mapper : Mappers(&t.stl, &t.mesh)) {
            EXPECT_FALSE(mapper->IsMapped());
            EXPECT_EQ(mapper->IsBoundaryCrossing(t.above, t.below), 1) << "maps by itself";
            EXPECT_TRUE(mapper->IsMapped());
            EXPECT_EQ(mapper->IsBoundaryCrossing(t.below, t.above), 1);
            EXPECT_EQ(mapper->IsBoundaryCrossing(t.above, t.far), -1);
            EXPECT_EQ(mapper->IsBoundaryCrossing(t.above, nullptr), -1);
            EXPECT_EQ(mapper->GetTriangle(t.above, 1), triangle);
            EXPECT_EQ(mapper->GetTriangle(t.below, 1), triangle);
            for (unsigned int const face : {0u, 2u, 3u, 4u})
                EXPECT_EQ(mapper->GetTriangle(t.above, face), nullptr);
            EXPECT_EQ(mapper->GetSharedTriangle(t.above, t.below), triangle);
            EXPECT_EQ(mapper->GetSharedTriangle(t.above, t.far), nullptr);
            MMeshElement* const owner = up ? t.below : t.above;
            EXPECT_EQ(mapper->GetElement(triangle), owner);
            EXPECT_TRUE(mapper->IsAssignedTo(triangle, owner));
            EXPECT_FALSE(mapper->IsAssignedTo(triangle, up ? t.above : t.below));
            EXPECT_EQ(mapper->GetElement(nullptr), nullptr);
            EXPECT_EQ(mapper->GetElement(t.stl.GetTriangle(1)), nullptr);
        }
    }
}

TEST(Mapper, GivesEachElementItsOwnOfTwoTrianglesBackToBack) {
    TwoTetrahedra t;
    MStlTriangle* const of_below = t.Add(true);
    MStlTriangle* const of_above = t.Add(false);
    for (auto const& mapper : Mappers(&t.stl, &t.mesh)) {
        EXPECT_EQ(mapper->GetTriangle(t.above, 1), of_above);
        EXPECT_EQ(mapper->GetSharedTriangle(t.below, t.above), of_below);
        EXPECT_EQ(mapper->GetElement(of_above), t.above);
        EXPECT_EQ(mapper->GetElement(of_below), t.below);
    }
}

TEST(Mapper, HasNothingWithoutMeshSurfaceOrTriangles) {
    TwoTetrahedra t;
    for (auto* const stl : {static_cast<MStlBase*>(nullptr), &t.stl})
        for (auto const& mapper : Mappers(stl, stl ? &t.mesh : nullptr)) {
            EXPECT_EQ(mapper->IsBoundaryCrossing(t.above, t.below), 0);
            EXPECT_EQ(mapper->GetTriangle(t.above, 1), nullptr);
            EXPECT_TRUE(mapper->IsMapped());
        }
}

// One large triangle over many faces, moved off them, between two layers of cubes; the plane continues
// beyond it.
TEST(Mapper, ProjectsOntoLargeTrianglesWithinTheTolerance) {
    constexpr int n = 4;
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, n);
    MStlBase stl;
    auto const point = [&stl](MLong x, MLong y) {
        return stl.AddPoint(x * Unit, y * Unit, 2 * Unit + Unit / 4, false);
    };
    MStlTriangle const* const triangle =
        &stl.AddTriangle(point(-1, -1), point(6, -1), point(-1, 6), nullptr)->GetData();
    // A wall across it, nearer to many centroids.
    stl.AddTriangle(stl.AddPoint(Unit / 2, -9 * Unit, -9 * Unit, false),
                    stl.AddPoint(Unit / 2, 20 * Unit, -9 * Unit, false),
                    stl.AddPoint(Unit / 2, 0, 20 * Unit, false), nullptr);
    for (double const tolerance : {0.24, 0.26}) {
        MMeshCorrespondenceMapperProjection mapper(&stl, &mesh, tolerance);
        for (MMeshElement& e : mesh.Elements()) {
            for (unsigned int face = 0; face < 4; ++face) {
                bool expected = tolerance > 0.25;
                for (unsigned char const i : MMeshElementDescriptor::descr_triangle_point[face]) {
                    MMeshPoint const& p = *e.GetNode(i);
                    expected = expected && p.z == 2 * Unit && p.x + p.y <= 5 * Unit;
                }
                MStlTriangle const* const found = mapper.GetTriangle(&e, face);
                ASSERT_EQ(found == triangle, expected);
                // It faces up: away from what lies below.
                bool lies_below = false;
                for (unsigned int i = 0; i < 4; ++i)
                    lies_below = lies_below || e.GetNode(i)->z < 2 * Unit;
                ASSERT_EQ(mapper.IsAssignedTo(triangle, &e) && expected, lies_below && expected);
            }
        }
    }
}

// However far a tolerance reaches, what fits by its corners comes first.
TEST(Mapper, FindsTheTrianglesOfFacesAtAnyTolerance) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 5);
    MStlBase stl;
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&mesh);
    extract.SetStl(&stl);
    ASSERT_TRUE(extract.Operate());
    MMeshCorrespondenceMapperExact exact(&stl, &mesh);
    for (double const tolerance : {0.5, 3.0, 10.0, 1e6}) {
        MMeshCorrespondenceMapperProjection mapper(&stl, &mesh, tolerance);
        for (MMeshElement& e : mesh.Elements())
            for (unsigned int face = 0; face < 4; ++face)
                ASSERT_EQ(mapper.GetTriangle(&e, face), exact.GetTriangle(&e, face)) << tolerance;
    }
    // A triangle that nothing fits, beyond the others, goes to a face that is far from it.
    MStlPoint* const p[3] = {stl.AddPoint(20 * Unit, 0, 0, true), stl.AddPoint(20 * Unit, Unit, 0, true),
                             stl.AddPoint(20 * Unit, 0, Unit, true)};
    MStlTriangle const* const away = &stl.AddTriangle(p[0], p[1], p[2], nullptr)->GetData();
    EXPECT_EQ(MMeshCorrespondenceMapperProjection(&stl, &mesh, 10.0).GetElement(away), nullptr);
    EXPECT_NE(MMeshCorrespondenceMapperProjection(&stl, &mesh, 30.0).GetElement(away), nullptr);
}

TEST(Checker, CountsWhatIsMissingAndWhatIsTurned) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 3);
    MMeshSubVolume* const upper = mesh.AddSubVolume();
    for (MMeshElement& e : mesh.Elements()) {
        MLong lowest = 3 * Unit;
        for (unsigned int i = 0; i < 4; ++i)
            lowest = std::min(lowest, e.GetNode(i)->z);
        if (lowest >= 2 * Unit)
            mesh.GetMainSubVolume()->MoveElement(e, upper);
    }
    MStlBase extracted;
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&mesh);
    extract.SetStl(&extracted);
    extract.SetExtractInterfacesBetweenSubVolumes(true);
    ASSERT_TRUE(extract.Operate());

    // Of each surface the first triangle is left out, the second turned and the third added again.
    MStlBase stl;
    for (MStlSurface const& surface : extracted.Surfaces()) {
        MStlSurface* const copy = stl.AddSurface(nullptr);
        int number = 0;
        for (MStlTriangle const& t : surface.Triangles()) {
            MStlPoint* p[3];
            for (std::size_t i = 0; i < 3; ++i) {
                MStlPoint const& q = *t.GetPoint(number == 1 ? 2 - i : i);
                p[i] = stl.AddPoint(q.GetX(), q.GetY(), q.GetZ(), false);
            }
            for (int copies = number == 0 ? 0 : number == 2 ? 2 : 1; copies > 0; --copies)
                copy->AddTriangle(p[0], p[1], p[2]);
            ++number;
        }
    }
    MMeshCorrespondenceChecker const checker(&stl, &mesh);
    constexpr std::uint64_t outside = 6 * 9 * 2, between = 9 * 2;
    EXPECT_EQ(checker.GetNbBoundaryFacesWithTriangle(), outside - 2);
    EXPECT_EQ(checker.GetNbBoundaryFacesWithoutTriangle(), 2u);
    EXPECT_EQ(checker.GetNbInterfaceFacesWithTriangle(), between - 1);
    EXPECT_EQ(checker.GetNbInterfaceFacesWithoutTriangle(), 1u);
    EXPECT_EQ(checker.GetNbInnerFacesWithTriangle(), 0u);
    EXPECT_EQ(checker.GetNbTrianglesWithFace(), outside + between - 3);
    EXPECT_EQ(checker.GetNbTrianglesWithoutFace(), 3u);
    EXPECT_EQ(checker.GetNbTrianglesDisagreeing(), 3u);
    EXPECT_EQ(MMeshCorrespondenceChecker(nullptr, &mesh).GetNbBoundaryFacesWithoutTriangle(), 0u);
}
