// The commands that convert and turn elements, against the files they read.
#include "KetmeshProgram.h"

#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkIdList.h>
#include <vtkIntArray.h>
#include <vtkMath.h>
#include <vtkPointData.h>
#include <vtkStringArray.h>

#include <algorithm>
#include <cmath>

namespace {

// Adds to a grid what shows where its cells and points go: their numbers, and the points' places.
void AddMarks(vtkUnstructuredGrid& grid) {
    vtkNew<vtkIntArray> cell, point;
    cell->SetName("cell");
    for (int i = 0; i < grid.GetNumberOfCells(); ++i)
        cell->InsertNextValue(i);
    grid.GetCellData()->AddArray(cell);
    point->SetName("point");
    vtkNew<vtkDoubleArray> place;
    place->SetName("place");
    place->SetNumberOfComponents(3);
    for (int i = 0; i < grid.GetNumberOfPoints(); ++i) {
        point->InsertNextValue(i);
        place->InsertNextTuple(grid.GetPoint(i));
    }
    grid.GetPointData()->AddArray(point);
    grid.GetPointData()->AddArray(place);
}

// The number that the mark of a point gives.
vtkIdType MarkOf(vtkUnstructuredGrid& grid, vtkIdType point) {
    return static_cast<vtkIdType>(grid.GetPointData()->GetArray("point")->GetComponent(point, 0));
}

// Where cells and points of a converted grid came from, by their marks.
void CheckMarks(vtkUnstructuredGrid& source, vtkUnstructuredGrid& target) {
    constexpr double rounding = 2.0 / 65536.0;
    auto const cells = CellValues(target, "cell");
    auto const ids = CellValues(target, "original_id");
    vtkDataArray& places = *target.GetPointData()->GetArray("place");
    vtkDataArray& point_ids = *target.GetPointData()->GetArray("original_id");
    vtkNew<vtkIdList> nodes, origin;
    for (vtkIdType i = 0; i < target.GetNumberOfCells(); ++i) {
        auto const cell = static_cast<vtkIdType>(cells[static_cast<std::size_t>(i)]);
        ASSERT_EQ(ids[static_cast<std::size_t>(i)], static_cast<double>(cell));
        target.GetCellPoints(i, nodes);
        source.GetCellPoints(cell, origin);
        for (vtkIdType k = 0; k < nodes->GetNumberOfIds(); ++k) {
            vtkIdType const node = nodes->GetId(k);
            // The mean of places is the place in the middle.
            ASSERT_LT(Distance(places.GetTuple3(node), target.GetPoint(node)), rounding);
            double const id = point_ids.GetComponent(node, 0);
            if (id >= 0.0) {
                ASSERT_EQ(id, static_cast<double>(MarkOf(target, node)));
                ASSERT_NE(origin->IsId(MarkOf(target, node)), -1);
                continue;
            }
            ASSERT_GE(k, 4);
            static constexpr int edges[6][2] = {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}};
            auto const end = [&](int e) { return MarkOf(target, nodes->GetId(edges[k - 4][e])); };
            // Diagonals of a hexahedron's face that cross share their middle.
            if (origin->GetNumberOfIds() != 8) {
                ASSERT_EQ(MarkOf(target, node), std::min(end(0), end(1)));
            }
        }
    }
}

std::vector<std::string> NamesOf(vtkUnstructuredGrid& grid) {
    auto* const names =
        vtkStringArray::SafeDownCast(grid.GetFieldData()->GetAbstractArray("subvolume_names"));
    std::vector<std::string> list;
    for (vtkIdType i = 0; names && i < names->GetNumberOfValues(); ++i)
        list.push_back(names->GetValue(i));
    return list;
}

} // namespace

TEST_F(Ketmesh, ConvertCarriesEverythingAlong) {
    struct Conversion {
        char const* file;
        std::vector<std::string> options;
        double elements; // per element; of what is cut the most
        double volume_tolerance;
        bool cut = false;
    };
    for (auto const& [file, options, elements, tolerance, cut] :
         {Conversion{"head_small_tet4.vtu", {"--to", "tet10"}, 1, 1e-5},
          Conversion{"head_small_tet10.vtu", {"--to", "tet4"}, 1, 0.05},
          Conversion{"head_small_tet10.vtu", {"--to", "tet4", "--split"}, 8, 1e-4},
          Conversion{"hex_matrix_fiber.vtu", {"--to", "tet4"}, 6, 1e-5, true},
          Conversion{"hex_matrix_fiber.vtu", {"--to", "tet10"}, 6, 1e-5, true},
          Conversion{"wedge_beam14.vtu", {"--to", "tet4"}, 3, 1e-5, true}}) {
        SCOPED_TRACE(testing::Message() << file << options.back());
        auto const source = ReadGrid(file);
        AddMarks(*source);
        WriteGrid(Path("in.vtu"), *source);
        std::vector<std::string> arguments = {"convert", Path("in.vtu"), "-o", Path("out/converted.vtu")};
        arguments.insert(arguments.end(), options.begin(), options.end());
        arguments.push_back("--json");
        Result const result = Run(arguments);
        ASSERT_EQ(result.status, 0) << result.err;
        Json const report = Json::parse(result.out);
        auto const target = ReadFile<vtkXMLUnstructuredGridReader>(Path("out/converted.vtu"));
        CheckMarks(*source, *target);

        EXPECT_EQ(report["elements_before"], source->GetNumberOfCells());
        double const most = elements * static_cast<double>(source->GetNumberOfCells());
        EXPECT_LE(report["elements_after"], most);
        EXPECT_GE(report["elements_after"], elements == 6 ? most * 5 / 6 : most);
        EXPECT_EQ(report["elements_after"], target->GetNumberOfCells());
        EXPECT_EQ(report["nodes_after"], target->GetNumberOfPoints());
        EXPECT_EQ(report["nodes_joined"], 0);
        double const before = report["volume_before"];
        EXPECT_NEAR(report["volume_after"], before, tolerance * before);
        std::vector<std::string> names;
        for (Json const& part : report["subvolumes"])
            names.push_back(part["name"]);
        EXPECT_EQ(NamesOf(*target), names);

        EXPECT_EQ(result.err, "");
        EXPECT_EQ(report.contains("nonmatching_faces"), cut);
        if (cut) { // what is closed outside is what was, and nothing is open within
            EXPECT_EQ(report["nonmatching_faces"], 0);
            EXPECT_EQ(report["nodes_inside"], 0);
            EXPECT_EQ(report["folded"], 0);
            auto const area = [this](std::string const& name) {
                return RunJson({"surfaces", Path(name)})["surfaces"][0]["area"].get<double>();
            };
            EXPECT_NEAR(area("out/converted.vtu"), area("in.vtu"), 1e-6 * area("in.vtu"));
        }
        fs::remove(Path("out/converted.vtu"));
    }
}

