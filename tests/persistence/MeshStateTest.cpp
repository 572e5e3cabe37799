// SPDX-License-Identifier: BSD-3-Clause
#include "TestFiles.h"
#include "persistence/FullMesh.h"

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/FileIO/SAX/MStreamMFileIn.h>
#include <KetSDK/FileIO/SAX/MStreamMFileOut.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/persistence/MMeshDifference.h>

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

namespace {

void SaveState(MMeshBase& mesh, std::string const& path) {
    MFile file(path, MFile::Mode::Write);
    MStreamMFileOut out(file);
    mesh.SaveState(out);
    ASSERT_TRUE(file.Close());
}

void LoadState(MMeshBase& mesh, std::string const& path) {
    MFile file(path, MFile::Mode::Read);
    MStreamMFileIn in(file);
    mesh.LoadState(in);
    EXPECT_EQ(file.BytesLeft(), 0u);
}

class MeshState : public testing::Test {
protected:
    MTemporaryDirectory m_folder;
    std::string const m_path = m_folder.GetPath().GetString() + "/state";
};

} // namespace

TEST_F(MeshState, GivesBackEverythingButUserMasks) {
    FullMesh full;
    // Mask indices that do not follow the order of the elements.
    for (MMeshElement& e : full.mesh->Elements())
        if (full.mesh->Elements().GetElementPtrAt(1) == &e)
            full.mesh->GetElementMasks()->UnregisterMaskObject(e);
    MMeshElement* const late = TestMeshes::AddElementOfKind(*full.mesh, 4);
    EXPECT_EQ(late->GetMaskIndex(), 1u);
    full.mesh->GetElementMasks()->RegisterMaskObject(*full.mesh->GetElement(1));
    full.mesh->GetElementMasks()->GetSubvolumeMask()->SetValue(*full.mesh->GetElement(1), 2);
    full.fields.clear();
    SaveState(*full.mesh, m_path);

    FullMesh target; // what it holds goes
    target.mesh->GetNeighborsInfo()->Enable();
    auto const shared = *target.mesh->BeginSubVolume();
    LoadState(*target.mesh, m_path);
    EXPECT_EQ(FindMeshDifference(*full.mesh, *target.mesh), std::nullopt);
    EXPECT_FALSE(target.mesh->GetNeighborsInfo()->IsEnabled());
    for (auto it = target.mesh->BeginSubVolume(); it != target.mesh->EndSubVolume(); ++it)
        EXPECT_EQ((*it)->GetParent(), target.mesh.get());
    target.fields.clear(); // let go of, and safe to destroy

    // What was loaded is a mesh like any other.
    target.mesh->GetElementMasks()->RegisterMaskObject(*TestMeshes::AddElementOfKind(*target.mesh, 8));
    target.mesh->GetNeighborsInfo()->Enable();
    SaveState(*target.mesh, m_path);
    MMeshBase again;
    LoadState(again, m_path);
    EXPECT_EQ(FindMeshDifference(*target.mesh, again), std::nullopt);
}

TEST_F(MeshState, GivesBackElementsOfAllKindsInAnyOrder) {
    MMeshBase mesh;
    for (int run = 0; run < 4; ++run) // many of a kind, each beyond the buffer, then kinds in turn
        for (unsigned char const kind : std::array<unsigned char, 4>{4, 10, 6, 8})
            for (int i = 0; i < (run < 1 ? 5000 : 1); ++i)
                TestMeshes::AddElementOfKind(mesh, kind);
    SaveState(mesh, m_path);
    MMeshBase loaded;
    LoadState(loaded, m_path);
    EXPECT_EQ(FindMeshDifference(mesh, loaded), std::nullopt);
}

TEST_F(MeshState, RefusesWhatIsCutOffOrDamagedAndKeepsTheMesh) {
    FullMesh full;
    SaveState(*full.mesh, m_path);
    std::string const whole = Content(m_path);
    FullMesh const kept;
    FullMesh target;
    auto const refuse = [&](std::string const& bytes, std::string const& what) {
        Save(m_path, bytes);
        EXPECT_THROW(LoadState(*target.mesh, m_path), std::runtime_error) << what;
        EXPECT_EQ(FindMeshDifference(*kept.mesh, *target.mesh), std::nullopt) << what;
    };
    for (std::string const& cut : CutAtEveryByte(whole))
        refuse(cut, "length " + std::to_string(cut.size()));
    for (std::size_t bit = 0; bit < 64; ++bit) {
        std::string flipped = whole;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        refuse(flipped, "bit " + std::to_string(bit));
    }
    // Whatever a damaged byte does, it is refused or makes a mesh that can be saved again.
    for (std::size_t i = 0; i < whole.size(); ++i) {
        std::string damaged = whole;
        damaged[i] = static_cast<char>(~damaged[i]);
        Save(m_path, damaged);
        MMeshBase mesh;
        try {
            LoadState(mesh, m_path);
            EXPECT_TRUE(mesh.IsConsistent()) << i;
        } catch (std::runtime_error const&) {
            EXPECT_EQ(mesh.NumberOfPoints(), 0) << i;
        }
    }
}

TEST_F(MeshState, WritesNothingThatCouldNotBeReadBack) {
    FullMesh full;
    MMeshBase& mesh = *full.mesh;
    MMeshSurfaceTriangleList faces;
    faces.Add(1, 0); // a linear tetrahedron has only one
    mesh.GetElementMasks()->GetSurfaceMask()->SetValue(*mesh.GetElement(0), faces);
    MFile file(m_path, MFile::Mode::Write);
    MStreamMFileOut out(file);
    EXPECT_THROW(mesh.SaveState(out), std::runtime_error);
    mesh.GetElementMasks()->ReleaseSurfaceMask();
    mesh.GetElement(3)->Set(5, const_cast<MMeshPoint**>(mesh.GetElement(2)->GetNodes()));
    EXPECT_THROW(mesh.SaveState(out), std::runtime_error);
    ASSERT_TRUE(file.Close());
    EXPECT_TRUE(Content(m_path).empty());
}
