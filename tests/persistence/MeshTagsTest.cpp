// SPDX-License-Identifier: BSD-3-Clause
#include "TestFiles.h"
#include "persistence/FullMesh.h"

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/FileIO/SAX/MSAXBinaryReader.h>
#include <KetSDK/FileIO/SAX/MSAXBinaryWriter.h>
#include <KetSDK/FileIO/SAX/MSAXTagWriter.h>
#include <KetSDK/FileIO/SAX/MSAXTextReader.h>
#include <KetSDK/FileIO/SAX/MSAXTextWriter.h>
#include <KetSDK/Mesh/materials/MMeshMaskIterator.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/persistence/MMeshDifference.h>
#include <KetSDK/Mesh/persistence/MSAXMeshBase.h>

#include <gtest/gtest.h>

#include <bit>
#include <functional>

namespace {

// Documents in one of the two encodings.
class MeshTags : public testing::TestWithParam<bool> {
protected:
    std::string Write(std::function<void(MSAXWriter&)> const& body) {
        MFile file(m_name, MFile::Mode::Write);
        std::unique_ptr<MSAXWriter> writer;
        if (GetParam())
            writer = std::make_unique<MSAXBinaryWriter>(file);
        else
            writer = std::make_unique<MSAXTextWriter>(file);
        body(*writer);
        EXPECT_TRUE(writer->IsGood());
        EXPECT_TRUE(file.Close());
        return Content(m_name.GetPath());
    }
    std::string Write(MMeshBase const& mesh) {
        return Write([&mesh](MSAXWriter& writer) { EXPECT_TRUE(MSAXMeshBase(&mesh).Write(writer)); });
    }
    void Read(std::string const& document, MSAXMeshBase& mesh) {
        Save(m_name.GetPath(), document);
        MFile file(m_name, MFile::Mode::Read);
        if (GetParam())
            MSAXBinaryReader(file).ReadDocument(L"MeshBase", mesh);
        else
            MSAXTextReader(file).ReadDocument(L"MeshBase", mesh);
    }

    MTemporaryDirectory m_folder;
    MFileName m_name = m_folder.GetPath() / "document";
};

} // namespace

TEST_P(MeshTags, WholeMeshesReadBackEqual) {
    FullMesh full;
    auto& grey = *full.mesh->GetElementMasks()->GetGreyValueMask();
    grey.SetValue(*full.mesh->GetElement(1), std::bit_cast<double>(0xFFF80000DEADBEEFULL)); // a payload
    full.mesh->AddSubVolume()->SetName(L"\xD83D\xDC00\r\n\x7F\uFFFE");
    FullMesh target;
    target.mesh->GetNeighborsInfo()->Enable();
    MSAXMeshBase reading(target.mesh.get());
    Read(Write(*full.mesh), reading);
    EXPECT_EQ(FindMeshDifference(*full.mesh, *target.mesh), std::nullopt);
    target.fields = reading.TakeFields();
    ASSERT_EQ(target.fields.size(), 2u);
    EXPECT_EQ(target.fields[0]->GetMesh(), target.mesh.get());

    // A mesh of nothing, a copy whose mask indices are in another order, and one without sub-volumes.
    MMeshBase empty;
    empty.ClearMesh();
    MMeshBase shuffled(*full.mesh);
    shuffled.GetElementMasks()->UnregisterMaskObject(*shuffled.GetElement(0));
    TestMeshes::AddElementOfKind(shuffled, 10);
    shuffled.GetElementMasks()->RegisterMaskObject(*shuffled.GetElement(0));
    shuffled.GetElementMasks()->GetGreyValueMask()->SetValue(*shuffled.GetElement(0), 5.0);
    for (MMeshBase const* const mesh : {&empty, &shuffled}) {
        MSAXMeshBase again(target.mesh.get());
        Read(Write(*mesh), again);
        EXPECT_EQ(FindMeshDifference(*mesh, *target.mesh), std::nullopt);
    }
}

