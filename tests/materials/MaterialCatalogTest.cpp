// SPDX-License-Identifier: BSD-3-Clause
#include "TestFiles.h"

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/FileIO/SAX/MSAXTextReader.h>
#include <KetSDK/FileIO/SAX/MSAXTextWriter.h>
#include <KetSDK/FileIO/SAX/MStreamMFileIn.h>
#include <KetSDK/FileIO/SAX/MStreamMFileOut.h>
#include <KetSDK/Mesh/materials/MMaterialCatalog.h>

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <set>

namespace {

MMeshMaterial Material(unsigned int id, double density) {
    MMeshMaterial material;
    material.SetID(id);
    material.SetDensity(density);
    material.SetPoisson(0.3);
    return material;
}

MMaterialCatalog Catalog(std::initializer_list<unsigned int> ids) {
    MMaterialCatalog catalog;
    for (unsigned int const id : ids) {
        MMeshMaterial material = Material(id, 0.5 + id);
        catalog.AddMaterial(material);
    }
    return catalog;
}

class MaterialFiles : public testing::Test {
protected:
    void ReadTags(MMaterialCatalog& catalog) const {
        MFile file(m_name, MFile::Mode::Read);
        MSAXTextReader(file).ReadDocument(L"MaterialCatalog", catalog);
    }
    void LoadState(MMaterialCatalog& catalog) const {
        MFile file(m_name, MFile::Mode::Read);
        MStreamMFileIn in(file);
        catalog.LoadState(in);
    }

    MTemporaryDirectory m_folder;
    MFileName m_name = m_folder.GetPath() / "catalog";
};

// Fails from the given tag on.
class FailingWriter : public MSAXTextWriter {
public:
    FailingWriter(MFile& file, int tags)
        : MSAXTextWriter(file)
        , m_tags(tags) {}
    void OpenTag(std::wstring const& name) override {
        --m_tags;
        MSAXTextWriter::OpenTag(name);
    }
    bool IsGood() const override { return m_tags > 0; }

private:
    int m_tags;
};

} // namespace

TEST(MaterialCatalog, HandsOutTheSmallestFreeIdentifierFromOneOn) {
    struct {
        std::initializer_list<unsigned int> taken;
        unsigned int next;
    } const cases[] = {{{}, 1},          {{1, 2, 4}, 3}, {{2, 3}, 1},
                       {{0}, 1},         {{0, 1}, 2},    {{1, 2, 3, 0xFFFFFFFF}, 4},
                       {{0xFFFFFFFF}, 1}};
    for (auto const& [taken, next] : cases) {
        MMaterialCatalog catalog = Catalog(taken);
        MMeshMaterial material = Material(2, 9.0);
        MMeshMaterial const* const added = catalog.AddMaterialNewID(material);
        EXPECT_EQ(added->GetID(), next);
        EXPECT_EQ(added, catalog.GetMaterialWithID(next));
        EXPECT_EQ(material.GetID(), 2U);
        EXPECT_EQ(catalog.NumberOfMaterials(), taken.size() + 1);
    }
}

// For minutes where each is searched from the first one on.
TEST(MaterialCatalog, HandsOutManyIdentifiersInTimeInProportion) {
    MMaterialCatalog catalog = Catalog({0xFFFFFFF0}); // so that there is a gap at all times
    MMeshMaterial material = Material(2, 9.0);
    for (unsigned int id = 1; id <= 100000; ++id)
        ASSERT_EQ(catalog.AddMaterialNewID(material)->GetID(), id);
}

TEST(MaterialCatalog, RemovesManyMaterialsInTimeInProportion) {
    constexpr unsigned int Count = 50000; // for a minute where each removal looks at all entries
    MMaterialCatalog catalog;
    for (unsigned int id = 1; id <= Count; ++id) {
        MMeshMaterial material = Material(id, 0.5 * id);
        catalog.AddMaterial(material);
    }
    catalog.Invalidate();
    for (unsigned int id = Count; id > 1; --id) {
        catalog.RemoveMaterial(id);
        ASSERT_EQ(catalog.GetMaterialWithDensity(0.5 * id), nullptr);
    }
    EXPECT_EQ(catalog.NumberOfMaterials(), 1u);
    EXPECT_EQ(catalog.GetMaterialWithDensity(0.5), catalog.GetMaterialWithID(1));
}

