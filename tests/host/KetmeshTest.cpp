// SPDX-License-Identifier: BSD-3-Clause
#include "KetmeshProgram.h"

#include <vtkCellSizeFilter.h>
#include <vtkFieldData.h>
#include <vtkFloatArray.h>
#include <vtkIntArray.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkStringArray.h>
#include <vtkUnstructuredGridWriter.h>
#include <vtkXMLPolyDataReader.h>

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <set>

namespace {

TEST_F(Ketmesh, InfoAgreesWithVtk) {
    struct Case {
        char const* file;
        char const* kind;
        int elements, nodes;
        std::vector<int> parts;
    };
    for (Case const& c :
         std::vector<Case>{{"head_small_tet4.vtu", "tet4", 46924, 9282, {22261, 16551, 8112}},
                           {"head_small_tet10.vtu", "tet10", 46924, 68603, {22261, 16551, 8112}},
                           {"hex_matrix_fiber.vtu", "hex8", 1952, 2421, {1472, 480}},
                           {"wedge_beam14.vtu", "wedge6", 14, 32, {14}}}) {
        SCOPED_TRACE(c.file);
        Json const info = Json::parse(Run({"info", Data + c.file, "--json"}).out, nullptr, false);
        EXPECT_EQ(info["elements"], c.elements);
        EXPECT_EQ(info["nodes"], c.nodes);
        Json kinds = {{"tet4", 0}, {"tet10", 0}, {"hex8", 0}, {"wedge6", 0}};
        kinds[c.kind] = c.elements;
        EXPECT_EQ(info["kinds"], kinds);
        EXPECT_GT(info["rounding_error"], 0.0);
        EXPECT_LT(info["rounding_error"], std::sqrt(3.0) * 0.5 / 65536.0);

        auto const grid = ReadGrid(c.file);
        double const* const bounds = grid->GetBounds();
        for (std::size_t i = 0; i < 6; ++i)
            EXPECT_NEAR(info["box"][i], bounds[i / 3 + 2 * (i % 3)], 1e-5);
        vtkNew<vtkCellSizeFilter> sizes;
        sizes->SetInputData(grid);
        sizes->Update();
        vtkDataArray& volumes =
            *vtkDataSet::SafeDownCast(sizes->GetOutput())->GetCellData()->GetArray("Volume");
        std::map<double, double> expected;
        for (vtkIdType i = 0; i < grid->GetNumberOfCells(); ++i)
            expected[grid->GetCellData()->GetArray("label")->GetComponent(i, 0)] +=
                std::fabs(volumes.GetComponent(i, 0));
        ASSERT_EQ(info["subvolumes"].size(), c.parts.size());
        double total = 0.0;
        auto volume = expected.begin();
        for (std::size_t i = 0; i < c.parts.size(); ++i, ++volume) {
            Json const& part = info["subvolumes"][i];
            EXPECT_EQ(part["number"], i);
            EXPECT_EQ(part["name"], "Label " + std::to_string(i + 1));
            EXPECT_EQ(part["elements"], c.parts[i]);
            // VTK cuts curved elements elsewhere, and its sizes have no sign. In boxes of unit size the
            // rounding of a node shows.
            double const tolerance = c.kind == std::string("tet10") ? 1e-2
                                     : volume->second > 1e3         ? 1e-6
                                                                    : 2e-4;
            EXPECT_NEAR(part["volume"], volume->second, tolerance * volume->second);
            total += part["volume"].get<double>();
        }
        EXPECT_NEAR(info["volume"], total, 1e-9 * total);
    }
    // In metres, everything is a thousand times as long.
    Json const metres = RunJson({"info", Data + "wedge_beam14.vtu", "--unit", "m"});
    EXPECT_NEAR(metres["volume"], 0.007e9, 1e3);
    EXPECT_NEAR(metres["box"][3], 700.0, 1e-4);
    Result const text = Run({"info", Data + "head_small_tet4.vtu"});
    EXPECT_NE(text.out.find("46924 tet4"), std::string::npos) << text.out;
}

TEST_F(Ketmesh, InfoListsArraysAndDoubtsTheUnit) {
    auto const grid = ReadGrid("head_small_tet4.vtu");
    vtkNew<vtkStringArray> words;
    words->SetName("words");
    words->InsertNextValue("two words");
    grid->GetFieldData()->AddArray(words);
    vtkNew<vtkFloatArray> shift;
    shift->SetName("shift");
    shift->SetNumberOfComponents(3);
    shift->SetNumberOfTuples(grid->GetNumberOfPoints());
    shift->Fill(-2.5);
    shift->SetComponent(7, 1, 4.0);
    shift->SetComponent(8, 2, std::nan(""));
    grid->GetPointData()->AddArray(shift);
    WriteGrid(Path("arrays.vtu"), *grid);
    std::map<std::string, Json> arrays;
    Json const told = RunJson({"info", Path("arrays.vtu")});
    for (Json const& array : told["arrays"])
        arrays[array["where"].get<std::string>() + " " + array["name"].get<std::string>()] = array;
    double grey[2];
    grid->GetCellData()->GetArray("grey")->GetRange(grey);
    EXPECT_EQ(arrays["cells grey"]["range"], (Json{grey[0], grey[1]}));
    EXPECT_EQ(arrays["cells label"]["range"], (Json{1, 3}));
    EXPECT_EQ(arrays["points shift"], (Json{{"where", "points"},
                                            {"name", "shift"},
                                            {"type", "float32"},
                                            {"components", 3},
                                            {"range", {-2.5, 4.0}}}));
    EXPECT_EQ(arrays["field words"]["type"], "string");
    EXPECT_EQ(arrays["field words"]["range"], nullptr);

    struct Case {
        double scale;
        std::string unit, right;
    };
    for (Case const& c : {Case{1, "mm", ""},
                          {0.001, "mm", "--unit m "},
                          {0.001, "m", ""},
                          {1, "um", "--unit mm "},
                          {1000, "um", ""},
                          {100, "mm", "--unit um "}}) {
        SCOPED_TRACE(c.right);
        auto const scaled = ReadGrid("head_small_tet4.vtu");
        for (vtkIdType i = 0; i < scaled->GetNumberOfPoints(); ++i) {
            double p[3];
            scaled->GetPoint(i, p);
            scaled->GetPoints()->SetPoint(i, p[0] * c.scale, p[1] * c.scale, p[2] * c.scale);
        }
        WriteGrid(Path("scaled.vtu"), *scaled);
        Result const result = Run({"info", Path("scaled.vtu"), "--unit", c.unit, "--allow-merged"});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err.find("--unit") != std::string::npos, !c.right.empty()) << result.err;
        EXPECT_NE(result.err.find(c.right), std::string::npos) << result.err;
    }
}

