// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Math/MathCore/MMTransform.h>
#include <KetSDK/Math/MathCore/MMTransformMatrix.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>
#include <vector>

TEST(MeshBase, LifeFromBirthToClearing) {
    MMeshBase mesh;
    EXPECT_EQ(mesh.NumberOfSubVolumes(), 1u);
    EXPECT_FALSE(mesh.IsValid());
    EXPECT_TRUE(mesh.GetBoundingBox().IsEmpty());
    std::unique_ptr<MMeshBase::BoundingBoxDouble> box(mesh.GetBoundingBoxDouble());
    EXPECT_EQ(box->GetMin()[0], 2147483647.0 / 65536.0);
    EXPECT_EQ(box->GetMax()[2], -2147483648.0 / 65536.0);

    mesh.AddPoint(-5, 7, 9);
    EXPECT_TRUE(mesh.IsValid());
    EXPECT_EQ(mesh.GetBoundingBox().GetMin(), (MMVector<MLong, 3>(-5, 7, 9)));
    EXPECT_EQ(mesh.GetBoundingBox().GetMax(), (MMVector<MLong, 3>(-5, 7, 9)));

    TestMeshes::AddElementOfKind(mesh, 4);
    mesh.SetGreyValuesFlag(true);
    mesh.GetNeighborsInfo()->Enable();
    MDataMask<MMeshElement, int> user_mask;
    mesh.GetElementMasks()->RegisterMask(&user_mask);
    mesh.ClearMesh();
    EXPECT_EQ(user_mask.GetOwner(), nullptr);
    EXPECT_FALSE(mesh.GetNeighborsInfo()->IsEnabled());
    EXPECT_FALSE(mesh.HasGreyValues());
    EXPECT_EQ(mesh.NumberOfSubVolumes(), 0u);
    EXPECT_FALSE(mesh.IsValid());
    EXPECT_THROW(TestMeshes::AddElementOfKind(mesh, 4), std::runtime_error);
    mesh.AddSubVolume();
    TestMeshes::AddElementOfKind(mesh, 4);
    EXPECT_EQ(mesh.GetMainSubVolume()->GetNbElements(), 1u);
}

TEST(MeshBase, RefusedElementsLeaveNoMemoryBehind) {
    MMeshBase mesh;
    std::vector<MLong> const nodes(400000, 99); // there is none
    std::array<unsigned char, 1> const four{4};
    for (int i = 0; i < 3; ++i) {
        EXPECT_THROW(mesh.AddElements({four, nodes, {}}, false), std::runtime_error);
        EXPECT_EQ(mesh.Elements().MemoryUsed(), 0u);
    }
    TestMeshes::AddElementOfKind(mesh, 4);
    std::size_t const used = mesh.Elements().MemoryUsed();
    for (int i = 0; i < 3; ++i)
        EXPECT_THROW(mesh.AddElements({four, nodes, {}}, false), std::runtime_error);
    EXPECT_EQ(mesh.Elements().MemoryUsed(), used);
    EXPECT_EQ(mesh.NumberOfElements(), 1);
}

TEST(MeshBase, ForbiddenDuplicatesShareTheNodeAndRenewItsSlot) {
    MMeshBase mesh;
    MMeshPoint& node = mesh.AddPointUnique({1.00001, -2.0, 3.0}, 10.0);
    EXPECT_TRUE(node.x == 10 && node.y == -20 && node.z == 30);
    auto const slot = node.GetMaskIndex();
    EXPECT_EQ(&mesh.AddPointUnique({1.0, -2.04, 3.0}, 10.0), &node);
    EXPECT_EQ(mesh.NumberOfPoints(), 1);
    EXPECT_NE(node.GetMaskIndex(), slot);
    EXPECT_EQ(mesh.GetPointMasks()->GetObjectAt(node.GetMaskIndex()), &node);
    mesh.DisableSorting();
    mesh.AddPoint(10, -20, 30);
    EXPECT_EQ(mesh.NumberOfPoints(), 2);
    EXPECT_EQ(mesh.AddPointUnique({0.05, -0.05, 0.0}, 10.0).x, 1) << "halves round away from zero";
}