// A removal takes the first entry whose material has that identifier now, whoever changed it.
TEST(MaterialCatalog, RemovesByIdentifiersThatChanged) {
    for (bool const assigned : {false, true}) {
        MMaterialCatalog catalog = Catalog({1, 2, 3, 4});
        catalog.Invalidate();
        catalog.RemoveMaterial(4); // from now on entries are known by identifier
        MMeshMaterial* const first = catalog.GetMaterialWithID(1);
        if (assigned)
            *first = Material(3, 1.5);
        else
            first->SetID(3);
        catalog.RemoveMaterial(3); // the third material, and the entry of the first
        EXPECT_EQ(catalog.GetMaterialWithID(3), nullptr);
        EXPECT_EQ(catalog.GetMaterialWithDensity(1.5), nullptr);
        EXPECT_NE(catalog.GetMaterialWithDensity(3.5), nullptr);
        catalog.RemoveMaterial(3);
        EXPECT_EQ(catalog.GetMaterialWithDensity(3.5), nullptr);
        EXPECT_EQ(catalog.GetMaterialWithDensity(2.5), catalog.GetMaterialWithID(2));
        catalog.RemoveMaterial(1);
        EXPECT_EQ(catalog.NumberOfMaterials(), 1u);
    }
}

TEST(MaterialCatalog, HandsOutWhatWasGivenBackFirst) {
    std::mt19937 random(16);
    MMaterialCatalog catalog;
    std::set<unsigned int> taken;
    for (int step = 0; step < 4000; ++step) {
        unsigned int const id = static_cast<unsigned int>(random() % 400);
        MMeshMaterial material = Material(id, 1.0);
        switch (random() % (step % 1000 < 500 ? 4 : 6)) {
        case 0:
        case 1: {
            unsigned int smallest = 1;
            while (taken.contains(smallest))
                ++smallest;
            ASSERT_EQ(catalog.AddMaterialNewID(material)->GetID(), smallest) << step;
            taken.insert(smallest);
            break;
        }
        case 2:
            catalog.AddMaterial(material);
            taken.insert(id);
            break;
        case 3:
            if (step % 50 == 0)
                catalog = MMaterialCatalog(catalog);
            break;
        default:
            catalog.RemoveMaterial(id);
            taken.erase(id);
        }
        ASSERT_EQ(catalog.NumberOfMaterials(), taken.size()) << step;
    }
}

TEST(MaterialCatalog, FindsNewMaterialsByIdentifierUntilItIsInvalidated) {
    MMaterialCatalog catalog;
    MMeshMaterial material = Material(5, 1.2);
    MMeshMaterial* const stored = catalog.AddMaterial(material);
    EXPECT_EQ(catalog.GetMaterialWithDensity(1.2), nullptr);
    EXPECT_EQ(catalog.GetMaterialWithDensity(5.0), stored);
    catalog.Invalidate();
    EXPECT_EQ(catalog.GetMaterialWithDensity(1.2), stored);
    EXPECT_EQ(catalog.GetMaterialWithDensity(5.0), nullptr);

    // Of several with one density the one with the lowest identifier; and a NaN confuses nothing.
    double const nan = std::numeric_limits<double>::quiet_NaN();
    for (unsigned int id : {9U, 3U, 4U, 8U}) {
        MMeshMaterial other = Material(id, id % 4 == 0 ? nan : 1.2);
        catalog.AddMaterial(other);
    }
    catalog.Invalidate();
    EXPECT_EQ(catalog.GetMaterialWithDensity(1.2), catalog.GetMaterialWithID(3));
    EXPECT_EQ(catalog.GetMaterialWithDensity(nan), nullptr);
    catalog.RemoveMaterial(3);
    EXPECT_EQ(catalog.GetMaterialWithDensity(1.2), stored);
    catalog.RemoveMaterial(5);
    catalog.RemoveMaterial(77);
    EXPECT_EQ(catalog.GetMaterialWithDensity(1.2), catalog.GetMaterialWithID(9));
    catalog.Clear();
    EXPECT_EQ(catalog.GetMaterialWithDensity(1.2), nullptr);
}