// Bad input

// A tetrahedron and a cell of the given type on the corners of a cube.
vtkSmartPointer<vtkUnstructuredGrid> GridWith(int type, int corners) {
    auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    for (int i = 0; i < 8; ++i)
        points->InsertNextPoint(i & 1, (i >> 1) & 1, (i >> 2) & 1);
    grid->SetPoints(points);
    vtkIdType const ids[] = {0, 1, 2, 4, 7, 6, 5, 3};
    grid->InsertNextCell(VTK_TETRA, 4, ids);
    if (type == VTK_POLYHEDRON) {
        vtkIdType const faces[] = {3, 0, 2, 1, 3, 0, 1, 4, 3, 1, 2, 4, 3, 2, 0, 4};
        grid->InsertNextCell(type, 4, faces);
    } else if (corners > 0) {
        grid->InsertNextCell(type, corners, ids);
    }
    return grid;
}

TEST_F(Ketmesh, BadInputEndsInOneLine) {
    struct Case {
        std::string file;
        std::string reason; // a part of the message
        std::vector<std::string> more{};
    };
    std::vector<Case> cases = {{"missing.vtu", "no such file"},
                               {"empty.vtu", "empty"},
                               {"ply.vtu", "no VTK XML file"},
                               {"ply.vtk", "no VTK file"},
                               {"ply.ply", ".vtu and .vtk"},
                               {"surface.vtu", "PolyData"},
                               {"surface.vtk", "UNSTRUCTURED_GRID"},
                               {"out", "folder"},
                               {"nocells.vtu", "no cells"},
                               {"polyhedron.vtu", "polyhedra"},
                               {"pyramid.vtu", "1 pyramid"},
                               {"pyramid.vtk", "1 pyramid"},
                               {"nan.vtu", "point 2"},
                               {"outside.vtu", "point 8"},
                               {"far.vtu", "points lie beyond", {"--unit", "m"}},
                               {"tiny.vtu", "points fall together", {"--unit", "um"}},
                               {"good.vtu", "\"none\"", {"--labels", "none"}}};
    std::string const ply = "ply\nformat ascii 1.0\nelement vertex 0\nend_header\n";
    Save(Path("empty.vtu"), "");
    for (char const* const name : {"ply.vtu", "ply.vtk", "ply.ply"})
        Save(Path(name), ply);
    ASSERT_EQ(Run({"surfaces", Data + "wedge_beam14.vtu", "-o", Path("surface.vtp")}).status, 0);
    fs::rename(Path("surface.vtp"), Path("surface.vtu"));
    Save(Path("surface.vtk"), "# vtk DataFile Version 3.0\nx\nASCII\nDATASET POLYDATA\nPOINTS 0 float\n");
    vtkNew<vtkUnstructuredGrid> no_cells;
    no_cells->SetPoints(GridWith(VTK_EMPTY_CELL, 0)->GetPoints());
    WriteGrid(Path("nocells.vtu"), *no_cells);
    WriteGrid(Path("polyhedron.vtu"), *GridWith(VTK_POLYHEDRON, 0));
    WriteGrid(Path("pyramid.vtu"), *GridWith(VTK_PYRAMID, 5));
    WriteGrid<vtkUnstructuredGridWriter>(Path("pyramid.vtk"), *GridWith(VTK_PYRAMID, 5), VTK_BINARY);
    auto const good = GridWith(VTK_HEXAHEDRON, 8);
    WriteGrid(Path("good.vtu"), *good);
    for (auto const& [name, value] : std::map<std::string, double>{
             {"nan", std::numeric_limits<double>::quiet_NaN()}, {"far", 33.0}, {"tiny", 0.001}}) {
        auto const grid = GridWith(VTK_EMPTY_CELL, 0);
        grid->GetPoints()->SetPoint(2, 0.0, value, 0.0);
        WriteGrid(Path(name + ".vtu"), *grid);
    }
    auto const outside = GridWith(VTK_EMPTY_CELL, 0);
    vtkIdType const ids[] = {0, 1, 2, 8};
    outside->InsertNextCell(VTK_TETRA, 4, ids);
    WriteGrid(Path("outside.vtu"), *outside);

    // Arrays that are too short or too long by one, however they are stored.
    for (int const values : {1, 3})
        for (int const mode : {vtkXMLWriter::Ascii, vtkXMLWriter::Binary, vtkXMLWriter::Appended}) {
            auto const grid = GridWith(VTK_HEXAHEDRON, 8);
            vtkNew<vtkIntArray> labels;
            labels->SetName("label");
            labels->SetNumberOfValues(values);
            labels->FillValue(1);
            grid->GetCellData()->AddArray(labels);
            std::string const name = "length-" + std::to_string(values) + "-" + std::to_string(mode) + ".vtu";
            WriteGrid(Path(name), *grid, mode);
            cases.push_back({name, "label"});
        }
    // Files that are cut off.
    auto const beam = ReadGrid("wedge_beam14.vtu");
    WriteGrid(Path("ascii.vtu"), *beam, vtkXMLWriter::Ascii);
    WriteGrid<vtkUnstructuredGridWriter>(Path("ascii.vtk"), *beam, VTK_ASCII);
    WriteGrid<vtkUnstructuredGridWriter>(Path("binary.vtk"), *beam, VTK_BINARY);
    fs::copy_file(Data + "head_small_tet4.vtu", Path("head.vtu"));
    for (std::string const whole : {"head.vtu", "ascii.vtu", "ascii.vtk", "binary.vtk"}) {
        EXPECT_EQ(Run({"info", Path(whole)}).status, 0) << whole;
        std::string const content = Content(Path(whole));
        for (double const part : {0.002, 0.1, 0.4, 0.6, 0.8, 0.9, 0.99}) {
            std::string const name = "cut" + std::to_string(part) + whole;
            Save(Path(name),
                 content.substr(0, static_cast<std::size_t>(part * static_cast<double>(content.size()))));
            cases.push_back({name, ""});
        }
    }
    // Counts that make VTK's readers leave their buffers.
    std::string const points = "# vtk DataFile Version 3.0\nx\nASCII\nDATASET UNSTRUCTURED_GRID\n"
                               "POINTS 4 float\n0 0 0 1 0 0 0 1 0 0 0 1\n";
    Save(Path("cells.vtk"), points + "CELLS 1 5\n400000000 0 1 2 3\nCELL_TYPES 1\n10\n");
    Save(Path("types.vtk"), points + "CELLS 1 5\n4 0 1 2 3\nCELL_TYPES 5\n10 10 10 10 10\n");
    Save(Path("huge.vtk"), points + "CELLS 1 999999999999\n4 0 1 2 3\nCELL_TYPES 1\n10\n");
    std::string damaged = Content(Path("head.vtu"));
    damaged.erase(damaged.find('_', damaged.find("<AppendedData")) + 3,
                  1); // in the header of the first array; shifts all others
    Save(Path("damaged.vtu"), damaged);
    for (char const* const name : {"cells.vtk", "types.vtk", "huge.vtk", "damaged.vtu"})
        cases.push_back({name, ""});

    for (Case const& c : cases)
        for (bool const surfaces : {false, true}) {
            SCOPED_TRACE(c.file);
            std::vector<std::string> arguments = {surfaces ? "surfaces" : "info", Path(c.file)};
            if (surfaces)
                arguments.insert(arguments.end(), {"-o", Path("out/out.vtp")});
            arguments.insert(arguments.end(), c.more.begin(), c.more.end());
            Result const result = Run(arguments);
            EXPECT_EQ(result.status, 1);
            EXPECT_EQ(result.out, "");
            EXPECT_TRUE(result.err.starts_with("ketmesh: " + Path(c.file) + ": ")) << result.err;
            EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
            EXPECT_NE(result.err.find(c.reason), std::string::npos) << result.err;
            EXPECT_TRUE(Outputs().empty());
        }
}

