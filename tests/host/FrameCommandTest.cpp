// SPDX-License-Identifier: BSD-3-Clause
// Frames of coordinates: what files say, and what is done where two of them meet.
#include "KetmeshProgram.h"

#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkImageData.h>
#include <vtkMatrix4x4.h>
#include <vtkNIFTIImageReader.h>
#include <vtkNIFTIImageWriter.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkStringArray.h>
#include <vtkXMLImageDataReader.h>
#include <vtkXMLImageDataWriter.h>
#include <vtkXMLPolyDataReader.h>

#include <array>

namespace {

std::string const Nifti = Data + "head_ct.nii.gz";

void Say(vtkDataObject& data, char const* frame) {
    vtkNew<vtkStringArray> space;
    space->SetName("SPACE");
    space->InsertNextValue(frame);
    data.GetFieldData()->AddArray(space);
}

// Where the middle of the sample image lies, as scanners give it: the world's origin.
constexpr std::array<double, 3> Middle = {40.195308685302734 + 44 * 1.9140623807907104,
                                          9.570311546325684 + 58.5 * 1.9140623807907104, 0.0};

// The sample image with its middle over the origin.
void WriteCenteredImage(std::string const& path) {
    vtkNew<vtkNIFTIImageReader> reader;
    reader->SetFileName(Nifti.c_str());
    reader->Update();
    vtkNew<vtkMatrix4x4> place;
    place->DeepCopy(reader->GetSFormMatrix());
    for (int axis = 0; axis < 2; ++axis)
        place->SetElement(axis, 3, place->GetElement(axis, 3) - Middle[static_cast<std::size_t>(axis)]);
    vtkNew<vtkNIFTIImageWriter> writer;
    writer->SetInputData(reader->GetOutput());
    writer->SetSFormMatrix(place);
    writer->SetFileName(path.c_str());
    writer->Write();
}

// The sample head there, in RAS or turned into LPS, with a frame in the file or without.
void WriteCenteredHead(std::string const& path, double sign, char const* frame) {
    auto const grid = ReadGrid("head_small_tet4.vtu");
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    for (vtkIdType i = 0; i < grid->GetNumberOfPoints(); ++i) {
        double p[3];
        grid->GetPoint(i, p);
        points->InsertNextPoint(sign * (p[0] - Middle[0]), sign * (p[1] - Middle[1]), p[2]);
    }
    grid->SetPoints(points);
    if (frame)
        Say(*grid, frame);
    WriteGrid(path, *grid);
}

} // namespace

// The head of the demo is left where it is, and a mesh in LPS gets the densities of the same mesh in RAS, bit
// for bit, from an image in RAS. Taken as it is, which only --frame RAS can ask for, its bone is too light.
TEST_F(Ketmesh, TurnsAnImageIntoTheFrameOfTheMesh) {
    WriteCenteredImage(Path("ct.nii"));
    WriteCenteredHead(Path("ras.vtu"), 1.0, "RAS");
    WriteCenteredHead(Path("lps.vtu"), -1.0, "LPS");
    auto const materials = [&](std::string const& mesh, std::vector<std::string> const& more = {}) {
        std::vector<std::string> words = {
            "materials", Path(mesh),        "--image", Path("ct.nii"), "--law",  "1,0.001,1,0,0",
            "--modulus", "3000,2",          "--by",    "mask",         "--bins", "20",
            "-o",        Path("model.vtu"), "--json"};
        words.insert(words.end(), more.begin(), more.end());
        Result const result = Run(words);
        EXPECT_EQ(result.status, 0) << result.err;
        return Json::parse(result.out, nullptr, false);
    };
    auto const bone = [](Json const& report) {
        double mass = 0.0;
        for (Json const& material : report["materials"])
            mass += material["subvolume"] == "Label 2" ? material["mass"].get<double>() : 0.0;
        return mass;
    };
    Json const right = materials("ras.vtu");
    EXPECT_FALSE(right.contains("turned"));
    Json const turned = materials("lps.vtu");
    EXPECT_EQ(turned["materials"], right["materials"]);
    EXPECT_EQ(turned["turned"],
              Json::parse(R"([{"file": ")" + Path("ct.nii") + R"(", "from": "RAS", "to": "LPS"}])"));
    EXPECT_EQ(RunJson({"info", Path("model.vtu")})["frame"], "LPS");
    // Nobody says the frame: an image around the origin fits both ways, so nothing is refused, and that is
    // what
    // --frame is for.
    WriteCenteredHead(Path("unsaid.vtu"), -1.0, nullptr);
    Json const unsaid = materials("unsaid.vtu");
    EXPECT_EQ(unsaid["materials"], materials("lps.vtu", {"--frame", "RAS"})["materials"]);
    EXPECT_EQ(materials("unsaid.vtu", {"--frame", "LPS"})["materials"], right["materials"]);
    EXPECT_NEAR(bone(right), 1144.0, 1.0); // g
    EXPECT_NEAR(bone(unsaid), 522.0, 1.0);
}

