// remove, split, merge and cut on the real head.
#include "KetmeshProgram.h"
#include "MeasuredSurface.h"
#include "TestMeshes.h"

#include <KetSDK/Mesh/materials/MMeshNamedScalarMaskPoints.h>
#include <KetSDK/Mesh/persistence/MMeshFile.h>

#include <vtkCell.h>
#include <vtkFieldData.h>
#include <vtkFloatArray.h>
#include <vtkIntArray.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkStringArray.h>
#include <vtkTriangle.h>
#include <vtkXMLPolyDataReader.h>

#include <algorithm>
#include <array>
#include <map>

namespace {

// What a cell is, by the number that it had in the first file.
struct Fact {
    std::string sub_volume;
    std::vector<std::array<double, 3>> points;
    std::vector<double> marks; // of cell and points
    friend bool operator==(Fact const&, Fact const&) = default;
};

std::map<int, Fact> FactsOf(std::string const& path) {
    auto const grid = ReadFile<vtkXMLUnstructuredGridReader>(path);
    auto& names = *vtkStringArray::SafeDownCast(grid->GetFieldData()->GetAbstractArray("subvolume_names"));
    std::vector<double> const numbers = CellValues(*grid, "subvolume");
    std::vector<double> const ids = CellValues(*grid, "original_id");
    vtkDataArray* const cell_marks = grid->GetCellData()->GetArray("mark");
    vtkDataArray* const point_marks = grid->GetPointData()->GetArray("mark");
    std::map<int, Fact> facts;
    for (vtkIdType i = 0; i < grid->GetNumberOfCells(); ++i) {
        auto const k = static_cast<std::size_t>(i);
        Fact& fact = facts[static_cast<int>(ids[k])];
        fact.sub_volume = names.GetValue(static_cast<vtkIdType>(numbers[k]));
        if (cell_marks)
            fact.marks.push_back(cell_marks->GetComponent(i, 1));
        vtkIdList& points = *grid->GetCell(i)->GetPointIds();
        for (vtkIdType p = 0; p < points.GetNumberOfIds(); ++p) {
            fact.points.emplace_back();
            grid->GetPoint(points.GetId(p), fact.points.back().data());
            if (point_marks)
                fact.marks.push_back(point_marks->GetComponent(points.GetId(p), 0));
        }
    }
    EXPECT_EQ(facts.size(), static_cast<std::size_t>(grid->GetNumberOfCells()));
    return facts;
}

// The head with arrays that no mesh knows.
void WriteMarkedHead(std::string const& path) {
    auto const grid = ReadGrid("head_small_tet4.vtu");
    vtkNew<vtkFloatArray> cells;
    cells->SetName("mark");
    cells->SetNumberOfComponents(2);
    for (vtkIdType i = 0; i < grid->GetNumberOfCells(); ++i)
        cells->InsertNextTuple2(0.0, static_cast<double>(i % 1000));
    grid->GetCellData()->AddArray(cells);
    vtkNew<vtkIntArray> points;
    points->SetName("mark");
    for (vtkIdType i = 0; i < grid->GetNumberOfPoints(); ++i)
        points->InsertNextValue(static_cast<int>(7 * i));
    grid->GetPointData()->AddArray(points);
    WriteGrid(path, *grid);
}

double AreaOf(vtkPolyData& data) {
    double area = 0.0;
    for (vtkIdType i = 0; i < data.GetNumberOfCells(); ++i) {
        vtkPoints& corners = *data.GetCell(i)->GetPoints();
        for (vtkIdType k = 2; k < corners.GetNumberOfPoints(); ++k) {
            double a[3], b[3], c[3];
            corners.GetPoint(0, a);
            corners.GetPoint(k - 1, b);
            corners.GetPoint(k, c);
            area += vtkTriangle::TriangleArea(a, b, c);
        }
    }
    return area;
}

} // namespace

TEST_F(Ketmesh, RemoveAndMergeGiveBackTheHeadWithAllItsArrays) {
    std::string const marked = Path("marked.vtu"), whole = Path("whole.vtu"), rest = Path("rest.vtu"),
                      part = Path("part.vtu"), merged = Path("merged.vtu");
    WriteMarkedHead(marked);
    RunJson({"split", marked, "--name", "Label 3", "-o", whole}); // is in one piece
    std::map<int, Fact> const facts = FactsOf(whole);
    Json const removed = RunJson({"remove", marked, "--name", "Label 2", "-o", rest});
    EXPECT_EQ(removed["removed_elements"], 16551);
    EXPECT_EQ(removed["subvolumes"][1]["name"], "Label 3");
    EXPECT_EQ(removed["subvolumes"][1]["number"], 1);
    for (auto const& [id, fact] : FactsOf(rest))
        ASSERT_EQ(fact, facts.at(id)) << id;
    RunJson({"remove", marked, "--name", "Label 1", "--name", "Label 3", "--name", "Label 1", "-o", part});
    Json const both = RunJson({"merge", rest, part, "-o", merged});
    EXPECT_EQ(both["elements"], 46924);
    EXPECT_EQ(both["nodes"], RunJson({"info", Head})["nodes"]);
    EXPECT_GT(both["joined_nodes"], 1000);
    EXPECT_EQ(both["subvolumes"][2]["name"], "Label 2");
    EXPECT_TRUE(FactsOf(merged) == facts);
    auto const ids = CellValues(*ReadFile<vtkXMLUnstructuredGridReader>(merged), "original_id");
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.begin() + 46924 - 16551)) << "the first mesh comes first";
    EXPECT_TRUE(std::is_sorted(ids.begin() + 46924 - 16551, ids.end()));
}