TEST_F(Ketmesh, WrongUsageEndsInOneLine) {
    std::string const beam = Data + "wedge_beam14.vtu";
    Save(Path("out/kept.vtp"), "kept");
    for (std::vector<std::string> const& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {"unknown"},
                                               {"info"},
                                               {"info", beam, "--unit", "inch"},
                                               {"info", beam, "--labels", ""},
                                               {"surfaces", beam},
                                               {"surfaces", beam, "-o", Path("out/a.txt")},
                                               {"surfaces", beam, "-o", Path("none/a.vtp")},
                                               {"surfaces", beam, "-o", Path("out")},
                                               {"surfaces", Path("none.vtu"), "-o", Path("out/kept.vtp")},
                                               {"surfaces", beam, "-o", Path("out/a.vtp"), "--names", "x"}}) {
        Result const result = Run(arguments);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(result.err.starts_with("ketmesh: ")) << result.err;
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
    }
    EXPECT_EQ(Outputs(), std::vector<std::string>{"kept.vtp"});
    EXPECT_EQ(Content(Path("out/kept.vtp")), "kept");
    for (std::string const option : {"--help", "--version"})
        EXPECT_EQ(Run({option}).status, 0);
}

TEST_F(Ketmesh, NamesReachTheTerminalEscaped) {
    std::string const name = "\x1B]0;title\x07 \xC2\x9B 31m\x7F";
    auto const grid = ReadGrid("head_small_tet4.vtu");
    vtkNew<vtkIntArray> numbers;
    numbers->SetName("subvolume");
    numbers->SetNumberOfValues(grid->GetNumberOfCells());
    numbers->FillValue(0);
    grid->GetCellData()->AddArray(numbers);
    vtkNew<vtkStringArray> names;
    names->SetName("subvolume_names");
    names->InsertNextValue(name);
    grid->GetFieldData()->AddArray(names);
    std::string const file = Path("odd\x1B[31m.vtu");
    WriteGrid(file, *grid);
    EXPECT_EQ(RunJson({"info", file})["subvolumes"][0]["name"], name);
    for (std::vector<std::string> const& arguments : std::vector<std::vector<std::string>>{
             {"info", file}, {"info", file, "--json"}, {"info", file, "--labels", "\x1B"}, {"\x1B"}}) {
        Result const result = Run(arguments);
        EXPECT_FALSE(result.out.empty() && result.err.empty());
        for (std::string const& text : {result.out, result.err}) {
            EXPECT_TRUE(std::ranges::none_of(
                text, [](char c) { return (c < ' ' && c >= 0 && c != '\n') || c == 0x7F; }));
            EXPECT_EQ(text.find("\xC2\x9B"), std::string::npos);
        }
    }
}