TEST_P(MeshTags, DamagedMeshesLeaveTheReceivingMeshAsItWas) {
    FullMesh full;
    std::string const document = Write(*full.mesh);
    FullMesh const kept;
    FullMesh target;
    std::size_t const step = GetParam() ? 3 : 11;
    for (std::size_t i = 0; i + 1 < document.size(); i += step) {
        MSAXMeshBase cut(target.mesh.get());
        EXPECT_THROW(Read(document.substr(0, i), cut), std::runtime_error) << i;
        EXPECT_EQ(FindMeshDifference(*kept.mesh, *target.mesh), std::nullopt) << i;
        // A changed byte need not show, but what is read is a mesh.
        std::string damaged = document;
        damaged[i] = static_cast<char>(damaged[i] ^ (1 << i % 7));
        MMeshBase mesh;
        MSAXMeshBase changed(&mesh);
        try {
            Read(damaged, changed);
            EXPECT_TRUE(mesh.IsConsistent()) << i;
        } catch (std::runtime_error const&) {
            EXPECT_EQ(mesh.NumberOfPoints(), 0) << i;
        }
    }
}

TEST_P(MeshTags, IncrementalWritersGetAMeshOnce) {
    FullMesh full;
    MSAXMeshBase const saved(full.mesh.get());
    MSAXWrittenTags written;
    bool expected = false;
    for (bool const finish : {false, true, true}) {
        std::string const document = Write([&](MSAXWriter& writer) {
            MSAXTagWriter const root(writer, L"Root");
            writer.SaveIncrementally(written);
            EXPECT_TRUE(saved.Write(writer));
            EXPECT_EQ(saved.IsSavedIncrementally(), expected);
            MSAXMeshBase other(full.mesh.get()); // may have changed for all it knows
            EXPECT_TRUE(other.Write(writer));
            EXPECT_FALSE(other.IsSavedIncrementally());
            other.SkipMeshBase();
            EXPECT_TRUE(other.Write(writer));
            if (finish)
                writer.FinishIncrementalSave();
        });
        expected = written.contains(saved.GetMeshBaseTagId());
        EXPECT_EQ(expected, finish); // a save that was not finished does not count
    }
    EXPECT_EQ(written.size(), 3u);
}

TEST_P(MeshTags, SevenBlocksAloneMakeAMesh) {
    auto const block = [](MSAXWriter& writer, wchar_t const* name, unsigned int dim, wchar_t const* type,
                          std::vector<std::int32_t> const& values, std::uint64_t count) {
        MSAXTagWriter const tag(writer, name);
        writer.WriteAttribute(L"Dim", std::uint64_t{dim});
        writer.WriteAttribute(L"DataType", std::wstring(type));
        writer.WriteAttribute(L"Count", count);
        MSAXTagWriter const data(writer, L"Data");
        writer.WriteArray(values);
    };
    struct Case {
        std::vector<std::int32_t> elements;
        std::int32_t sub_volume;
        wchar_t const* type;
        bool good;
    };
    MMeshBase mesh;
    for (Case const& c : {Case{{4, 0, 1, 2, 3}, 0, L"MeshElement", true},
                          {{4, 0, 1, 2, 3}, 0, L"long", true},
                          {{4, 0, 1, 2, 3}, 0, L"double", false},
                          {{4, 0, 1, 2, 3}, 1, L"long", false},
                          {{4, 0, 1, 2, 4}, 0, L"long", false},
                          {{4, 0, 1, 2}, 0, L"long", false},
                          {{3, 0, 1, 2}, 0, L"long", false},
                          {{4, 0, 1, 2, 3, 4, 0, 1, 2, 3}, 0, L"long", false}}) {
        std::string const document = Write([&](MSAXWriter& writer) {
            MSAXTagWriter const tag(writer, L"MeshBase");
            block(writer, L"Points", 3, L"MeshPoint", {0, 0, 0, 9, 0, 0, 0, 9, 0, 0, 0, 9}, 4);
            block(writer, L"Elements", 1, c.type, c.elements, 1);
            block(writer, L"Materials", 1, L"long", {}, 0);
            block(writer, L"SubVolumes", 1, L"int", {c.sub_volume}, 1);
        });
        mesh.ClearMesh();
        MSAXMeshBase reading(&mesh);
        if (c.good) {
            Read(document, reading);
            ASSERT_EQ(mesh.NumberOfElements(), 1);
            EXPECT_EQ(mesh.GetSubVolume(*mesh.GetElement(0)), mesh.GetMainSubVolume());
            EXPECT_EQ(mesh.GetMainSubVolume()->GetNbElements(), 1u);
            EXPECT_EQ(mesh.GetBoundingBox().GetMax(), (MMVector<MLong, 3>(9, 9, 9)));
        } else {
            EXPECT_THROW(Read(document, reading), std::runtime_error);
            EXPECT_EQ(mesh.NumberOfPoints(), 0);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Encodings, MeshTags, testing::Bool(),
                         [](auto const& encoding) { return encoding.param ? "Binary" : "Text"; });
