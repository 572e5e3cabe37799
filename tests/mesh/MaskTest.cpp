// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshElementIterators.h>

#include <gtest/gtest.h>

TEST(MaskContainer, HandsOutIndicesInBatchesAndReusesTheLastOne) {
    MDataMaskContainer<MMeshPoint> container;
    MDataMask<MMeshPoint, double> mask(7.5);
    ASSERT_TRUE(container.AddMask(&mask));
    std::vector<MMeshPoint> points(300);
    for (std::size_t i = 0; i < points.size(); ++i) {
        container.RegisterMaskObject(points[i]);
        EXPECT_EQ(points[i].GetMaskIndex(), i);
        EXPECT_EQ(mask.GetSize(), (i / 128 + 1) * 128);
        mask.SetValue(points[i], static_cast<double>(i));
    }
    container.UnregisterMaskObject(points[17]);
    EXPECT_EQ(mask.GetValueAt(17), 17.0) << "values stay until the index is taken again";
    container.RegisterMaskObject(points[0]);
    EXPECT_EQ(points[0].GetMaskIndex(), 17u);
    EXPECT_EQ(mask.GetValue(points[0]), 7.5);

    MDataMaskBits<MMeshPoint> bits(true);
    ASSERT_TRUE(container.AddMask(&bits));
    EXPECT_EQ(bits.GetSize(), 384u);
    bits.SetValue(points[200], false);
    EXPECT_FALSE(bits.GetValueAt(200));
    EXPECT_TRUE(bits.GetValueAt(199) && bits.GetValueAt(201));
    container.ResetMaskObject(points[200]);
    EXPECT_TRUE(bits.GetValue(points[200]));

    mask.SetValue(points[1], 1.0);
    bits.SetCopyFlag(true);
    bits.SetValue(points[1], false);
    container.CopyMaskInfo(points[1], points[2]);
    EXPECT_EQ(mask.GetValue(points[2]), 2.0) << "not marked for copying";
    EXPECT_FALSE(bits.GetValue(points[2]));

    MMeshPoint const stranger;
    EXPECT_EQ(mask.GetValue(stranger), 7.5) << "an object without a slot reads the default";
}

TEST(MaskContainer, GrowsByAQuarterAtMostAndKeepsValues) {
    MDataMaskContainer<MMeshPoint> container;
    MDataMask<MMeshPoint, int> mask(-5);
    ASSERT_TRUE(container.AddMask(&mask));
    std::vector<MMeshPoint> points(50000);
    for (std::size_t i = 0; i < points.size(); ++i) {
        container.RegisterMaskObject(points[i]);
        ASSERT_EQ(mask.GetValue(points[i]), -5);
        mask.SetValue(points[i], static_cast<int>(i));
        std::size_t const pages = i / 1024 + 1;
        ASSERT_LE(mask.MemoryUsed(), (pages + pages / 4) * 4096 + 64 * pages + 256);
    }
    // A mask that comes when there are many takes no more than they need.
    MDataMask<MMeshPoint, int> late(7);
    ASSERT_TRUE(container.AddMask(&late));
    EXPECT_LE(late.MemoryUsed(), 49 * (4096 + 8) + 64);
    for (std::size_t i = 0; i < points.size(); ++i)
        ASSERT_TRUE(mask.GetValue(points[i]) == static_cast<int>(i) && late.GetValue(points[i]) == 7) << i;
}

TEST(MaskContainer, NeitherSideTouchesADeadOne) {
    MDataMask<MMeshElement, int> survivor;
    {
        MDataMaskContainer<MMeshElement> container;
        {
            MDataMask<MMeshElement, bool> mask;
            MDataMask<MMeshPoint, bool> of_points;
            EXPECT_FALSE(container.AddMask(&of_points));
            EXPECT_FALSE(container.AddMask(nullptr));
            EXPECT_TRUE(container.AddMask(&mask));
            EXPECT_FALSE(container.AddMask(&mask)) << "registered already";
            EXPECT_EQ(container.GetNumberOfMasks(), 1u);
        }
        EXPECT_EQ(container.GetNumberOfMasks(), 0u);
        EXPECT_TRUE(container.AddMask(&survivor));
        MMeshElement e;
        container.RegisterMaskObject(e);
        survivor.SetValue(e, 42);
    }
    EXPECT_EQ(survivor.GetOwner(), nullptr);
    EXPECT_EQ(survivor.GetSize(), 128u);
    MDataMaskContainer<MMeshElement> other;
    EXPECT_TRUE(other.AddMask(&survivor));
    MMeshElement second;
    other.RegisterMaskObject(second);
    EXPECT_EQ(survivor.GetValue(second), 0) << "what an earlier container left is gone";
    EXPECT_TRUE(other.RemoveMask(&survivor));
    EXPECT_FALSE(other.RemoveMask(&survivor));
}

