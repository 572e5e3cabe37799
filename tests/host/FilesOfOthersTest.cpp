// SPDX-License-Identifier: BSD-3-Clause
// Files as other programs write them: labels of another type, cells without volume, names where there is
// room.
#include "KetmeshProgram.h"
#include "TestMeshes.h"

#include <KetSDK/Mesh/materials/MMeshNamedScalarMaskPoints.h>
#include <KetSDK/Mesh/persistence/MMeshFile.h>

#include <vtkCell.h>
#include <vtkDoubleArray.h>
#include <vtkFloatArray.h>
#include <vtkIntArray.h>
#include <vtkLongLongArray.h>
#include <vtkPointData.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

namespace {

// The sample head with its labels in an array of another type, times a factor.
template <typename Array>
vtkSmartPointer<vtkUnstructuredGrid> HeadWithLabels(double factor) {
    auto const grid = ReadGrid("head_small_tet4.vtu");
    vtkNew<Array> labels;
    labels->SetName("label");
    for (double const label : CellValues(*grid, "label"))
        labels->InsertNextTuple1(factor * label);
    grid->GetCellData()->AddArray(labels);
    return grid;
}

} // namespace

TEST_F(Ketmesh, TakesWholeLabelsOfAnyType) {
    Json const expected = RunJson({"info", Head})["subvolumes"];
    WriteGrid(Path("float.vtu"), *HeadWithLabels<vtkFloatArray>(1.0));
    for (std::vector<std::string> const& words : {std::vector<std::string>{"info", Path("float.vtu")},
                                                  {"info", Path("float.vtu"), "--labels", "label"}})
        EXPECT_EQ(RunJson(words)["subvolumes"], expected);

    for (double const value : {1.5, std::numeric_limits<double>::quiet_NaN(), 1e300}) {
        auto const grid = HeadWithLabels<vtkDoubleArray>(1.0);
        grid->GetCellData()->GetArray("label")->SetComponent(7, 0, value);
        WriteGrid(Path("broken.vtu"), *grid);
        Result const run = Run({"info", Path("broken.vtu"), "--json"});
        EXPECT_EQ(run.status, 0);
        Json const report = Json::parse(run.out);
        ASSERT_EQ(report["warnings"].size(), 1u) << run.err;
        EXPECT_NE(report["warnings"][0].get<std::string>().find("\"label\""), std::string::npos) << run.err;
        EXPECT_EQ(report["subvolumes"].size(), 1u);
        ExpectRefused({"info", Path("broken.vtu"), "--labels", "label"}, "\"label\" must hold whole numbers");
    }
}