TEST(MaterialCatalog, CopiesHaveMaterialsOfTheirOwnAndKeepTheFirstOfAnIdentifier) {
    MMaterialCatalog original = Catalog({1, 2});
    original.Invalidate();
    MMaterialCatalog copy(original);
    EXPECT_TRUE(copy == original);
    EXPECT_EQ(copy.GetMaterialWithDensity(1.5), copy.GetMaterialWithID(1)) << "the index is copied as it is";
    copy.GetMaterialWithID(1)->SetEmodulus(12.0);
    EXPECT_TRUE(copy != original);
    original = copy;
    EXPECT_TRUE(copy == original);
    original = *&original;
    EXPECT_EQ(original.NumberOfMaterials(), 2U);
    EXPECT_NE(original.GetMaterialWithID(2), copy.GetMaterialWithID(2));

    MMeshMaterial other = Material(2, 99.0);
    EXPECT_EQ(copy.AddMaterial(other)->GetDensity(), 2.5);
    copy.Copy(Catalog({1, 9}));
    EXPECT_EQ(copy.NumberOfMaterials(), 3U);
    EXPECT_EQ(copy.GetMaterialWithID(1)->GetEmodulus(), 12.0);
}

TEST_F(MaterialFiles, TagsReadBack) {
    MMaterialCatalog catalog = Catalog({4, 1});
    catalog.GetMaterialWithID(4)->SetEmodulus(0.1);
    MFile file(m_name, MFile::Mode::Write);
    MSAXTextWriter writer(file);
    EXPECT_TRUE(catalog.Write(writer));
    ASSERT_TRUE(file.Close());
    std::string const document = Content(m_name.GetPath());
    std::size_t position = 0;
    for (char const* tag :
         {"<MaterialCatalog>", "<Material>", "<Index>1<", "<Color>4278190335<", "<Density>1.5<",
          "<E-modulus>1.79769313486231", "<Poisson>0.", "<Material>", "<Index>4<"}) {
        position = document.find(tag, position);
        ASSERT_NE(position, std::string::npos) << tag;
    }
    MMaterialCatalog read;
    ReadTags(read);
    EXPECT_TRUE(read == catalog);

    // What a material leaves out is 0.0, and nothing of the one before it is left over.
    Save(m_name.GetPath(),
         "<MaterialCatalog><Other/><Material><Index>1</Index><Density>2</Density></Material>"
         "<Material><Label>x<b/></Label><Index>2</Index></Material></MaterialCatalog>");
    read.Clear();
    ReadTags(read);
    ASSERT_EQ(read.NumberOfMaterials(), 2U);
    EXPECT_EQ(read.GetMaterialWithID(2)->GetDensity(), 0.0);
    EXPECT_EQ(read.GetMaterialWithID(2)->GetEmodulus(), 0.0);
}

TEST_F(MaterialFiles, WritingStopsAtTheFirstMaterialThatFails) {
    MFile file(m_name, MFile::Mode::Write);
    FailingWriter writer(file, 8); // in the second material
    EXPECT_FALSE(Catalog({1, 2, 3}).Write(writer));
    file.Close();
    MMaterialCatalog read;
    ReadTags(read);
    EXPECT_EQ(read.NumberOfMaterials(), 2U) << "all tags are closed, and the third was not begun";
}

// Bytes of the binary state as other programs read them; every shorter file changes nothing.
TEST_F(MaterialFiles, BinaryStateIsTakenAsAWholeOrNotAtAll) {
    MMaterialCatalog catalog = Catalog({3, 0x01020304});
    MFile file(m_name, MFile::Mode::Write);
    MStreamMFileOut out(file);
    catalog.SaveState(out);
    ASSERT_TRUE(file.Close());
    std::string const state = Content(m_name.GetPath());
    ASSERT_EQ(state.size(), 8U + 2 * 32U);
    EXPECT_EQ(state.substr(0, 24),
              std::string("\2\0\0\0\0\0\0\0\3\0\0\0\0\0\0\0\0\0\x0C\x40\xFF\0\0\xFF", 24));
    EXPECT_EQ(state.substr(40, 4), "\4\3\2\1");

    MMaterialCatalog read = Catalog({3, 8});
    LoadState(read);
    EXPECT_EQ(read.NumberOfMaterials(), 3U);
    MMaterialCatalog const before(read);
    std::vector<std::string> bad = CutAtEveryByte(state);
    bad.insert(bad.end(), {std::string(8, '\xFF'), std::string("\0\0\0\0\0\0\0\x08", 8) + state});
    for (std::string const& content : bad) {
        Save(m_name.GetPath(), content);
        EXPECT_THROW(LoadState(read), std::runtime_error) << content.size();
        EXPECT_TRUE(read == before);
    }
}