TEST(MeshMasks, BuiltInMasksLiveFromFirstGetToRelease) {
    MMeshBase mesh;
    MMeshElement& e = *TestMeshes::AddElementOfKind(mesh, 4);
    MMeshElementMaskContainer& masks = *mesh.GetElementMasks();
    MMeshElementMaskContainer const& read_only = masks;
    EXPECT_FALSE(masks.HasGreyValueMask());
    EXPECT_EQ(read_only.GetGreyValueMask(), nullptr) << "looking does not create";
    EXPECT_EQ(masks.GetGreyValueMask()->GetValue(e), 0.0);
    EXPECT_EQ(masks.GetMaterialMask()->GetValue(e), -1);
    EXPECT_EQ(masks.GetOriginalIDs()->GetValue(e), -1);
    EXPECT_TRUE(masks.GetVisibleMask()->GetValue(e));
    EXPECT_TRUE(masks.GetVolumeIndexMask()->GetValue(e).empty());
    EXPECT_TRUE(masks.GetSurfaceMask()->GetValue(e).IsEmpty());
    EXPECT_EQ(masks.GetSubvolumeMask()->GetValue(e), 0);
    EXPECT_EQ(masks.GetNumberOfMasks(), 7u);
    EXPECT_EQ(masks.GetObjectAt(e.GetMaskIndex()), &e);
    masks.ReleaseMaterialMask();
    EXPECT_FALSE(masks.HasMaterialMask());

    MDataMask<MMeshElement, double> field;
    EXPECT_TRUE(masks.RegisterMask(&field, "strain"));
    EXPECT_EQ(masks.FindMask("strain"), &field);
    EXPECT_EQ(masks.FindMask("stress"), nullptr);
    masks.UnregisterMask(&field);
    EXPECT_EQ(masks.FindMask("strain"), nullptr);
    masks.Clear();
    EXPECT_EQ(masks.GetNumberOfMasks(), 0u);
}

TEST(MeshMasks, NeighbourMaskListsTheTrianglesOfEachNode) {
    MMeshBase mesh;
    MMeshPointMaskContainer& masks = *mesh.GetPointMasks();
    EXPECT_FALSE(masks.RecalculateNeighbourMask(false)) << "no elements";
    TestMeshes::FillWithCubes(mesh, 2);
    EXPECT_FALSE(masks.RecalculateNeighbourMask(true)) << "no surface mask";
    ASSERT_TRUE(masks.RecalculateNeighbourMask(false));
    std::uint64_t entries = 0;
    for (MMeshPointIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p) {
        MMeshTriangleIterator** triangles;
        unsigned long long count;
        masks.GetNeighbourMaskPointInfo(*p, triangles, count);
        entries += count;
        for (unsigned long long i = 0; i < count; ++i) {
            MMeshPoint* corners[3];
            triangles[i]->GetTriangle(corners);
            EXPECT_TRUE(corners[0] == &*p || corners[1] == &*p || corners[2] == &*p);
        }
    }
    EXPECT_EQ(entries, 3u * 4 * 48);

    MMeshElement& e = *mesh.GetElement(0);
    MMeshSurfaceTriangleList faces;
    faces.Add(0, 2);
    mesh.GetElementMasks()->GetSurfaceMask()->SetValue(e, faces);
    ASSERT_TRUE(masks.RecalculateNeighbourMask(true));
    MMeshTriangleIterator** triangles;
    unsigned long long count;
    masks.GetNeighbourMaskPointInfo(*e.GetNode(1), triangles, count);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(triangles[0]->GetCurrentTriangle(), 2);
    masks.ReleaseNeighbourMask();
    EXPECT_FALSE(masks.HasNeighbourMask());
}

TEST(MeshMasks, FilesGiveBackEveryValue) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 1);
    MMeshElementMaskContainer& masks = *mesh.GetElementMasks();
    MMeshPointMaskContainer& point_masks = *mesh.GetPointMasks();
    int number = 0;
    for (MMeshElement& e : mesh.Elements()) {
        masks.GetGreyValueMask()->SetValue(e, -1000.0 / ++number);
        masks.GetVolumeIndexMask()->SetValue(e,
                                             {{static_cast<unsigned short>(number), 0.5}, {65535, 1e-300}});
        masks.GetVisibleMask()->SetValue(e, number % 2 == 0);
    }
    for (MMeshPointIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
        point_masks.GetOriginalIDs()->SetValue(*p, 100 - p->GetIndex());

    MTemporaryDirectory folder;
    std::string const path = folder.GetPath().GetString() + "/masks";
    MFile out(path, MFile::Mode::Write);
    masks.SaveElementMaskToFile(&mesh, &out);
    point_masks.SaveMeshPointMaskToFile(&out);
    ASSERT_TRUE(out.Close());

    MMeshBase copy(mesh);
    copy.GetElementMasks()->ReleaseGreyValueMask();
    copy.GetElementMasks()->ReleaseVolumeIndexMask();
    copy.GetElementMasks()->ReleaseVisibleMask();
    copy.GetPointMasks()->ReleaseOriginalIDs();
    MFile in(path, MFile::Mode::Read);
    copy.GetElementMasks()->LoadElementMaskFromFile(&copy, &in);
    copy.GetPointMasks()->LoadMeshPointMaskFromFile(&in);
    EXPECT_EQ(in.BytesLeft(), 0u);
    for (std::uint64_t i = 0; i < 6; ++i) {
        MMeshElement& e = *mesh.GetElement(i);
        MMeshElement& c = *copy.GetElement(i);
        EXPECT_EQ(copy.GetElementMasks()->GetGreyValueMask()->GetValue(c),
                  masks.GetGreyValueMask()->GetValue(e));
        EXPECT_EQ(copy.GetElementMasks()->GetVolumeIndexMask()->GetValue(c),
                  masks.GetVolumeIndexMask()->GetValue(e));
        EXPECT_EQ(copy.GetElementMasks()->GetVisibleMask()->GetValue(c), masks.GetVisibleMask()->GetValue(e));
    }
    EXPECT_EQ(copy.GetPointMasks()->GetOriginalIDs()->GetValue(*copy.GetRandomPoint(3)), 97);
}