// A mesh that says nothing is taken as it is where it fits, and refused where it would fit if it were turned.
TEST_F(Ketmesh, AsksForTheFrameWhereTheOtherOneFitsClearlyBetter) {
    auto const turned = ReadGrid("head_small_tet4.vtu");
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    for (vtkIdType i = 0; i < turned->GetNumberOfPoints(); ++i) {
        double const* const p = turned->GetPoint(i);
        points->InsertNextPoint(-p[0], -p[1], p[2]);
    }
    turned->SetPoints(points);
    WriteGrid(Path("turned.vtu"), *turned);
    std::vector<std::string> const materials = {
        "materials", Path("turned.vtu"), "--image", Nifti, "--preset",
        "femur",     "--bins",           "5",       "-o",  Path("out/m.vtu")};
    ExpectRefused(materials, "--frame");
    ASSERT_EQ(Run({"surfaces", Head, "-o", Path("skin.stl")}).status, 0);
    for (char const* const command : {"match", "label", "group", "project"}) {
        SCOPED_TRACE(command);
        std::vector<std::string> words = {command, Path("turned.vtu"), "--surface", Path("skin.stl")};
        if (command != std::string("match"))
            words.insert(words.end(), {"-o", Path("out/m.vtu")});
        if (command == std::string("project"))
            words.insert(words.end(), {"--distance", "1"});
        ExpectRefused(words, command == std::string("group") ? "" : "--frame");
    }
    // Said, they are turned.
    Json const matched = RunJson({"match", Path("turned.vtu"), "--frame", "LPS", "--surface",
                                  Path("skin.stl"), "--surface-frame", "RAS", "--tolerance", "0.01"});
    EXPECT_EQ(matched["boundary_faces"]["without_triangle"], 0);
    EXPECT_EQ(matched["turned"][0]["to"], "LPS");
    EXPECT_EQ(Run({"match", Path("turned.vtu"), "--frame", "LPS", "--surface", Path("skin.stl")}).status, 0);
}

