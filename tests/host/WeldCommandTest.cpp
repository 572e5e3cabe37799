// SPDX-License-Identifier: BSD-3-Clause
// Nodes that lie twice: what finds them, and what joins them.
#include "KetmeshProgram.h"

#include <vtkAppendFilter.h>
#include <vtkDoubleArray.h>
#include <vtkPointData.h>
#include <vtkThreshold.h>

#include <array>

namespace {

// The head in three pieces, as a program that writes each material by itself leaves it: the nodes at
// interfaces are there once for each piece, and away from each other by `gap` along x.
vtkSmartPointer<vtkUnstructuredGrid> HeadInPieces(double gap) {
    auto const head = ReadGrid("head_small_tet4.vtu");
    vtkNew<vtkAppendFilter> pieces;
    for (int label = 1; label <= 3; ++label) {
        vtkNew<vtkThreshold> piece;
        piece->SetInputData(head);
        piece->SetInputArrayToProcess(0, 0, 0, vtkDataObject::FIELD_ASSOCIATION_CELLS, "label");
        piece->SetLowerThreshold(label);
        piece->SetUpperThreshold(label);
        piece->Update();
        vtkNew<vtkUnstructuredGrid> moved;
        moved->DeepCopy(piece->GetOutput());
        vtkNew<vtkDoubleArray> numbers;
        numbers->SetName("piece");
        for (vtkIdType i = 0; i < moved->GetNumberOfPoints(); ++i) {
            double p[3];
            moved->GetPoint(i, p);
            moved->GetPoints()->SetPoint(i, p[0] + gap * label, p[1], p[2]);
            numbers->InsertNextValue(label);
        }
        moved->GetPointData()->AddArray(numbers);
        pieces->AddInputData(moved);
    }
    pieces->Update();
    return pieces->GetOutput();
}

} // namespace

TEST_F(Ketmesh, WeldJoinsTheNodesThatCheckCounts) {
    auto const grid = HeadInPieces(0.0);
    Json const whole = RunJson({"check", Head});
    int const nodes = RunJson({"info", Head})["nodes"];
    for (char const* const key : {"duplicate_elements", "duplicate_nodes", "faces_of_three", "unused_nodes"})
        EXPECT_EQ(whole[key], 0) << key;
    WriteGrid(Path("pieces.vtu"), *grid);
    Json const pieces = RunJson({"check", Path("pieces.vtu")});
    int const doubled = static_cast<int>(grid->GetNumberOfPoints()) - nodes;
    ASSERT_GT(doubled, 1000);
    EXPECT_EQ(pieces["duplicate_nodes"], doubled);
    EXPECT_EQ(pieces["duplicate_elements"], 0);
    EXPECT_GT(pieces["parts"], whole["parts"]);
    EXPECT_EQ(Run({"check", Path("pieces.vtu"), "--fail-on", "0"}).status, 2);

    std::string const welded = Path("out/welded.vtu");
    Json const report = RunJson({"weld", Path("pieces.vtu"), "-o", welded});
    EXPECT_EQ(report["joined_nodes"], doubled);
    EXPECT_EQ(report["nodes"], nodes);
    EXPECT_EQ(report["duplicate_elements"], 0);
    EXPECT_TRUE(report["warnings"].empty());
    EXPECT_EQ(report["subvolumes"], RunJson({"info", Head})["subvolumes"]);
    Json after = RunJson({"check", welded});
    for (auto const& [key, value] : whole.items()) {
        if (value.is_number()) {
            EXPECT_EQ(after[key], value) << key;
        }
    }
    auto const written = ReadFile<vtkXMLUnstructuredGridReader>(welded);
    for (char const* const carried : {"label", "grey"})
        EXPECT_EQ(CellValues(*written, carried), CellValues(*grid, carried));
    vtkDataArray* const piece = written->GetPointData()->GetArray("piece");
    ASSERT_NE(piece, nullptr);
    for (vtkIdType i = 0; i < written->GetNumberOfCells(); ++i) // a node has the value of its first piece
        for (vtkIdType k = 0; k < 4; ++k)
            ASSERT_LE(piece->GetTuple1(written->GetCell(i)->GetPointId(static_cast<int>(k))),
                      written->GetCellData()->GetArray("label")->GetTuple1(i));

    // The interfaces are there again, and who asked for them without it was told.
    std::string const surface = Path("out/surface.vtp");
    auto const warning_of = [&](std::vector<std::string> const& arguments) { return Run(arguments).err; };
    for (std::vector<std::string> const& arguments : std::vector<std::vector<std::string>>{
             {"info", Path("pieces.vtu")}, {"surfaces", Path("pieces.vtu"), "--interfaces", "-o", surface}})
        EXPECT_NE(warning_of(arguments).find("weld"), std::string::npos) << arguments[0];
    EXPECT_EQ(warning_of({"info", welded}), "");
    auto const area_of_all = [&](std::string const& mesh) {
        double area = 0.0;
        Json const told = RunJson({"surfaces", mesh, "--interfaces", "-o", surface});
        for (Json const& s : told["surfaces"])
            area += s["area"].get<double>();
        return area;
    };
    EXPECT_NEAR(area_of_all(welded), area_of_all(Head), 1e-6);
}