TEST_F(Ketmesh, WrongUsageIsToldWithWhatIsNear) {
    struct Case {
        std::vector<std::string> arguments;
        std::string line; // without the name of the program
    };
    std::string const beam = Data + "wedge_beam14.vtu";
    for (Case const& c : std::vector<Case>{
             {{"inof", beam}, "there is no command inof; did you mean info? (see ketmesh --help)"},
             {{"info", beam, "--unitt", "mm"},
              "there is no option --unitt; did you mean --unit? (see ketmesh info --help)"},
             {{"materials", beam, "--imaeg=a.nii"},
              "there is no option --imaeg; did you mean --image? (see ketmesh materials --help)"},
             {{"surfaces", beam, "-p", "a.stl"},
              "there is no option -p; did you mean -o? (see ketmesh surfaces --help)"},
             {{"--verison"}, "there is no option --verison; did you mean --version?"},
             {{"info", beam, beam},
              "The following argument was not expected: " + beam + " (see ketmesh info --help)"},
             {{"quality"}, "file is required (see ketmesh quality --help)"},
             {{}, "A subcommand is required (see ketmesh --help)"}}) {
        SCOPED_TRACE(Json(c.arguments).dump());
        Result const plain = Run(c.arguments);
        EXPECT_EQ(plain.status, 1);
        EXPECT_EQ(plain.out, "");
        EXPECT_TRUE(plain.err.starts_with("ketmesh: " + c.line)) << plain.err;
        if (!c.arguments.empty() && c.arguments[0] != "--verison")
            ExpectRefused(c.arguments, c.line);
    }
}