// What is written says the frame in the words of its kind, and what says it is read; `frame` turns there and
// back.
TEST_F(Ketmesh, HandsTheFrameOnInEveryKindOfFile) {
    WriteCenteredHead(Path("lps.vtu"), -1.0, "LPS");
    for (std::string const name : {"mesh.vtk", "mesh.kmesh", "text.kmesh", "mesh.vtu"}) {
        std::vector<std::string> words = {"save", Path("lps.vtu"), "-o", Path(name)};
        if (name == "text.kmesh")
            words.emplace_back("--text");
        RunJson(words);
        EXPECT_EQ(RunJson({"info", Path(name)})["frame"], "LPS") << name;
        EXPECT_EQ(Run({"diff", Path("lps.vtu"), Path(name)}).status, 0) << name;
    }
    EXPECT_NE(Content(Path("mesh.vtk")).substr(0, 120).find("SPACE=LPS"), std::string::npos);
    EXPECT_TRUE(RunJson({"info", Head})["frame"].is_null());
    RunJson({"weld", Path("lps.vtu"), "-o", Path("welded.vtu")});
    EXPECT_EQ(RunJson({"info", Path("welded.vtu")})["frame"], "LPS");
    std::vector<std::string> constants = {"materials", Path("lps.vtu"), "-o", Path("model.vtu")};
    for (char const* const label : {"1", "2", "3"})
        constants.insert(constants.end(), {"--set", std::string("Label ") + label + "=1,1000,0.3"});
    ASSERT_EQ(Run(constants).status, 0);
    ASSERT_EQ(Run({"export", Path("model.vtu"), "-o", Path("model.inp")}).status, 0);
    EXPECT_EQ(RunJson({"info", Path("model.inp")})["frame"], "LPS");

    for (std::string const name : {"skin.vtp", "skin.stl", "skin.ply", "skin.obj"}) {
        SCOPED_TRACE(name);
        ASSERT_EQ(Run({"surfaces", Path("lps.vtu"), "-o", Path(name)}).status, 0);
        std::string const begin = Content(Path(name)).substr(0, 200);
        EXPECT_EQ(begin.find("SPACE=LPS") == std::string::npos, name == "skin.vtp");
        Json const report = RunJson(
            {"match", Path("lps.vtu"), "--frame", "LPS", "--surface", Path(name), "--tolerance", "0.01"});
        EXPECT_FALSE(report.contains("turned"));
        Result const other =
            Run({"match", Path("lps.vtu"), "--frame", "RAS", "--surface", Path(name), "--json"});
        EXPECT_EQ(Json::parse(other.out)["turned"][0]["from"], "LPS");
        EXPECT_NE(other.err.find("--frame"), std::string::npos); // against what the file says
    }
    for (std::vector<std::string> const& words : std::vector<std::vector<std::string>>{
             {"cut", Path("lps.vtu"), "--normal", "0,0,1", "--point", "0,0,80"},
             {"graph", Path("lps.vtu")},
             {"boundary", Path("lps.vtu")},
             {"explode", Path("lps.vtu"), "--shrink", "0.5"},
             {"grow", Path("lps.vtu"), "--below", "0.1"},
             {"iso", Path("lps.vtu"), "--field", "grey", "--level", "300"}}) {
        std::vector<std::string> with_output = words;
        with_output.insert(with_output.end(), {"-o", Path("made.vtp")});
        ASSERT_EQ(Run(with_output).status, 0) << words[0];
        auto const made = ReadFile<vtkXMLPolyDataReader>(Path("made.vtp"));
        auto* const space = vtkStringArray::SafeDownCast(made->GetFieldData()->GetAbstractArray("SPACE"));
        ASSERT_NE(space, nullptr) << words[0];
        EXPECT_EQ(space->GetValue(0), "LPS");
    }

    RunJson({"convert", Path("lps.vtu"), "--to", "tet10", "-o", Path("tet10.vtu")});
    EXPECT_EQ(RunJson({"info", Path("tet10.vtu")})["frame"], "LPS");
    Json const turned = RunJson({"frame", Path("lps.vtu"), "--to", "RAS", "-o", Path("ras.vtu")});
    EXPECT_EQ(turned["frame"], "RAS");
    std::vector<double> const box = RunJson({"info", Path("lps.vtu")})["box"];
    std::vector<double> const expected = {-box[3], -box[4], box[2], -box[0], -box[1], box[5]};
    EXPECT_EQ(RunJson({"info", Path("ras.vtu")})["box"], Json(expected));
    Json const equal = RunJson({"diff", Path("lps.vtu"), Path("ras.vtu")}); // but for the frame
    EXPECT_EQ(equal["equal"], true);
    EXPECT_EQ(equal["turned"][0]["from"], "RAS");
    Json const merged = // with a warning: the mesh is there twice
        Json::parse(Run({"merge", Path("lps.vtu"), Path("ras.vtu"), "-o", Path("both.vtu"), "--json"}).out);
    EXPECT_EQ(merged["joined_nodes"], RunJson({"info", Path("lps.vtu")})["nodes"]);
    RunJson({"frame", Path("ras.vtu"), "--to", "LPS", "-o", Path("again.vtu")});
    EXPECT_EQ(Run({"diff", Path("lps.vtu"), Path("again.vtu")}).status, 0);
    ExpectRefused({"frame", Head, "--to", "LPS", "-o", Path("out/x.vtu")}, "--frame");
    ExpectRefused({"frame", Path("lps.vtu"), "--to", "RAS", "--vectors", "grey", "-o", Path("out/x.vtu")},
                  "grey");
    ExpectRefused({"frame", Path("lps.vtu"), "--to", "RAS", "--vectors", "none", "-o", Path("out/x.vtu")},
                  "none");
}