// Mesh generators write the faces and edges of the boundary beside the elements.
TEST_F(Ketmesh, LeavesOutCellsWithoutVolume) {
    auto const grid = ReadGrid("head_small_tet4.vtu");
    auto const more = vtkSmartPointer<vtkUnstructuredGrid>::New();
    more->SetPoints(grid->GetPoints());
    vtkNew<vtkIntArray> labels;
    labels->SetName("label");
    std::vector<double> const values = CellValues(*grid, "label");
    for (vtkIdType i = 0; i < grid->GetNumberOfCells(); ++i) {
        vtkIdList* const points = grid->GetCell(i)->GetPointIds();
        if (i % 10 == 0) {
            more->InsertNextCell(VTK_TRIANGLE, 3, points->GetPointer(0));
            labels->InsertNextValue(99);
        }
        more->InsertNextCell(VTK_TETRA, points);
        labels->InsertNextValue(static_cast<int>(values[static_cast<std::size_t>(i)]));
    }
    more->InsertNextCell(VTK_LINE, 2, grid->GetCell(0)->GetPointIds()->GetPointer(0));
    labels->InsertNextValue(98);
    more->GetCellData()->AddArray(labels);
    WriteGrid(Path("more.vtu"), *more);
    Result const run = Run({"info", Path("more.vtu"), "--json"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.err.find("1 line, 4693 triangle"), std::string::npos) << run.err;
    EXPECT_EQ(Json::parse(run.out)["subvolumes"], RunJson({"info", Head})["subvolumes"]);
    EXPECT_EQ(Run({"save", Path("more.vtu"), "-o", Path("less.vtu")}).status, 0);
    EXPECT_EQ(CellValues(*ReadFile<vtkXMLUnstructuredGridReader>(Path("less.vtu")), "label"), values);
}

// Names of surfaces come back from groups of .obj and from solids of .stl files in text.
TEST_F(Ketmesh, KeepsTheNamesOfSurfacesWhereThereIsRoom) {
    std::string const obj = Path("head.obj");
    Json const written = RunJson({"surfaces", Head, "--interfaces", "--names", "volumes", "-o", obj});
    Json const grown = RunJson({"grow", Head, "--below", "0.1", "--surface", obj, "-o", Path("bad.vtp")});
    ASSERT_EQ(grown["surfaces"].size(), written["surfaces"].size());
    Result const lost = Run({"surfaces", Head, "-o", Path("head.stl"), "--json"});
    EXPECT_NE(lost.err.find("names"), std::string::npos) << lost.err;
    Json const split = RunJson({"surfaces", Head, "-o", Path("part.stl"), "--split-surfaces"});
    EXPECT_EQ(split["files"][0], Path("part-Exterior_Surface-0.stl"));
    for (std::size_t i = 0; i < written["surfaces"].size(); ++i)
        for (char const* const key : {"name", "triangles"})
            EXPECT_EQ(grown["surfaces"][i][key], written["surfaces"][i][key]);

    std::string const facet =
        "facet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\nendloop\nendfacet\n";
    Save(Path("two.stl"),
         "solid outer skin SPACE=RAS\n" + facet + "endsolid\nsolid inner\n" + facet + facet + "endsolid\n");
    Result const run = Run({"grow", Head, "--below", "0.1", "--frame", "RAS", "--surface", Path("two.stl"),
                            "-o", Path("bad.vtp"), "--json"});
    Json const surfaces = Json::parse(run.out)["surfaces"];
    ASSERT_EQ(surfaces.size(), 2u);
    EXPECT_EQ(surfaces[0]["name"], "outer skin");
    EXPECT_EQ(surfaces[1]["triangles"], 2);
}

// Numbers are compared as numbers, and nodes as nearly as the user wants.
TEST_F(Ketmesh, ComparesAcrossTypesAndWithinATolerance) {
    WriteGrid(Path("long.vtu"), *HeadWithLabels<vtkLongLongArray>(1.0));
    Result const types = Run({"diff", Head, Path("long.vtu"), "--json"});
    EXPECT_EQ(types.status, 0) << types.out;
    EXPECT_NE(types.err.find("\"label\""), std::string::npos) << types.err;
    WriteGrid(Path("other.vtu"), *HeadWithLabels<vtkDoubleArray>(2.0));
    EXPECT_EQ(Run({"diff", Head, Path("other.vtu")}).status, 2);

    auto const moved = ReadGrid("head_small_tet4.vtu");
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    for (vtkIdType i = 0; i < moved->GetNumberOfPoints(); ++i) {
        double const* const p = moved->GetPoint(i);
        points->InsertNextPoint(p[0] + 0.03, p[1] - 0.04, p[2]);
    }
    moved->SetPoints(points);
    WriteGrid(Path("moved.vtu"), *moved);
    for (auto const& [tolerance, status] : std::map<std::string, int>{{"0", 2}, {"0.049", 2}, {"0.051", 0}})
        EXPECT_EQ(Run({"diff", Head, Path("moved.vtu"), "--tolerance", tolerance}).status, status)
            << tolerance;
    EXPECT_EQ(Run({"diff", Head, Path("moved.vtu")}).status, 2);
}

// Fields of both are joined; what one mesh lacks is told and filled: floating values with NaN, others with 0,
// and no material.
TEST_F(Ketmesh, MergeFillsWhatOneMeshLacks) {
    std::vector<std::string> const files = {Path("a.kmesh"), Path("b.kmesh")};
    for (MLong const i : {0, 1}) {
        MMeshBase mesh;
        TestMeshes::AddElement(mesh,
                               TestMeshes::AddNodes(mesh, {{0, 0, 0}, {6, 0, 0}, {0, 6, 0}, {0, 0, 6 + i}}));
        MMeshNamedScalarMaskPoints both(L"both", L"", &mesh, 36.5 + i);
        MMeshNamedScalarMaskPoints one(i == 0 ? L"a" : L"b", L"", &mesh, 0.0);
        ASSERT_TRUE(
            MMeshFile::Save(mesh, {}, files[static_cast<std::size_t>(i)], MMeshFile::Binary, nullptr));
    }
    Result const merge = Run({"merge", files[0], files[1], "-o", Path("ab.kmesh"), "--json"});
    EXPECT_EQ(merge.status, 0);
    EXPECT_EQ(Json::parse(merge.out)["warnings"].size(), 2u) << merge.err;
    EXPECT_NE(merge.err.find("\"b\""), std::string::npos) << merge.err;
    RunJson({"save", Path("ab.kmesh"), "-o", Path("ab.vtu")});
    auto const grid = ReadFile<vtkXMLUnstructuredGridReader>(Path("ab.vtu"));
    ASSERT_EQ(grid->GetPointData()->GetNumberOfArrays(), 3);
    EXPECT_EQ(grid->GetPointData()->GetArray("a")->GetComponent(0, 0), 0.0);
    EXPECT_TRUE(std::isnan(grid->GetPointData()->GetArray("a")->GetComponent(4, 0)));
    vtkDataArray& both = *grid->GetPointData()->GetArray("both");
    ASSERT_EQ(both.GetNumberOfTuples(), 5);
    for (vtkIdType i = 0; i < 5; ++i)
        EXPECT_EQ(both.GetComponent(i, 0), i < 4 ? 36.5 : 37.5);

    std::string const model = Path("model.vtu"), beam = Data + "wedge_beam14.vtu";
    Run({"materials", Head, "--image", Data + "head_ct.nii.gz", "--preset", "femur", "--by", "single", "-o",
         model});
    for (bool const model_first : {true, false}) {
        Result const run = Run(
            {"merge", model_first ? model : beam, model_first ? beam : model, "-o", Path("m.vtu"), "--json"});
        ASSERT_EQ(run.status, 0) << run.err;
        for (char const* const word : {"material", "\"grey\""})
            EXPECT_NE(run.err.find(word), std::string::npos) << run.err;
        auto const merged = ReadFile<vtkXMLUnstructuredGridReader>(Path("m.vtu"));
        for (char const* const name : {"density", "grey"}) {
            auto const values = CellValues(*merged, name);
            EXPECT_EQ(std::ranges::count_if(values, [](double v) { return std::isnan(v); }), 14) << name;
            EXPECT_EQ(std::isnan(values.back()), model_first) << name;
        }
        EXPECT_EQ(std::ranges::count(CellValues(*merged, "material"), -1.0), 14);
    }
}