TEST_F(Ketmesh, WeldTakesATolerance) {
    WriteGrid(Path("apart.vtu"), *HeadInPieces(0.001));
    int const nodes = RunJson({"info", Head})["nodes"];
    std::string const out = Path("out/welded.vtu");
    EXPECT_EQ(RunJson({"weld", Path("apart.vtu"), "-o", out})["joined_nodes"], 0);
    EXPECT_EQ(RunJson({"weld", Path("apart.vtu"), "-o", out, "--tolerance", "0"})["joined_nodes"], 0);
    // Labels 1 and 3 are two gaps apart, but not everywhere with a node of label 2 between.
    EXPECT_EQ(RunJson({"weld", Path("apart.vtu"), "-o", out, "--tolerance", "0.0021"})["nodes"], nodes);
    fs::remove(out);
    ExpectRefused({"weld", Path("apart.vtu"), "-o", out, "--tolerance", "5"}, "would collapse");
    ExpectRefused({"weld", Head, "-o", out, "--tolerance", "-1"}, "--tolerance");
}

TEST_F(Ketmesh, WeldAndMergeWarnOfElementsThatAreThereTwice) {
    auto const head = ReadGrid("head_small_tet4.vtu");
    vtkNew<vtkAppendFilter> twice;
    twice->AddInputData(head);
    twice->AddInputData(head);
    twice->Update();
    WriteGrid(Path("twice.vtu"), *twice->GetOutput());
    std::string const count = std::to_string(head->GetNumberOfCells());
    for (std::vector<std::string> const& inputs :
         std::vector<std::vector<std::string>>{{"weld", Path("twice.vtu")}, {"merge", Head, Head}}) {
        std::vector<std::string> arguments = inputs;
        arguments.insert(arguments.end(), {"-o", Path("out/joined.vtu"), "--json"});
        Json const report = Json::parse(Run(arguments).out);
        EXPECT_EQ(report["duplicate_elements"], head->GetNumberOfCells()) << inputs[0];
        EXPECT_EQ(report["elements"], 2 * head->GetNumberOfCells()) << inputs[0];
        ASSERT_EQ(report["warnings"].size(), 1u) << inputs[0];
        EXPECT_NE(report["warnings"][0].get<std::string>().find(count + " elements lie on"),
                  std::string::npos);
        EXPECT_EQ(RunJson({"check", Path("out/joined.vtu")})["duplicate_elements"],
                  report["duplicate_elements"]);
    }
}

TEST_F(Ketmesh, CheckCountsWhatIsThereTooOften) {
    // Two tetrahedra on one face, the second one twice, a third behind the same face, and a node of none.
    vtkNew<vtkPoints> points;
    for (auto const& p : std::vector<std::array<double, 3>>{
             {0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, -1}, {0, 0, -2}, {9, 9, 9}})
        points->InsertNextPoint(p.data());
    vtkNew<vtkUnstructuredGrid> grid;
    grid->SetPoints(points);
    for (auto const& cell :
         std::vector<std::array<vtkIdType, 4>>{{0, 1, 2, 3}, {0, 2, 1, 4}, {1, 0, 2, 4}, {0, 2, 1, 5}})
        grid->InsertNextCell(VTK_TETRA, 4, cell.data());
    WriteGrid(Path("often.vtu"), *grid);
    Json const report = RunJson({"check", Path("often.vtu")});
    EXPECT_EQ(report["duplicate_elements"], 1);
    EXPECT_EQ(report["duplicate_nodes"], 0);
    EXPECT_EQ(report["faces_of_three"], 1); // the others of the double element are those of two
    EXPECT_EQ(report["unused_nodes"], 1);
    EXPECT_EQ(report["parts"], 1);
}