// Vectors turn with the mesh where the user names them, and there alone.
TEST_F(Ketmesh, TurnsTheVectorsThatAreNamed) {
    auto const grid = ReadGrid("wedge_beam14.vtu");
    Say(*grid, "RAS");
    for (char const* const name : {"moves", "stays"}) {
        vtkNew<vtkDoubleArray> values;
        values->SetName(name);
        values->SetNumberOfComponents(3);
        for (vtkIdType i = 0; i < grid->GetNumberOfPoints(); ++i)
            values->InsertNextTuple3(static_cast<double>(i), 0.5, 2.0);
        grid->GetPointData()->AddArray(values);
    }
    WriteGrid(Path("ras.vtu"), *grid);
    RunJson({"frame", Path("ras.vtu"), "--to", "LPS", "--vectors", "moves", "-o", Path("lps.vtu")});
    auto const turned = ReadFile<vtkXMLUnstructuredGridReader>(Path("lps.vtu"));
    for (vtkIdType i = 0; i < grid->GetNumberOfPoints(); ++i) {
        double const* const moved = turned->GetPointData()->GetArray("moves")->GetTuple3(i);
        EXPECT_EQ((std::array{moved[0], moved[1], moved[2]}),
                  (std::array{-static_cast<double>(i), -0.5, 2.0}));
        EXPECT_EQ(turned->GetPointData()->GetArray("stays")->GetComponent(i, 1), 0.5);
    }
}

// .vti images are in LPS unless they say RAS.
TEST_F(Ketmesh, TakesTheFrameOfVtiImages) {
    WriteCenteredHead(Path("lps.vtu"), -1.0, "LPS");
    vtkNew<vtkImageData> image;
    image->SetDimensions(3, 3, 3);
    image->SetOrigin(-200, -200, -10);
    image->SetSpacing(200, 200, 100);
    image->AllocateScalars(VTK_DOUBLE, 1);
    for (int i = 0; i < 27; ++i)
        image->GetPointData()->GetScalars()->SetComponent(i, 0, i % 3 * 100.0); // rises with x
    for (char const* const frame : {"", "LPS", "RAS"}) {
        if (*frame)
            Say(*image, frame);
        vtkNew<vtkXMLImageDataWriter> writer;
        writer->SetFileName(Path("ct.vti").c_str());
        writer->SetInputData(image);
        writer->Write();
        Result const result = Run({"materials", Path("lps.vtu"), "--image", Path("ct.vti"), "--preset",
                                   "femur", "--by", "single", "-o", Path("m.vtu"), "--json"});
        ASSERT_EQ(result.status, 0) << result.err;
        Json const report = Json::parse(result.out);
        EXPECT_EQ(report.contains("turned"), frame == std::string("RAS")) << frame;
    }
}