TEST(MeshBase, VolumeIsSignedInTheElementsOwnOrientation) {
    MMeshBase mesh;
    double expected = 0.0;
    for (auto const& [kind, volume] :
         {std::pair<unsigned char, double>{4, 36}, {6, 108}, {8, 216}, {10, 36}}) {
        TestMeshes::AddElementOfKind(mesh, kind);
        expected += volume;
        EXPECT_DOUBLE_EQ(mesh.GetVolume(), expected);
    }
    auto nodes = TestMeshes::AddNodes(mesh, TestMeshes::Corners(4));
    std::swap(nodes[0], nodes[1]);
    TestMeshes::AddElement(mesh, nodes);
    EXPECT_DOUBLE_EQ(mesh.GetVolume(), expected - 36);
    EXPECT_DOUBLE_EQ(mesh.GetMainSubVolume()->GetVolume(), expected - 36);
}

TEST(MeshBase, CopiesAreDeepAndLeaveUserMasksBehind) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 2);
    MMeshSubVolume* const bone = mesh.AddSubVolume();
    bone->SetName(L"Knochen \u00e4\u4e2d");
    bone->SetMatID(7);
    mesh.GetMainSubVolume()->MoveElement(*mesh.GetElement(5), bone);
    mesh.GetElementMasks()->GetGreyValueMask()->SetValue(*mesh.GetElement(5), 1234.5);
    mesh.GetPointMasks()->GetOriginalIDs()->SetValue(*mesh.GetRandomPoint(3), 33);
    mesh.SetMeshType(MMeshBase::Quadratic);
    MMeshMaterial material;
    mesh.GetMaterialCatalog().AddMaterialNewID(material);
    MDataMask<MMeshElement, int> user_mask;
    mesh.GetElementMasks()->RegisterMask(&user_mask);
    mesh.GetNeighborsInfo()->Enable();

    MMeshBase assigned;
    TestMeshes::FillWithCubes(assigned, 3);
    assigned = mesh;
    for (MMeshBase const& copy : {MMeshBase(mesh), assigned}) {
        EXPECT_EQ(copy.NumberOfPoints(), 27);
        EXPECT_EQ(copy.NumberOfElements(), 48);
        EXPECT_EQ(copy.GetElement(5)->GetNode(2), &*copy.GetRandomPoint(static_cast<std::uint64_t>(
                                                      mesh.GetElement(5)->GetNode(2)->GetIndex())));
        EXPECT_EQ(copy.GetBoundingBox(), mesh.GetBoundingBox());
        EXPECT_DOUBLE_EQ(copy.GetVolume(), 8.0);
        MMeshSubVolume const* const copied = copy.GetSubVolume(*copy.GetElement(5));
        ASSERT_NE(copied, nullptr);
        EXPECT_EQ(copied->GetParent(), &copy);
        EXPECT_EQ(copied->GetName(), bone->GetName());
        EXPECT_EQ(copied->GetMatID(), 7);
        EXPECT_EQ(copied->GetNbElements(), 1u);
        EXPECT_EQ(copy.GetElementMasks()->GetGreyValueMask()->GetValue(*copy.GetElement(5)), 1234.5);
        EXPECT_EQ(copy.GetPointMasks()->GetOriginalIDs()->GetValue(*copy.GetRandomPoint(3)), 33);
        EXPECT_EQ(copy.GetMeshType(), MMeshBase::Quadratic);
        EXPECT_EQ(copy.GetMaterialCatalog(), mesh.GetMaterialCatalog());
        EXPECT_EQ(copy.GetElementMasks()->GetNumberOfMasks(), 2u) << "sub-volumes and grey values";
        EXPECT_FALSE(copy.GetNeighborsInfo()->IsEnabled());
    }
    MMeshBase& self = assigned;
    assigned = self;
    EXPECT_EQ(assigned.NumberOfElements(), 48);
}