TEST_F(Ketmesh, MergeJoinsScalarFieldsThatBothMeshesHave) {
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
    RunJson({"merge", files[0], files[1], "-o", Path("ab.kmesh")});
    RunJson({"save", Path("ab.kmesh"), "-o", Path("ab.vtu")});
    auto const grid = ReadFile<vtkXMLUnstructuredGridReader>(Path("ab.vtu"));
    ASSERT_EQ(grid->GetPointData()->GetNumberOfArrays(), 1);
    vtkDataArray& both = *grid->GetPointData()->GetArray("both");
    ASSERT_EQ(both.GetNumberOfTuples(), 5);
    for (vtkIdType i = 0; i < 5; ++i)
        EXPECT_EQ(both.GetComponent(i, 0), i < 4 ? 36.5 : 37.5);
}

TEST_F(Ketmesh, SplitFindsThePartsOfTheHead) {
    std::string const out = Path("parts.vtu");
    Json const split = RunJson({"split", Head, "-o", out});
    std::map<std::string, int> parts;
    std::uint64_t elements = 0, last = 0;
    double volume = 0.0;
    for (Json const& part : split["subvolumes"]) {
        std::string const name = part["name"];
        ++parts[name.substr(0, 7)];
        elements += part["elements"].get<std::uint64_t>();
        volume += part["volume"].get<double>();
        if (name.size() > 7) {
            EXPECT_EQ(name, name.substr(0, 8) + std::to_string(parts[name.substr(0, 7)]));
            EXPECT_TRUE(name.ends_with(" 2") || part["elements"] <= last);
        }
        last = part["elements"];
    }
    for (auto const& [label, regions] : CountRegions(*ReadGrid("head_small_tet4.vtu"), "label"))
        EXPECT_EQ(parts["Label " + std::to_string(static_cast<int>(label))], regions) << label;
    EXPECT_EQ(elements, 46924u);
    EXPECT_NEAR(volume, RunJson({"info", Head})["volume"], 1e-6 * volume);
    EXPECT_EQ(RunJson({"info", out})["subvolumes"], split["subvolumes"]) << "what is written is what is said";
    EXPECT_EQ(RunJson({"split", out})["new_subvolumes"], 0);
}

TEST_F(Ketmesh, CutWritesWhereItCuts) {
    std::string const out = Path("section.vtp");
    Json const cut = RunJson({"cut", Head, "--normal", "-1,2,0.5", "--point", "120,120,80", "-o", out});
    double const area = cut["area"];
    EXPECT_GT(area, 1000.0);
    EXPECT_EQ(cut["above"].get<int>() + cut["below"].get<int>() + cut["cut"].get<int>(), 46924);
    double of_parts = 0.0;
    for (Json const& part : cut["subvolumes"])
        of_parts += part["area"].get<double>();
    EXPECT_NEAR(of_parts, area, 1e-5 * area);

    auto const section = ReadFile<vtkXMLPolyDataReader>(out);
    EXPECT_NEAR(AreaOf(*section), area, 1e-5 * area);
    auto const surfaces = CellValues(*section, "surface");
    auto const labels = CellValues(*section, "label");
    for (std::size_t i = 0; i < labels.size(); ++i)
        ASSERT_EQ(surfaces[i] + 1, labels[i]) << "each surface is a sub-volume";

    Result const beside = Run({"cut", Head, "--normal", "0,0,1", "--point", "0,0,1000", "-o", out});
    EXPECT_NE(beside.out.find("0 elements cut, 0 above, 46924 below"), std::string::npos) << beside.out;
    EXPECT_NE(beside.err.find("the section is empty"), std::string::npos) << beside.err;
    EXPECT_EQ(ReadFile<vtkXMLPolyDataReader>(out)->GetNumberOfCells(), 0);
}

TEST_F(Ketmesh, SubVolumeCommandsRefuseBadInput) {
    std::string const out = Path("out/x.vtu");
    ExpectRefused({"remove", Head, "--name", "Label 4", "-o", out},
                  "there is no sub-volume \"Label 4\"; the sub-volumes are Label 1, Label 2, Label 3");
    ExpectRefused({"remove", Data + "wedge_beam14.vtu", "--name", "Label 1", "-o", out},
                  "nothing would be left");
    ExpectRefused({"remove", Head, "-o", out}, "--name");
    ExpectRefused({"split", Head, "--name", "label 1", "-o", out}, "no sub-volume \"label 1\"");
    ExpectRefused({"merge", Head, "missing.vtu", "-o", out}, "missing.vtu");
    ExpectRefused({"merge", Head, "-o", out}, "other");
    ExpectRefused({"cut", Head, "--normal", "0,0,0", "--point", "0,0,0"}, "--normal 0,0,0 has no direction");
    ExpectRefused({"cut", Head, "--normal", "0,1", "--point", "0,0,0"}, "2 numbers instead of 3");
    ExpectRefused({"cut", Head, "--normal", "0,0,1", "--point", "0,0,80", "-o", out},
                  ".vtp, .stl, .ply and .obj");
}