TEST_F(Ketmesh, OrientTurnsWhatIsInverted) {
    auto const original = ReadGrid("head_small_tet10.vtu");
    vtkNew<vtkUnstructuredGrid> inverted;
    inverted->SetPoints(original->GetPoints());
    vtkNew<vtkIdList> nodes;
    int turned = 0;
    for (vtkIdType i = 0; i < original->GetNumberOfCells(); ++i) {
        original->GetCellPoints(i, nodes);
        vtkIdType* const id = nodes->GetPointer(0);
        if (i % 10 == 3) {
            std::swap(id[2], id[3]);
            std::swap(id[5], id[8]);
            std::swap(id[6], id[7]);
            ++turned;
        }
        inverted->InsertNextCell(VTK_QUADRATIC_TETRA, 10, id);
    }
    AddMarks(*inverted);
    WriteGrid(Path("in.vtu"), *inverted);
    Json const report = RunJson({"orient", Path("in.vtu"), "-o", Path("out/turned.vtu")});
    EXPECT_EQ(report["corrected"], turned);
    EXPECT_EQ(report["flat"], 0);
    EXPECT_NEAR(report["volume_after"], RunJson({"info", Data + "head_small_tet10.vtu"})["volume"], 1e-6);
    EXPECT_LT(report["volume_before"], report["volume_after"]);
    auto const written = ReadFile<vtkXMLUnstructuredGridReader>(Path("out/turned.vtu"));
    EXPECT_EQ(CellValues(*written, "cell"), CellValues(*inverted, "cell"));
    vtkNew<vtkIdList> expected;
    for (vtkIdType i = 0; i < original->GetNumberOfCells(); ++i) {
        written->GetCellPoints(i, nodes);
        original->GetCellPoints(i, expected);
        ASSERT_TRUE(std::equal(nodes->begin(), nodes->end(), expected->begin(), expected->end())) << i;
    }
}

TEST_F(Ketmesh, ConversionsThatMakeNoSenseAreRefused) {
    std::string const out = Path("out/no.vtu"), head10 = Data + "head_small_tet10.vtu";
    std::string const wedges = Data + "wedge_beam14.vtu", hexahedra = Data + "hex_matrix_fiber.vtu";
    auto const mixed = ReadGrid("head_small_tet10.vtu");
    vtkIdType const corners[] = {0, 1, 2, 3};
    vtkNew<vtkUnstructuredGrid> grid;
    grid->SetPoints(mixed->GetPoints());
    grid->InsertNextCell(VTK_TETRA, 4, corners);
    grid->InsertNextCell(VTK_QUADRATIC_TETRA, mixed->GetCell(0)->GetPointIds());
    WriteGrid(Path("mixed.vtu"), *grid);

    ExpectRefused({"convert", Head, "-o", out}, "--to is required");
    ExpectRefused({"convert", Head, "-o", out, "--to", "hex8"}, "--to");
    ExpectRefused({"convert", Head, "-o", out, "--to", "tet10", "--split"}, "goes with --to tet4");
    ExpectRefused({"convert", Head, "-o", out, "--to", "tet4"}, "nothing to convert");
    ExpectRefused({"convert", Head, "-o", out, "--to", "tet4", "--split"}, "no quadratic tetrahedra");
    ExpectRefused({"convert", hexahedra, "-o", out, "--to", "tet4", "--split"}, "no quadratic tetrahedra");
    ExpectRefused({"convert", head10, "-o", out, "--to", "tet10"}, "nothing to convert");
    ExpectRefused({"convert", Path("mixed.vtu"), "-o", out, "--to", "tet10"}, "convert to tet4 first");
    ExpectRefused({"convert", Path("mixed.vtu"), "-o", out, "--to", "tet4", "--split"}, "leave out --split");
    ExpectRefused({"convert", wedges, "-o", out, "--to", "tet4", "--split"}, "no quadratic tetrahedra");
    ExpectRefused({"orient", wedges, "-o", out}, "there are no tetrahedra");
    EXPECT_EQ(RunJson({"convert", Path("mixed.vtu"), "-o", out, "--to", "tet4"})["elements_after"], 2);
}
