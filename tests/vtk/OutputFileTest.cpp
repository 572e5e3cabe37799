// Files appear whole or not at all, with the permissions and at the place that a user expects.
#include "TestFiles.h"

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/OutputFile.h>

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
