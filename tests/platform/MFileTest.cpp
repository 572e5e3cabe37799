#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace fs = std::filesystem;

namespace {

enum class Kind : std::uint8_t { Wedge = 6 };

std::string Content(MFileName const& name) {
    std::ifstream stream(name.GetPath(), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace

TEST(MFile, NumbersAreLittleEndianAndReadBack) {
    MTemporaryDirectory const folder;
    MFileName const name = folder.GetPath() / "numbers";
    MFile file(name, MFile::Mode::Write);
    file.WRITE(std::uint32_t{0x01020304});
    file.WRITE(std::int16_t{-2});
    file.WRITE(Kind::Wedge);
    file.WRITE(true);
    file.WRITE(1.0);
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(Content(name), std::string("\4\3\2\1\xFE\xFF\6\1\0\0\0\0\0\0\xF0\x3F", 16));

    ASSERT_TRUE(file.Open(name, MFile::Mode::Read));
    EXPECT_EQ(file.Size(), 16U);
    EXPECT_EQ(file.READ<std::uint32_t>(), 0x01020304U);
    EXPECT_EQ(file.BytesLeft(), 12U);
    EXPECT_EQ(file.READ<std::int16_t>(), -2);
    EXPECT_EQ(file.READ<Kind>(), Kind::Wedge);
    EXPECT_EQ(file.READ<bool>(), true);
    EXPECT_EQ(file.READ<double>(), 1.0);
    EXPECT_TRUE(file.IsGood());
    EXPECT_EQ(file.BytesLeft(), 0U);
}

TEST(MFile, MissingBytesAreZerosAndTheFileIsBadFromThenOn) {
    MTemporaryDirectory const folder;
    MFileName const name = folder.GetPath() / "short";
    std::ofstream(name.GetPath()) << "\x7F\x7F\x7F";
    MFile file(name, MFile::Mode::Read);
    EXPECT_EQ(file.READ<std::uint32_t>(), 0x7F7F7FU);
    EXPECT_FALSE(file.IsGood());
    EXPECT_EQ(file.READ<double>(), 0.0);
    EXPECT_FALSE(file.Close());
}

// Blocks smaller and larger than the buffer, mixed with numbers, across its boundaries.
TEST(MFile, BlocksOfAnySizeKeepTheirOrder) {
    MTemporaryDirectory const folder;
    MFileName const name = folder.GetPath() / "blocks";
    std::vector<std::size_t> const sizes = {1, 65530, 7, 65536, 0, 3, 65537, 200000, 5};
    std::size_t total = 0;
    MFile file(name, MFile::Mode::Write);
    for (std::size_t const size : sizes) {
        file.Write(std::string(size, static_cast<char>(size % 251)).data(), size);
        file.WRITE(static_cast<std::uint32_t>(size));
        total += size + 4;
    }
    ASSERT_TRUE(file.Close());
    ASSERT_TRUE(file.Open(name, MFile::Mode::Read));
    for (std::size_t const size : sizes) {
        EXPECT_EQ(file.BytesLeft(), total);
        std::string block(size, '\xFF');
        EXPECT_EQ(file.Read(block.data(), size), size);
        EXPECT_EQ(block, std::string(size, static_cast<char>(size % 251)));
        EXPECT_EQ(file.READ<std::uint32_t>(), size);
        total -= size + 4;
    }
    EXPECT_TRUE(file.IsGood());
    EXPECT_EQ(file.Read(std::string(70000, 'x').data(), 70000), 0U);
    EXPECT_FALSE(file.IsGood());
}

TEST(MFile, RefusesWhatCannotBeOpenedReadOrWritten) {
    MTemporaryDirectory const folder;
    MFile file;
    EXPECT_FALSE(file.IsGood());
    EXPECT_FALSE(file.Open(folder.GetPath() / "missing", MFile::Mode::Read));
    EXPECT_FALSE(file.Open(folder.GetPath(), MFile::Mode::Read)) << "a folder";
    EXPECT_FALSE(file.Open("/dev/null", MFile::Mode::Read)) << "a device";
    EXPECT_FALSE(file.WRITE(1));

    ASSERT_TRUE(file.Open(folder.GetPath() / "mode", MFile::Mode::Write));
    EXPECT_EQ(file.READ<int>(), 0) << "open for writing only";
    EXPECT_FALSE(file.IsGood());

    if (file.Open("/dev/full", MFile::Mode::Write)) {
        EXPECT_TRUE(file.WRITE(1)) << "still in the buffer";
        EXPECT_FALSE(file.Close()) << "the disk was full";
    }
}

TEST(MTemporaryDirectory, IsPrivateUniqueAndGoesWithItsContent) {
    MTemporaryDirectory outer;
    fs::path const path = outer.GetPath().GetPath();
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
    MFileName const outside = outer.GetPath() / "outside";
    std::ofstream(outside.GetPath()) << "stays";
    {
        MTemporaryDirectory inner(outer.GetPath());
        MTemporaryDirectory const other(outer.GetPath());
        EXPECT_FALSE(inner.GetPath() == other.GetPath());
        fs::create_directories(inner.GetPath().GetPath() / "a" / "b");
        std::ofstream((inner.GetPath() / "a/b/file").GetPath()) << "goes";
        fs::create_symlink(outside.GetPath(), (inner.GetPath() / "link").GetPath());
        MTemporaryDirectory const moved(std::move(inner));
        EXPECT_TRUE(fs::exists((moved.GetPath() / "a/b/file").GetPath()));
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(path), {}), 1);
    EXPECT_EQ(Content(outside), "stays") << "links are not followed";
    outer = MTemporaryDirectory();
    EXPECT_FALSE(fs::exists(path));
    EXPECT_THROW(MTemporaryDirectory(MFileName(path)), std::runtime_error) << "no such folder";
}
