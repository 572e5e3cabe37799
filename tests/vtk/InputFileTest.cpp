// SPDX-License-Identifier: BSD-3-Clause
// Files are opened once and read whole, whatever they are, whoever exchanges them meanwhile and whatever the
// locale of the program is; and what they hold reaches no terminal as it is.
#include "TestFiles.h"

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/Mesh/persistence/MMeshFile.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/GridFile.h>
#include <KetSDK/MeshVTK/ImageFile.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkImageData.h>
#include <vtkUnstructuredGrid.h>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <locale>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace KetSDK::MeshVTK;
namespace fs = std::filesystem;

namespace {

std::string const Corpus = KETSDK_DATA_DIR "/../tests/fuzz/corpus/";

using Progress = std::shared_ptr<KetSDK::Common::IProgressDelegate>;

struct Format {
    std::string file; // in the corpus
    // How much is in it: cells, triangles or voxels.
    std::function<std::uint64_t(fs::path const&, Progress const&)> read;
};

std::vector<Format> Formats() {
    auto const grid = [](fs::path const& path, Progress const& progress) {
        return static_cast<std::uint64_t>(ReadGridFile(path, progress)->GetNumberOfCells());
    };
    auto const surface = [](fs::path const& path, Progress const& progress) {
        return ReadSurfaceFile(path, {}, progress, nullptr)->NumberOfTriangles();
    };
    auto const image = [](fs::path const& path, Progress const& progress) {
        return static_cast<std::uint64_t>(ReadImageFile(path, progress)->GetNumberOfPoints());
    };
    return {{"vtu/real-tet4-raw.vtu", grid},     {"vtk/real-tet4-ascii-51.vtk", grid},
            {"vtp/real-raw.vtp", surface},       {"vtp/real-ascii.vtp", surface},
            {"stl/real-ascii.stl", surface},     {"ply/real-ascii.ply", surface},
            {"obj/real-triangles.obj", surface}, {"nifti/real-plain.nii", image},
            {"nifti/real-packed.nii.gz", image}, {"meta/real-packed.mha", image},
            {"vti/real-raw.vti", image},         {"vti/real-ascii.vti", image}};
}

// The same; 0 for a file that is refused.
std::uint64_t SizeOf(Format const& format, fs::path const& path, Progress const& progress) {
    try {
        return format.read(path, progress);
    } catch (Error const& error) {
        ADD_FAILURE() << error.what();
        return 0;
    }
}

// Puts something else in the place of a file as soon as reading it begins.
class Exchanging : public KetSDK::Common::IProgressDelegate {
public:
    explicit Exchanging(fs::path const& path)
        : m_path(path) {}
    void Begin(std::string const&, bool) override { Exchange(); }
    void Advance(double) override { Exchange(); }
    void End() override {}
    bool IsCancelled() const override { return false; }

private:
    void Exchange() {
        fs::path const other = m_path.string() + ".other";
        Save(other, "something else");
        fs::rename(other, m_path);
    }

    fs::path m_path;
};

// Numbers as in much of Europe.
class CommaNumbers : public std::numpunct<char> {
protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

} // namespace

TEST(InputFile, ExchangedFilesAndOtherLocalesChangeNothing) {
    MTemporaryDirectory const folder;
    for (Format const& format : Formats()) {
        SCOPED_TRACE(format.file);
        fs::path const path = folder.GetPath().GetPath() / fs::path(format.file).filename();
        fs::copy_file(Corpus + format.file, path);
        std::uint64_t const size = format.read(path, nullptr);
        EXPECT_GT(size, 0u);
        // VTK's readers of XML refuse what they cannot read of their own numbers with commas.
        bool const is_xml = path.extension() == ".vtu" || path.extension() == ".vtp";
        std::locale const before = std::locale::global(std::locale(std::locale(), new CommaNumbers));
        EXPECT_EQ(is_xml ? size : SizeOf(format, path, nullptr), size);
        std::locale::global(before);
        EXPECT_EQ(SizeOf(format, path, std::make_shared<Exchanging>(path)), size);
    }
}

TEST(InputFile, PipesAndDevicesAreRefusedAtOnce) {
    MTemporaryDirectory const folder;
    ::alarm(60); // waiting for somebody who writes would take forever
    for (Format const& format : Formats()) {
        SCOPED_TRACE(format.file);
        fs::path const path = folder.GetPath().GetPath() / fs::path(format.file).filename();
        ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
        EXPECT_THROW(format.read(path, nullptr), Error);
        EXPECT_THROW(MMeshFile::Load(path, nullptr), MMeshFileError);
        fs::remove(path);
        fs::create_symlink("/dev/zero", path);
        EXPECT_THROW(format.read(path, nullptr), Error);
    }
    ::alarm(0);
}

TEST(InputFile, TextIsWrittenWithPointsInEveryLocale) {
    MTemporaryDirectory const folder;
    auto const stl = ReadSurfaceFile(Corpus + "obj/real-triangles.obj", {}, nullptr, nullptr);
    stl->AddPoint(MLong{12345 * 65536 + 1}, MLong{0}, MLong{0}, true);
    std::vector<std::string> contents;
    for (bool const commas : {false, true}) {
        std::locale const before =
            std::locale::global(commas ? std::locale(std::locale(), new CommaNumbers) : std::locale());
        OutputFile file(folder.GetPath().GetPath() / "written.obj");
        WriteSurfaceFile(*stl, {}, file, nullptr);
        std::locale::global(before);
        contents.push_back(Content(file.GetPath()));
    }
    EXPECT_EQ(contents[0], contents[1]);
}

TEST(InputFile, MessagesArePrintable) {
    for (auto const& [text, printable] : std::vector<std::pair<std::string, std::string>>{
             {"\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80 \\", ""},
             {"a\x1B[31m\nb", "a\\x1B[31m\\x0Ab"},
             {std::string("a\0b\x7F", 4), "a\\x00b\\x7F"},
             {"\xC2\x9B|\xFF|\xC3", "\\x9B|\\xFF|\\xC3"},
             {"\xE2\x80\xAE\xEF\xBF\xBD", "\\u202E\xEF\xBF\xBD"}}) {
        std::string const expected = printable.empty() ? text : printable;
        EXPECT_EQ(Printable(text), expected);
        EXPECT_EQ(Error(text).what(), expected);
    }
}

// A polygon without extent gives no triangles; that of three corners is taken as it is.
TEST(InputFile, PolygonsThatCannotBeCutAreCounted) {
    MTemporaryDirectory const folder;
    fs::path const path = folder.GetPath().GetPath() / "a.obj";
    Save(
        path,
        "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 2 0 0\nv 3 0 0\nv 1 1 0\nf 1 2 3\nf 1 2 4 5\nf 1 2 6 3\nf 1 2 6 6 3\n");
    SurfaceReport report;
    EXPECT_EQ(ReadSurfaceFile(path, {}, nullptr, &report)->NumberOfTriangles() + report.dropped_triangles,
              5u);
    EXPECT_EQ(report.uncut_polygons, 1u);
}
