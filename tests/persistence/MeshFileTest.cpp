// SPDX-License-Identifier: BSD-3-Clause
#include "TestFiles.h"
#include "TestProgress.h"
#include "persistence/FullMesh.h"

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/Mesh/persistence/MMeshDifference.h>
#include <KetSDK/Mesh/persistence/MMeshFile.h>

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

namespace {

class MeshFile : public testing::TestWithParam<MMeshFile::Encoding> {
protected:
    MMeshFileError::Fault Refused(std::string const& bytes, std::uint32_t version = 0) {
        Save(m_name.GetPath(), bytes);
        try {
            MMeshFile::Load(m_name, nullptr);
        } catch (MMeshFileError const& error) {
            EXPECT_EQ(error.GetVersion(), version);
            EXPECT_STREQ(error.what(), "invalid state");
            return error.GetFault();
        }
        ADD_FAILURE() << "was read";
        return MMeshFileError::CannotOpen;
    }

    MTemporaryDirectory m_folder;
    MFileName m_name = m_folder.GetPath() / "mesh.kmesh";
};

std::vector<MMeshArray> SomeArrays() {
    return {{L"temperature", MMeshArray::OnNodes, 1, L"float", std::vector<double>(29, -0.0)},
            {L"\u00e4<&>\n", MMeshArray::OnElements, 2, L"uint8", std::vector<std::int32_t>(8, -7)},
            {L"", MMeshArray::OnMesh, 3, L"", std::vector<double>{1.0, 1e-310, 3.0}}};
}

} // namespace

TEST_P(MeshFile, HoldsMeshFieldsAndArrays) {
    FullMesh full;
    std::vector<MMeshArray> const arrays = SomeArrays();
    ASSERT_TRUE(MMeshFile::Save(*full.mesh, arrays, m_name, GetParam(), nullptr));
    MMeshFile::Content const content = MMeshFile::Load(m_name, nullptr);
    EXPECT_EQ(FindMeshDifference(*full.mesh, *content.mesh), std::nullopt);
    EXPECT_EQ(content.fields.size(), full.fields.size());
    EXPECT_EQ(content.arrays, arrays);
    EXPECT_EQ(content.encoding, GetParam());

    std::vector<MMeshArray> misfit = arrays;
    misfit[1].components = 3;
    EXPECT_THROW(MMeshFile::Save(*full.mesh, misfit, m_name, GetParam(), nullptr), MMeshFileError);
}

TEST_P(MeshFile, RefusesEveryCutAndEveryChangedByte) {
    MMeshBase mesh;
    TestMeshes::AddElementOfKind(mesh, 4);
    ASSERT_TRUE(MMeshFile::Save(mesh, {}, m_name, GetParam(), nullptr));
    std::string const whole = Content(m_name.GetPath());
    for (std::string const& cut : CutAtEveryByte(whole))
        EXPECT_EQ(Refused(cut), cut.empty() ? MMeshFileError::NotAMeshFile : MMeshFileError::ChecksumDiffers)
            << cut.size();
    EXPECT_EQ(Refused(whole + '\n'), MMeshFileError::ChecksumDiffers);

    std::size_t const header = 80;
    for (std::size_t i = 0; i < whole.size(); i += i < header || i + 40 > whole.size() ? 1 : 7)
        for (unsigned int bit = 0; bit < (i < header ? 8u : 1u); ++bit) {
            std::string changed = whole;
            changed[i] = static_cast<char>(changed[i] ^ static_cast<char>(1u << (i < header ? bit : i % 8)));
            Save(m_name.GetPath(), changed);
            EXPECT_THROW(MMeshFile::Load(m_name, nullptr), MMeshFileError) << i << " " << bit;
        }
}

TEST_P(MeshFile, NamesWhatIsWrong) {
    MMeshBase mesh;
    ASSERT_TRUE(MMeshFile::Save(mesh, {}, m_name, GetParam(), nullptr));
    std::string newer = Content(m_name.GetPath());
    newer[GetParam() == MMeshFile::Binary ? 8 : newer.find("Version=\"") + 9] =
        GetParam() == MMeshFile::Binary ? '\x07' : '7';
    EXPECT_EQ(Refused(newer, 7), MMeshFileError::NewerVersion);
    EXPECT_EQ(Refused("solid stl\n"), MMeshFileError::NotAMeshFile);
    EXPECT_EQ(Refused("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<VTKFile/>"),
              MMeshFileError::NotAMeshFile);
    auto const fault = [](auto&& action) {
        try {
            action();
        } catch (MMeshFileError const& error) {
            return error.GetFault();
        }
        return static_cast<MMeshFileError::Fault>(-1);
    };
    MFileName const nowhere = m_folder.GetPath() / "none" / "mesh.kmesh";
    EXPECT_EQ(fault([&] { MMeshFile::Load(nowhere, nullptr); }), MMeshFileError::CannotOpen);
    EXPECT_EQ(fault([&] { MMeshFile::Save(mesh, {}, nowhere, GetParam(), nullptr); }),
              MMeshFileError::CannotOpen);
    EXPECT_EQ(fault([&] { MMeshFile::Save(mesh, {}, "/dev/full", GetParam(), nullptr); }),
              MMeshFileError::CannotWrite);
}

TEST_P(MeshFile, ReportsProgressAndStopsWhenCancelled) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 12);
    auto const progress = std::make_shared<RecordingDelegate>();
    ASSERT_TRUE(MMeshFile::Save(mesh, {}, m_name, GetParam(), progress));
    EXPECT_TRUE(MMeshFile::Load(m_name, progress).mesh);
    EXPECT_EQ(progress->m_labels.size(), 2u);
    EXPECT_EQ(progress->Last(), 1.0);
    auto const impatient = std::make_shared<RecordingDelegate>(0.1);
    EXPECT_FALSE(MMeshFile::Load(m_name, impatient).mesh);
    EXPECT_LT(impatient->Last(), 0.9);
    EXPECT_FALSE(MMeshFile::Save(mesh, {}, m_name, GetParam(), impatient));
}

INSTANTIATE_TEST_SUITE_P(Encodings, MeshFile, testing::Values(MMeshFile::Binary, MMeshFile::Text),
                         [](auto const& encoding) {
                             return encoding.param == MMeshFile::Binary ? "Binary" : "Text";
                         });
