// SPDX-License-Identifier: BSD-3-Clause
// Surfaces go through files of every format; damaged files end in one line and never in a crash.
#include "RealMeshes.h"
#include "TestFiles.h"

#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkLogger.h>
#include <vtkUnstructuredGrid.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace KetSDK::MeshVTK;
namespace fs = std::filesystem;

namespace {

// Two triangles with a common edge, in each format as text.
std::string const Stl =
    "solid a b\n"
    " facet normal 0 0 1\n  outer loop\n   vertex 0 0 0\n   vertex 1 0 0\n   vertex 0 1 0\n"
    "  endloop\n endfacet\n"
    " facet normal 0 0 1\n  outer loop\n   vertex 1 0 0\n   vertex 1 1 0\n   vertex 0 1 0\n"
    "  endloop\n endfacet\nendsolid a b\n";
std::string const Ply = "ply\nformat ascii 1.0\ncomment two\nelement vertex 4\nproperty float x\n"
                        "property float y\nproperty double z\nproperty uchar red\nelement face 2\n"
                        "property list uchar int vertex_indices\nend_header\n"
                        "0 0 0 1\n1 0 0 1\n0 1 0 1\n1 1 0 1\n3 0 1 2\n3 1 3 2\n";
std::string const Obj = "# two\nv 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\nf 1 2 3\nf -3 -1 -2\n";
std::string const Vtp = R"(<?xml version="1.0"?>
<VTKFile type="PolyData" version="0.1" byte_order="LittleEndian">
<PolyData><FieldData>
<Array type="String" Name="surface_names" NumberOfTuples="2" format="ascii">97 32 98 0 99 0</Array></FieldData>
<Piece NumberOfPoints="4" NumberOfVerts="0" NumberOfLines="0" NumberOfStrips="0" NumberOfPolys="2">
<Points><DataArray type="Float32" NumberOfComponents="3" format="ascii">0 0 0 1 0 0 0 1 0 1 1 0</DataArray></Points>
<CellData><DataArray type="Int32" Name="surface" format="ascii">1 0</DataArray></CellData>
<Polys><DataArray type="Int32" Name="connectivity" format="ascii">0 1 2 1 3 2</DataArray>
<DataArray type="Int32" Name="offsets" format="ascii">3 6</DataArray></Polys>
</Piece></PolyData></VTKFile>
)";

