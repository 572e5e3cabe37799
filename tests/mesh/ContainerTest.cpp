// SPDX-License-Identifier: BSD-3-Clause
#include "TestFiles.h"
#include "TestMeshes.h"

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>

#include <gtest/gtest.h>

#include <stdexcept>

TEST(PointContainer, KeepsAddressesWhileItGrows) {
    MMeshPointContainer container;
    std::vector<MMeshPoint*> nodes;
    for (MLong i = 0; i < 100000; ++i)
        nodes.push_back(&container.AddPoint(i, -i, i / 2));
    for (MLong i = 0; i < 100000; ++i) {
        auto const number = static_cast<std::size_t>(i);
        ASSERT_EQ(nodes[number], container.GetPointPtrAt(number));
        ASSERT_EQ(nodes[number]->y, -i);
        ASSERT_EQ(nodes[number]->GetIndex(), i);
    }
}

TEST(PointContainer, CoordinateIndexKnowsOnlyWhatWasAddedUnderIt) {
    MMeshPointContainer container;
    MMeshPoint& before = container.AddPoint(1, 2, 3);
    container.CreateCoordinateIndex();
    MMeshPoint& first = container.AddPoint(1, 2, 3);
    EXPECT_NE(&first, &before);
    EXPECT_EQ(&container.AddPoint(1, 2, 3), &first);
    EXPECT_NE(&container.AddPoint(3, 2, 1), &first);
    EXPECT_EQ(container.GetNumPoints(), 3u);

    MMeshPointContainer const copy(container);
    EXPECT_FALSE(copy.HasCoordinateIndex());
    EXPECT_EQ(copy.GetPointPtrAt(2)->GetIndex(), 2);
    EXPECT_EQ(copy.GetPointPtrAt(2)->GetMaskIndex(), MDataMaskIndex::NotRegistered);
    container.DropCoordinateIndex();
    EXPECT_NE(&container.AddPoint(1, 2, 3), &first);
}

TEST(PointContainer, CoordinateIndexFollowsNodesThatWereMoved) {
    MMeshPointContainer container;
    container.CreateCoordinateIndex();
    MMeshPoint& first = container.AddPoint(1, 2, 3);
    MMeshPoint& joining = container.AddPoint(4, 5, 6);
    MMeshPoint& leaving = container.AddPoint(7, 8, 9);
    joining = MMeshPoint(1, 2, 3);
    leaving = MMeshPoint(70, 8, 9);
    EXPECT_NE(&container.AddPoint(4, 5, 6), &joining) << "which no longer lies there";
    container.UpdateCoordinateIndex();
    EXPECT_EQ(&container.AddPoint(1, 2, 3), &first);
    EXPECT_EQ(&container.AddPoint(70, 8, 9), &leaving);
    EXPECT_NE(&container.AddPoint(7, 8, 9), &leaving);
    EXPECT_EQ(container.GetNumPoints(), 5u);
}

TEST(ContainerFiles, BlocksReadBackAndHaveTheStatedLayout) {
    MTemporaryDirectory folder;
    std::string const path = folder.GetPath().GetString() + "/blocks";
    MMeshBase mesh;
    for (int const kind : {4, 6, 8, 10})
        TestMeshes::AddElementOfKind(mesh, static_cast<unsigned char>(kind));
    MMeshPointContainer nodes;
    for (MMeshPointIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
        nodes.AddPoint(p->x, p->y, p->z);
    MFile out(path, MFile::Mode::Write);
    nodes.SavePointsToFile(&out);
    mesh.Elements().SaveElementsToFile(&out);
    ASSERT_TRUE(out.Close());
    std::string const bytes = Content(path);
    EXPECT_EQ(bytes.size(), (4u + 28 * 12) + (4 + 4 + 28 * 4));
    EXPECT_EQ(bytes.substr(0, 4), std::string("\x1c\0\0\0", 4)) << "28 nodes, little-endian";

    MMeshBase copy;
    MFile in(path, MFile::Mode::Read);
    nodes.Clear();
    nodes.LoadPointsFromFile(&copy, &in);
    ASSERT_EQ(nodes.GetNumPoints(), 28u);
    for (MMeshPointConstIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p) {
        MMeshPoint const& read = *nodes.GetPointPtrAt(p.GetPosition());
        EXPECT_TRUE(read.x == p->x && read.y == p->y && read.z == p->z && read.GetIndex() == p->GetIndex());
        copy.AddPoint(read.x, read.y, read.z);
    }
    copy.Elements().LoadElementsFromFile(&copy, &in);
    ASSERT_EQ(copy.NumberOfElements(), 4);
    EXPECT_EQ(copy.GetElement(2)->GetNodeCount(), 8);
    EXPECT_EQ(copy.GetElement(3)->GetNode(9)->GetIndex(), 27);
    EXPECT_EQ(copy.GetElementMasks()->GetObjectAt(copy.GetElement(3)->GetMaskIndex()), copy.GetElement(3));
    EXPECT_EQ(copy.GetSubVolume(*copy.GetElement(0)), nullptr) << "loaded elements are in no sub-volume";
}

// Whatever is wrong with a block, the container is as it was before.
TEST(ContainerFiles, DamagedBlocksChangeNothing) {
    MTemporaryDirectory folder;
    std::string const path = folder.GetPath().GetString() + "/blocks";
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 1);
    MFile out(path, MFile::Mode::Write);
    mesh.Elements().SaveElementsToFile(&out);
    out.Close();
    std::string const elements = Content(path);

    std::vector<std::string> damaged = CutAtEveryByte(elements);
    auto const with = [&elements](std::size_t at, char value) {
        std::string bytes = elements;
        bytes[at] = value;
        return bytes;
    };
    damaged.push_back(with(3, '\x7f')); // two thousand million elements
    damaged.push_back(with(4, '\5'));   // an element of five nodes
    damaged.push_back(with(5, '\x40')); // node 64 of 8
    damaged.push_back(with(8, '\x80')); // a negative node number
    for (std::string const& bytes : damaged) {
        Save(path, bytes);
        MFile in(path, MFile::Mode::Read);
        EXPECT_THROW(mesh.Elements().LoadElementsFromFile(&mesh, &in), std::runtime_error) << bytes.size();
        ASSERT_EQ(mesh.NumberOfElements(), 6);
    }

    MMeshPointContainer nodes;
    for (std::string const& bytes :
         {std::string("\xff\xff\xff\xff", 4), std::string("\1\0\0\0\1\0\0\0\2\0\0", 11)}) {
        Save(path, bytes);
        MFile in(path, MFile::Mode::Read);
        EXPECT_THROW(nodes.LoadPointsFromFile(&mesh, &in), std::runtime_error);
        EXPECT_EQ(nodes.GetNumPoints(), 0u);
    }
}