TEST_F(Ketmesh, FailedJobsSayForProgramsWhatWasReadAndWarnedOf) {
    std::string const skull = Data + "head_small_tet4.vtu";
    Result const result =
        Run({"materials", skull, "--image", Data + "head_ct.nii.gz", "--law", "-5,0.001,1,0,0", "--modulus",
             "1e300,9", "--bins", "5", "-o", Path("out/a.vtu"), "--min-density", "1e9", "--json"});
    EXPECT_EQ(result.status, 1);
    Json const report = Json::parse(result.out, nullptr, false);
    EXPECT_EQ(report["inputs"], Json({skull, Data + "head_ct.nii.gz"}));
    EXPECT_NE(report["error"].dump().find("above 0 and finite"), std::string::npos) << report;
    EXPECT_TRUE(Outputs().empty());
}

TEST_F(Ketmesh, LongTablesAreCutUnlessAllRowsAreWanted) {
    std::string const out = Path("out/a.xml");
    std::string intervals = "0";
    for (int i = 1; i < 130; ++i)
        intervals += "," + std::to_string(i);
    auto const rows = [&](std::vector<std::string> const& more) {
        std::vector<std::string> arguments = {"colors", "--intervals", intervals, "-o", out};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return Run(arguments).out;
    };
    std::string const cut = rows({}), all = rows({"--all-rows"});
    EXPECT_NE(cut.find("... 30 more rows (--all-rows)\n"), std::string::npos) << cut;
    EXPECT_EQ(std::ranges::count(all, '\n') - std::ranges::count(cut, '\n'), 29) << all;
    EXPECT_TRUE(all.starts_with(cut.substr(0, cut.find("...")))) << cut;
    EXPECT_EQ(Json::parse(rows({"--json"}))["intervals"].size(), 130u);
}

TEST_F(Ketmesh, ManyElementsAtOnePlaceAreRefusedInsteadOfAnEndlessSearch) {
    auto const grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    vtkNew<vtkPoints> points;
    for (auto const& p : std::vector<std::array<double, 3>>{{0, 0, 0}, {6, 0, 0}, {0, 6, 0}, {0, 0, 6}})
        points->InsertNextPoint(p.data());
    grid->SetPoints(points);
    for (int i = 0; i < 300; ++i)
        grid->InsertNextCell(VTK_TETRA, 4, std::array<vtkIdType, 4>{0, 1, 2, 3}.data());
    std::string const mesh = Path("same.vtu"), skin = Path("skin.vtp");
    WriteGrid(mesh, *grid);
    Run({"surfaces", Head, "-o", skin});
    for (std::vector<std::string> const& arguments :
         std::vector<std::vector<std::string>>{{"label", mesh},
                                               {"group", mesh, "--surface", skin},
                                               {"match", mesh, "--surface", skin},
                                               {"grow", mesh, "--below", "2", "-o", Path("out/a.vtp")},
                                               {"quality", mesh, "--metric", "FluentOrthogonalQuality"}})
        ExpectRefused(arguments, "same.vtu: 300 tetrahedra have one face in common");
}