std::string Replaced(std::string text, std::string const& from, std::string const& to) {
    std::size_t const at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

std::string Repeated(std::string const& text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

// The surface with other XML in front of what it is about.
std::string InFront(std::string const& xml) {
    return Replaced(Vtp, "<PolyData>", xml + "<PolyData>");
}

// The surface with further arrays, all of which have their data at one place.
std::string Sharing(int arrays) {
    std::string const array =
        "<DataArray type=\"Int8\" Name=\"a\" NumberOfTuples=\"8000\" format=\"appended\" "
        "offset=\"0\"/>";
    std::string const size("\x40\x1F\0\0", 4);
    return Replaced(Replaced(Vtp, "</FieldData>", Repeated(array, arrays) + "</FieldData>"), "</VTKFile>",
                    "<AppendedData encoding=\"raw\">_" + size + std::string(8000, 'a') +
                        "</AppendedData></VTKFile>");
}

std::string WithCarriageReturns(std::string const& text) {
    std::string result;
    for (char const c : text)
        result += c == '\n' ? "\r\n" : std::string(1, c);
    return result;
}

class SurfaceFile : public ::testing::Test {
protected:
    SurfaceFile() {
        fs::create_directories(m_folder);
        vtkLogger::SetStderrVerbosity(vtkLogger::VERBOSITY_OFF);
    }
    ~SurfaceFile() override { fs::remove_all(m_folder); }

    std::unique_ptr<MStlBase> Read(std::string const& content, std::string const& ending) const {
        fs::path const path = m_folder / ("surface" + ending);
        Save(path, content);
        return ReadSurfaceFile(path, {}, nullptr, nullptr);
    }
    // What is wrong with the file; empty when nothing is.
    std::string Message(std::string const& content, std::string const& ending) const {
        try {
            Read(content, ending);
        } catch (Error const& error) {
            EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
            return error.what();
        }
        return "";
    }
    std::string Written(MStlBase const& stl, std::string const& ending) const {
        OutputFile file(m_folder / ("written" + ending));
        WriteSurfaceFile(stl, {}, file, nullptr);
        return Content(file.GetPath());
    }

    fs::path const m_folder = fs::temp_directory_path() / ("SurfaceFileTest-" + std::to_string(::getpid()));
};

// The corners of all triangles, surface by surface.
std::vector<MMVector<double, 3>> Corners(MStlBase const& stl) {
    std::vector<MMVector<double, 3>> corners;
    for (MStlSurface const& surface : stl.Surfaces())
        for (MStlTriangle const& triangle : surface.Triangles())
            for (std::size_t i = 0; i < 3; ++i)
                corners.push_back(triangle.GetPoint(i)->GetPosition());
    return corners;
}

double LargestDistance(MStlBase const& a, MStlBase const& b) {
    auto const p = Corners(a);
    auto const q = Corners(b);
    double largest = 0.0;
    for (std::size_t i = 0; i < p.size(); ++i)
        largest = std::max(largest, (p[i] - q[i]).Length());
    return largest;
}

} // namespace

TEST_F(SurfaceFile, RealSurfacesComeBackFromEveryFormat) {
    auto const grid = ReadGrid("head_small_tet4.vtu");
    auto const mesh = MeshFromGrid(*grid, {}, nullptr);
    MStlBase stl;
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(mesh.get());
    extract.SetStl(&stl);
    extract.SetExtractInterfacesBetweenSubVolumes(true);
    ASSERT_TRUE(extract.Operate());
    // In .stl and .ply a coordinate of up to 512 mm has 24 bits; of .obj files VTK reads as many.
    for (auto const& [ending, error] :
         {std::pair{".vtp", 0.0}, {".stl", 6e-5}, {".PLY", 6e-5}, {".obj", 1e-3}}) {
        SCOPED_TRACE(ending);
        auto const back = Read(Written(stl, ending), ending);
        ASSERT_EQ(back->NumberOfTriangles(), stl.NumberOfTriangles());
        EXPECT_EQ(back->NumberOfPoints(), stl.NumberOfPoints());
        EXPECT_LE(LargestDistance(*back, stl), error);
        bool const named = std::string(ending) == ".vtp" || std::string(ending) == ".obj";
        ASSERT_EQ(back->NumberOfSurfaces(), named ? stl.NumberOfSurfaces() : 1u);
        for (std::uint64_t s = 0; named && s < stl.NumberOfSurfaces(); ++s)
            EXPECT_EQ(back->GetSurface(s)->GetName(), stl.GetSurface(s)->GetName());
    }
}

TEST_F(SurfaceFile, TextFilesAreRead) {
    std::string const quad = Replaced(Ply, "element face 2", "element face 1");
    std::pair<char const*, std::string> const files[] = {
        {".stl", Stl},
        {".stl", WithCarriageReturns(Stl)},
        {".ply", Ply},
        {".ply", WithCarriageReturns(Ply)},
        {".ply", Replaced(Ply, "comment two", "comment a longer one")},
        {".ply", Replaced(quad, "3 0 1 2\n3 1 3 2\n", "4 0 1 3 2\n")},
        {".obj", Obj},
        {".obj", WithCarriageReturns(Obj)},
        {".obj", Replaced(Obj, "f 1 2 3\nf -3 -1 -2\n", "vt 0 0\nvn 0 0 1\nf 1/1/1 2/1/1 4/-1/-1 3/1/1\n")},
        {".obj", Replaced(Obj, "f 1 2 3", "vn 0 0 1\nf 1//1 2//1 3//1")}, // where others have none
        {".vtp", Vtp},
    };
    for (auto const& [ending, content] : files) {
        SCOPED_TRACE(content);
        auto const stl = Read(content, ending);
        EXPECT_EQ(stl->NumberOfTriangles(), 2u);
        EXPECT_EQ(stl->NumberOfPoints(), 4u);
        double area = 0.0;
        for (MStlSurface const& surface : stl->Surfaces())
            area += surface.GetArea();
        EXPECT_DOUBLE_EQ(area, 1.0);
    }
    EXPECT_EQ(Read(Vtp, ".vtp")->GetSurface(1)->GetName(), L"c");
    // A binary file whose header looks like text, as many have.
    std::string binary = Written(*Read(Stl, ".stl"), ".stl");
    binary.replace(0, 80, "solid " + std::string(74, ' '));
    EXPECT_EQ(Read(binary, ".stl")->NumberOfTriangles(), 2u);
}

TEST_F(SurfaceFile, BadFilesEndInOneLine) {
    struct Bad {
        char const* ending;
        std::string content;
        char const* part; // of the message
    };
    std::string const long_line = Replaced(Obj, "f 1 2 3", "f 1 2 3" + std::string(2000, ' '));
    Bad const files[] = {
        {".stl", "", "empty"},
        {".tif", Stl, "only"},
        {".stl", Ply, "no .stl file"},
        {".stl", Stl + "rest\n", "is no \"solid\""},
        {".stl", Replaced(Stl, "vertex 1 0 0", "vertex 1 0"), "\"vertex\" and three numbers"},
        {".stl", Replaced(Stl, "vertex 1 0 0", "vertex 1 0 nan"), "must be finite"},
        {".stl", "solid a\nendsolid a\n", "no triangles"},
        {".ply", Stl, "no PLY"},
        {".ply", Replaced(Ply, "vertex 4", "vertex 3"), "more values"},
        {".ply", Replaced(Ply, "vertex 4", "vertex 4000000000"), "cannot be right"},
        {".ply", Replaced(Ply, "face 2", "face 1"), "longer than its header"},
        {".ply", Replaced(Ply, "face 2", "face 3"), "cut off"},
        {".ply", Replaced(Ply, "3 1 3 2", "3 1 4 2"), "vertex 4, but there are 4"},
        {".ply", Replaced(Ply, "3 1 3 2", "3 1 -1 2"), "vertex -1"},
        {".ply", Replaced(Ply, "3 1 3 2", "300 1 3 2"), "300 values"},
        {".ply", Replaced(Ply, "element face", "\nelement face"), "is empty"},
        {".ply", Replaced(Ply, "vertex_indices\n", "vertex_indices\nproperty list uchar int a\n"),
         "list \"a\""},
        {".ply", Replaced(Ply, "float y", "float q"), "no y"},
        {".ply", Replaced(Ply, "vertex_indices", "corners"), "no list of vertex_indices"},
        {".ply", Replaced(Ply, "element vertex", "element edge 0\nproperty int a\nelement vertex"), "begin"},
        {".obj", Stl, "no triangles"},
        {".obj", Replaced(Obj, "f 1 2 3", "f 1 2 5"), "vertex 5, but there are 4"},
        {".obj", Replaced(Obj, "f 1 2 3", "f 1 2 0"), "does not exist"},
        {".obj", Replaced(Obj, "f 1 2 3", "f 1 2/ 3"), "ends with"},
        {".obj", Replaced(Obj, "f -3", "f -5"), "does not exist"},
        {".obj", Replaced(Obj, "f 1 2 3", "f 1/1 2/1 3/1"), "texture coordinate 1"},
        {".obj", Replaced(Obj, "v 1 0 0", "v 1 0"), "needs 3 numbers"},
        {".obj", long_line, "too long"},
        {".vtp", Ply, "no VTK XML"},
        {".vtp", Replaced(Vtp, "PolyData", "UnstructuredGrid"), "PolyData is needed"},
        {".vtp", Replaced(Vtp, "3 6<", "3 7<"), "do not fit the list"},
        {".vtp", Replaced(Vtp, "3 6<", "-3 6<"), "monotonically"},
        {".vtp", Replaced(Vtp, "1 3 2<", "1 4 2<"), "point 4, but there are 4"},
        {".vtp", Replaced(Vtp, ">1 0</", ">1 0 1</"), "3 values instead of 2"},
        {".vtp", Replaced(Vtp, ">1 0</", ">2 0</"), "surface 2"},
        {".vtp", Replaced(Vtp, "Tuples=\"2\"", "Tuples=\"2000000000\""), "instead of 2000000000"},
        {".vtp", Replaced(Vtp, "Tuples=\"2\"", "Tuples=\"1\""), "2 values instead of 1"},
        {".vtp", Replaced(Vtp, "\"Int32\"", "\"Int31\""), "unknown type"},
        {".vtp", Replaced(Vtp, "Polys=\"2\"", "Polys=\"3\""), "instead of 3"},
        // What makes parsers run out of the stack, of memory or of time.
        {".vtp", InFront(Repeated("<a>", 20000) + Repeated("</a>", 20000)), "nested too deeply"},
        {".vtp", Replaced(Vtp, "<VTKFile", "<!DOCTYPE a [<!ENTITY b \"c\">]><VTKFile"), "declaration"},
        {".vtp", InFront("<a b=\"" + std::string(100'000, 'c') + "\"/>"), "more than 65536 bytes"},
        {".vtp", InFront("<!--" + std::string(100'000, 'c') + "-->"), "more than 65536 bytes"},
        {".vtp", InFront("<" + std::string(100'000, 'c') + "/>"), "more than 65536 bytes"},
        {".vtp", InFront(Repeated("<a/>", 200'001)), "elements of XML"},
        {".vtp", InFront(std::string(1, '\0')), "byte of 0"},
        {".vtp", Sharing(100), "share their data"},
    };
    EXPECT_EQ(Message(Sharing(3), ".vtp"), "");
    for (Bad const& bad : files) {
        std::string const message = Message(bad.content, bad.ending);
        EXPECT_NE(message.find(bad.part), std::string::npos)
            << bad.ending << ", " << bad.part << ": " << message;
    }
    EXPECT_THROW(ReadSurfaceFile(m_folder / "none.stl", {}, nullptr, nullptr), Error);
    EXPECT_THROW(ReadSurfaceFile(m_folder, {}, nullptr, nullptr), Error);
}

// Whatever is missing at the end, the file is refused or, where only its last words are missing, whole.
TEST_F(SurfaceFile, FilesCutOffAnywhereAreNoticed) {
    auto const stl = Read(Vtp, ".vtp");
    std::string const binary_ply = Written(*stl, ".ply");
    std::pair<char const*, std::string> const files[] = {
        {".stl", Stl}, {".stl", Written(*stl, ".stl")}, {".ply", Ply}, {".ply", binary_ply}, {".obj", Obj},
        {".vtp", Vtp}, {".vtp", Written(*stl, ".vtp")}};
    for (auto const& [ending, content] : files) {
        std::size_t const end = content.find_last_not_of(" \n") + 1;
        std::size_t const whole = content == Stl   ? content.size() - 5 // the solid's name
                                  : content == Obj ? content.rfind("f") // the face before is not missed
                                                   : end;
        for (std::string const& cut : CutAtEveryByte(content)) {
            bool const may_pass = cut.size() >= whole || (content == Obj && cut.ends_with('\n'));
            EXPECT_TRUE(!Message(cut, ending).empty() || may_pass)
                << ending << " cut to " << cut.size() << " of " << content.size();
        }
    }
}
