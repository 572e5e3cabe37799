// SPDX-License-Identifier: BSD-3-Clause
// Files appear whole or not at all, with the permissions and at the place that a user expects.
#include "TestFiles.h"

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/OutputFile.h>
#include <KetSDK/MeshVTK/OutputTransaction.h>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

using namespace KetSDK::MeshVTK;
namespace fs = std::filesystem;

namespace {

class OutputFiles : public ::testing::Test {
protected:
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (auto const& entry : fs::directory_iterator(m_folder))
            names.push_back(entry.path().filename().string());
        std::ranges::sort(names);
        return names;
    }
    // What is wrong with writing a file; empty when it was written.
    static std::string Message(fs::path const& path) {
        try {
            OutputFile file(path);
            Save(file.GetTemporaryPath(), "new");
            file.Commit();
        } catch (Error const& error) {
            return error.what();
        }
        return "";
    }

    MTemporaryDirectory const m_owner;
    fs::path const m_folder = m_owner.GetPath().GetPath();
};

mode_t ModeOf(fs::path const& path) {
    struct stat status {};
    ::stat(path.c_str(), &status);
    return status.st_mode & 0777;
}

} // namespace

TEST_F(OutputFiles, LeftoversOfEndedProcessesAreRemovedAndNoOthers) {
    fs::path const path = m_folder / "a.vtu";
    pid_t const child = ::fork();
    if (child == 0) {
        OutputFile const file(path);
        ::_exit(0); // without removing it, as when it is killed
    }
    ::waitpid(child, nullptr, 0);
    ASSERT_EQ(Names().size(), 1u);
    Save(m_folder / ".ketsdk-out-mine", "mine");
    OutputFile first(path);
    EXPECT_EQ(Names().size(), 2u);
    OutputFile second(path); // of the same name at the same time
    second.Write("second");
    EXPECT_EQ(Names().size(), 3u);
    first.Commit();
    second.Commit();
    EXPECT_EQ(Names(), (std::vector<std::string>{".ketsdk-out-mine", "a.vtu"}));
    EXPECT_EQ(Content(path), "second");
}

TEST_F(OutputFiles, OfATransactionAppearTogetherOrNotAtAll) {
    std::vector<std::string> const names = {"a.vtu", "b.vtu", "c.vtu"};
    for (std::string const& failing : {std::string(), names[0], names[1], names[2]}) {
        SCOPED_TRACE(failing);
        for (fs::directory_entry const& entry : fs::directory_iterator(m_folder))
            fs::remove_all(entry);
        Save(m_folder / "a.vtu", "old"); // and b is new
        Save(m_folder / "c.vtu", "old");
        auto const commit = [&] {
            OutputTransaction outer;
            std::vector<OutputFile> files;
            for (std::string const& name : names)
                files.emplace_back(m_folder / name).Write("new");
            {
                OutputTransaction inner;
                for (OutputFile& file : files)
                    file.Commit();
                inner.Commit();
            }
            EXPECT_EQ(Content(m_folder / "a.vtu"), "old");
            EXPECT_FALSE(fs::exists(m_folder / "b.vtu"));
            if (!failing.empty()) { // a folder takes the name
                fs::remove(m_folder / failing);
                fs::create_directories(m_folder / failing / "in");
            }
            outer.Commit();
        };
        if (failing.empty()) {
            commit();
            EXPECT_EQ(Names(), names);
            for (std::string const& name : names)
                EXPECT_EQ(Content(m_folder / name), "new");
            continue;
        }
        try {
            commit();
            ADD_FAILURE();
        } catch (Error const& error) {
            EXPECT_TRUE(std::string(error.what()).starts_with((m_folder / failing).string() + ": "));
        }
        EXPECT_TRUE(fs::exists(m_folder / failing / "in"));
        EXPECT_EQ(fs::exists(m_folder / "b.vtu"), failing == "b.vtu");
        for (std::string const name : {"a.vtu", "c.vtu"}) {
            if (name != failing) {
                EXPECT_EQ(Content(m_folder / name), "old");
            }
        }
        EXPECT_EQ(Names().size(), failing == "b.vtu" ? 3u : 2u); // nothing temporary
    }
}

TEST_F(OutputFiles, PermissionsStay) {
    mode_t const before = ::umask(027);
    fs::path const path = m_folder / "a.vtu";
    EXPECT_EQ(Message(path), "");
    EXPECT_EQ(ModeOf(path), 0640u);
    for (mode_t const mode : {0600u, 0664u, 0755u, 0200u}) {
        ::chmod(path.c_str(), mode);
        {
            OutputFile file(path);
            EXPECT_EQ(ModeOf(file.GetTemporaryPath()), 0600u);
            file.Commit();
        }
        EXPECT_EQ(ModeOf(path), mode);
    }
    ::chmod(path.c_str(), 0444);
    EXPECT_NE(Message(path).find("may not be changed"), std::string::npos);
    EXPECT_EQ(Names(), std::vector<std::string>{"a.vtu"});
    ::umask(before);
}

TEST_F(OutputFiles, SymbolicLinksAreWrittenThrough) {
    fs::create_directory(m_folder / "below");
    fs::path const target = m_folder / "below" / "target.vtu";
    fs::create_symlink("below/target.vtu", m_folder / "relative.vtu");
    fs::create_symlink(fs::absolute(m_folder / "relative.vtu"), m_folder / "chain.vtu");
    for (char const* const name : {"relative.vtu", "chain.vtu"}) // the first one makes the file
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(Message(m_folder / name), "");
            EXPECT_TRUE(fs::is_symlink(m_folder / name));
            EXPECT_EQ(Content(target), "new");
            Save(target, "old");
        }
    EXPECT_EQ(Names(), (std::vector<std::string>{"below", "chain.vtu", "relative.vtu"}));
    fs::create_symlink("loop.vtu", m_folder / "loop.vtu");
    EXPECT_NE(Message(m_folder / "loop.vtu"), "");
    fs::create_symlink("/dev/null", m_folder / "device.vtu");
    EXPECT_NE(Message(m_folder / "device.vtu").find("no file"), std::string::npos);
}

// Whoever may write to the folder cannot lead what is written elsewhere.
TEST_F(OutputFiles, ExchangedTemporaryFilesAreNotFollowed) {
    fs::path const outside = m_folder / "outside";
    Save(outside, "untouched");
    OutputFile file(m_folder / "a.vtu");
    for (std::string const& name : Names())
        if (name != "outside") {
            fs::remove(m_folder / name);
            fs::create_symlink(outside, m_folder / name);
        }
    Save(file.GetTemporaryPath(), "new");
    EXPECT_THROW(file.Commit(), Error);
    EXPECT_EQ(Content(outside), "untouched");
    EXPECT_FALSE(fs::exists(m_folder / "a.vtu"));
}

TEST_F(OutputFiles, NamesThatNoFileCanHaveAreRefusedAtOnce) {
    EXPECT_THROW(OutputFile(m_folder / (std::string(252, 'a') + ".vtu")), Error);
    EXPECT_EQ(Message(m_folder / (std::string(251, 'a') + ".vtu")), "");
}