// Leads a stream to a pipe that nobody reads.
void Break(int stream) {
    int ends[2];
    if (::pipe(ends) == 0 && ::close(ends[0]) == 0)
        ::dup2(ends[1], stream);
}

TEST_F(Ketmesh, WhatTheParentProcessSetsUpHolds) {
    struct Case {
        char const* what;
        std::vector<std::string> arguments;
        std::function<void()> prepare;
        int status;
        std::string err; // the beginning
    };
    std::vector<std::string> const surfaces = {"surfaces", Head, "-o", Path("out/a.vtp")};
    std::vector<std::string> const warns = {"cut",      Head,     "--normal", "0,0,1",          "--point",
                                            "0,0,9000", "--json", "-o",       Path("out/a.vtp")};
    std::string const lost = "ketmesh: the results could not be written";
    auto const ignored = [this](int signal) {
        return [this, signal] {
            ::signal(signal, SIG_IGN);
            SignalAt(Path("out"), DN_CREATE, signal);
        };
    };
    auto const full = [] { ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO); };
    ASSERT_EQ(Run({"materials", Data + "hex_matrix_fiber.vtu", "--set", "Label 1=1,9,0.3", "--set",
                   "Label 2=1,9,0.3", "-o", Path("model.vtu")})
                  .status,
              0);
    auto const full_disk = [] {
        rlimit const some_kilobytes{20'000, 20'000};
        ::setrlimit(RLIMIT_FSIZE, &some_kilobytes);
    };
    for (Case const& c :
         std::vector<Case>{{"ignored", surfaces, ignored(SIGINT), 0, ""},
                           {"nohup", surfaces, ignored(SIGHUP), 0, ""},
                           {"no reader", surfaces, [] { Break(STDOUT_FILENO); }, 1, lost},
                           {"no reader of warnings", warns, [] { Break(STDERR_FILENO); }, 0, ""},
                           {"help to a full device", {"--help"}, full, 1, lost},
                           {"version to a full device", {"--version"}, full, 1, lost},
                           {"full disk",
                            {"export", Path("model.vtu"), "-o", Path("out/a.feb")},
                            full_disk,
                            1,
                            "ketmesh: " + Path("out/a.feb") + ": it cannot be written: the disk is full"}}) {
        SCOPED_TRACE(c.what);
        Result const result = Finish(Start(c.arguments, c.prepare));
        EXPECT_EQ(result.status, c.status) << result.err;
        EXPECT_TRUE(result.err.starts_with(c.err) && c.err.empty() == result.err.empty()) << result.err;
        EXPECT_EQ(std::ranges::count(result.err, '\n'), c.err.empty() ? 0 : 1) << result.err;
        for (std::string const& name : Outputs())
            EXPECT_EQ(name, "a.vtp");
        fs::remove(Path("out/a.vtp"));
    }
}

TEST_F(Ketmesh, TimingCountsEveryFileAndAnswersToo) {
    Run({"materials", Head, "--image", Data + "head_ct.nii.gz", "--preset", "femur", "--bins", "2", "-o",
         Path("model.vtu")});
    std::vector<std::vector<std::string>> const writing = {
        {"view", Head, "-o", Path("out/p.html")},
        {"colors", Path("model.vtu"), "--bins", "5", "-o", Path("out/c.json")},
        {"quality", Head, "--metric", "Volume", "--plot", Path("out/q.svg")}};
    for (std::vector<std::string> arguments : writing) {
        SCOPED_TRACE(arguments[0]);
        arguments.push_back("--timing");
        EXPECT_GT(RunJson(arguments)["seconds"]["write"], 0.0);
    }
    for (std::vector<std::string> const& question : std::vector<std::vector<std::string>>{
             {"quality", "--list"}, {"quality", "--list-limits"}, {"materials", "--list-presets"}}) {
        Json const answer = RunJson({question[0], question[1], "--timing"});
        EXPECT_TRUE(answer.contains("seconds") && answer["peak_memory"] > 0) << question[1];
    }
    EXPECT_NE(Run({"quality", "--list", "--timing"}).out.find("\ntime: 0 s reading, "), std::string::npos);
}

} // namespace