TEST(MeshBase, ReplacedDataIsRegisteredOnlyOnRequest) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 1);
    MDataMask<MMeshPoint, double> field(-1.0);
    mesh.GetPointMasks()->RegisterMask(&field);
    auto const replacement = [] {
        auto nodes = std::make_unique<MMeshPointContainer>();
        auto elements = std::make_unique<MMeshElementContainer>();
        MMeshPoint* corners[4];
        for (MLong i = 0; i < 4; ++i)
            corners[i] = &nodes->AddPoint(i == 1, i == 2, 5 * (i == 3));
        elements->AddElement(4, corners);
        return std::pair(nodes.release(), elements.release());
    };
    auto [nodes, elements] = replacement();
    mesh._Set(nodes, elements);
    EXPECT_EQ(mesh.NumberOfElements(), 1);
    EXPECT_EQ(mesh.GetElement(0)->GetMaskIndex(), 0u);
    EXPECT_EQ(field.GetOwner(), mesh.GetPointMasks()) << "masks of nodes stay";
    EXPECT_EQ(mesh.GetPointMasks()->GetObjectAt(2), &*mesh.GetRandomPoint(2));
    EXPECT_EQ(mesh.GetPointMasks()->GetObjectAt(4), nullptr);
    EXPECT_EQ(mesh.GetBoundingBox().GetMax(), (MMVector<MLong, 3>(1, 1, 5)));

    std::tie(nodes, elements) = replacement();
    mesh.ReplaceData(nodes, elements);
    EXPECT_EQ(mesh.GetElement(0)->GetMaskIndex(), MDataMaskIndex::NotRegistered);
    EXPECT_EQ(mesh.GetSubVolume(*mesh.GetElement(0)), nullptr);
    EXPECT_EQ(mesh.GetMainSubVolume()->GetNbElements(), 0u);
    mesh.GetNeighborsInfo()->Enable();
    EXPECT_EQ(mesh.GetNeighborsInfo()->GetNeighbor(mesh.GetElement(0), 0), nullptr);
}

TEST(MeshBase, TransformMovesNodesAndBox) {
    MMeshBase mesh;
    TestMeshes::AddElementOfKind(mesh, 8);
    mesh.Transform(MMTransform(MMTransformMatrix::Translation({1.0, -2.0, 0.5})));
    std::unique_ptr<MMeshBase::BoundingBoxDouble> box(mesh.GetBoundingBoxDouble());
    EXPECT_EQ(box->GetMin(), (MMVector<double, 3>(1.0, -2.0, 0.5)));
    EXPECT_EQ(box->GetMax(), (MMVector<double, 3>(7.0, 4.0, 6.5)));
    EXPECT_DOUBLE_EQ(mesh.GetVolume(), 216.0);

    MMeshBase unique;
    MMeshPoint const& node = unique.AddPointUnique({1.0, 0.0, 0.0}, 1.0);
    unique.Transform(MMTransform(MMTransformMatrix::Translation({2.0, 0.0, 0.0})));
    EXPECT_EQ(&*unique.AddPoint(node.x, 0, 0), &node) << "known at its new place";
    EXPECT_NE(&*unique.AddPoint(1, 0, 0), &node);
}

TEST(MeshBase, PositionsBeyondTheRangeComeToItsEnd) {
    constexpr MLong least = std::numeric_limits<MLong>::min(), largest = std::numeric_limits<MLong>::max();
    MMeshBase mesh;
    MMeshPoint& node = mesh.AddPointUnique({1e300, -40000.0, std::nan("")}, TestMeshes::Unit);
    EXPECT_EQ(TestMeshes::Coordinates({node.x, node.y, node.z}),
              (TestMeshes::Coordinates{largest, least, 0}));
    MMeshPoint const& last = mesh.AddPointUnique({largest + 0.4, least - 0.4, 1.5}, 1.0);
    EXPECT_EQ(TestMeshes::Coordinates({last.x, last.y, last.z}),
              (TestMeshes::Coordinates{largest, least, 2}));
    mesh.Transform(MMTransform(MMTransformMatrix::Translation({-70000.0, 0.0, 70000.0})));
    EXPECT_EQ(TestMeshes::Coordinates({node.x, node.y, node.z}),
              (TestMeshes::Coordinates{least, least, largest}));
}

TEST(MeshBase, MaterialInfoLooksAtTheElements) {
    MMeshBase mesh;
    MMeshElement& e = *TestMeshes::AddElementOfKind(mesh, 4);
    EXPECT_FALSE(mesh.HasMaterialInfo());
    mesh.GetElementMasks()->GetMaterialMask();
    EXPECT_FALSE(mesh.HasMaterialInfo()) << "a mask without a material in it";
    mesh.GetElementMasks()->GetMaterialMask()->SetValue(e, 3);
    MMeshSubVolume* const empty = mesh.AddSubVolume();
    EXPECT_TRUE(mesh.HasMaterialInfo() && mesh.HasMaterialInfo(mesh.GetMainSubVolume()));
    EXPECT_FALSE(mesh.HasMaterialInfo(empty));
}
