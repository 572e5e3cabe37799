// SPDX-License-Identifier: BSD-3-Clause
#include "TestFiles.h"

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>

#include <gtest/gtest.h>

#include <vector>

namespace fs = std::filesystem;

TEST(MFile, NumbersAreLittleEndianAndMissingBytesAreZeros) {
    MTemporaryDirectory const folder;
    MFileName const name = folder.GetPath() / "numbers";
    MFile file(name, MFile::Mode::Write);
    file.WRITE(std::uint32_t{0x01020304});
    file.WRITE(std::int16_t{-2});
    file.WRITE(1.0);
    file.Write("\x7F\x7F\x7F", 3);
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(Content(name.GetPath()), std::string("\4\3\2\1\xFE\xFF\0\0\0\0\0\0\xF0\x3F\x7F\x7F\x7F", 17));

    ASSERT_TRUE(file.Open(name, MFile::Mode::Read));
    EXPECT_EQ(file.READ<std::uint32_t>(), 0x01020304U);
    EXPECT_EQ(file.BytesLeft(), 13U);
    EXPECT_EQ(file.READ<std::int16_t>(), -2);
    EXPECT_EQ(file.READ<double>(), 1.0);
    EXPECT_TRUE(file.IsGood());
    EXPECT_EQ(file.READ<std::uint32_t>(), 0x7F7F7FU);
    EXPECT_FALSE(file.IsGood());
    EXPECT_EQ(file.READ<double>(), 0.0);
    EXPECT_FALSE(file.Close()) << "bad from the first missing byte on";
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
}

TEST(MFile, RefusesWhatCannotBeOpenedReadOrWritten) {
    MTemporaryDirectory const folder;
    MFile file;
    for (MFileName const& name : {folder.GetPath() / "missing", folder.GetPath(), MFileName("/dev/null")})
        EXPECT_FALSE(file.Open(name, MFile::Mode::Read)) << name.GetPath();
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
    std::filesystem::path const path = outer.GetPath().GetPath();
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms::owner_all);
    MFileName const outside = outer.GetPath() / "outside";
    Save(outside.GetPath(), "stays");
    {
        MTemporaryDirectory inner(outer.GetPath());
        MTemporaryDirectory const other(outer.GetPath());
        EXPECT_FALSE(inner.GetPath() == other.GetPath());
        std::filesystem::create_directories(inner.GetPath().GetPath() / "a" / "b");
        Save((inner.GetPath() / "a/b/file").GetPath(), "goes");
        std::filesystem::create_symlink(outside.GetPath(), (inner.GetPath() / "link").GetPath());
        MTemporaryDirectory const moved(std::move(inner));
        EXPECT_TRUE(std::filesystem::exists((moved.GetPath() / "a/b/file").GetPath()));
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path), {}), 1);
    EXPECT_EQ(Content(outside.GetPath()), "stays") << "links are not followed";
    outer = MTemporaryDirectory();
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_THROW(MTemporaryDirectory(MFileName(path)), std::runtime_error) << "no such folder";
}
