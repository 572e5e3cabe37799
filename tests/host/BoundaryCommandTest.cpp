// ketmesh boundary, explode and graph.
#include "host/KetmeshProgram.h"

#include <vtkCell.h>
#include <vtkFieldData.h>
#include <vtkIntArray.h>
#include <vtkPLYReader.h>
#include <vtkPolyData.h>
#include <vtkXMLPolyDataReader.h>

#include <array>
#include <cmath>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>

TEST_F(Ketmesh, ExplodesTheElementsThatAreSelected) {
    auto const grid = ReadGrid("head_small_tet4.vtu");
    auto const labels = CellValues(*grid, "label");
    vtkNew<vtkIntArray> some;
    some->SetName("some");
    int taken = 0;
    for (double const label : labels) {
        some->InsertNextValue(label == 2.0);
        taken += label == 2.0;
    }
    grid->GetCellData()->AddArray(some);
    WriteGrid(Path("some.vtu"), *grid);
    Json const report =
        RunJson({"explode", Path("some.vtu"), "--shrink", "0.5", "--select", "some", "-o", Path("e.vtp")});
    EXPECT_EQ(report["elements"], 46924);
    EXPECT_EQ(report["elements_taken"], taken);
    EXPECT_EQ(report["triangles"], 4 * taken);
    EXPECT_EQ(report["volume_factor"], 0.125);
    auto const written = ReadFile<vtkXMLPolyDataReader>(Path("e.vtp"));
    EXPECT_EQ(CellValues(*written, "label"), std::vector<double>(static_cast<std::size_t>(4 * taken), 2.0));

    Result const curved =
        Run({"explode", Data + "head_small_tet10.vtu", "--shrink", "0.1", "-o", Path("c.stl")});
    EXPECT_EQ(curved.status, 0) << curved.err;
    EXPECT_NE(curved.out.find("taken by their corners"), std::string::npos) << curved.out;
    std::string const out = Path("out/e.vtp");
    for (char const* shrink : {"1", "-0.1", "nan", "x"})
        ExpectRefused({"explode", Head, "--shrink", shrink, "-o", out}, "--shrink");
    ExpectRefused({"explode", Head, "--shrink", "0", "--select", "none", "-o", out}, "the cell arrays are");
    ExpectRefused({"explode", Head, "--shrink", "0", "-o", Path("out/e.vtu")}, ".vtp");
    for (char const* command : {"explode", "graph"}) {
        std::vector<std::string> arguments = {command, Data + "hex_matrix_fiber.vtu", "-o", out};
        if (arguments[0] == "explode")
            arguments.insert(arguments.end(), {"--shrink", "0.2"});
        ExpectRefused(arguments, "ketmesh convert");
    }
}

TEST_F(Ketmesh, WritesGraphsAsLines) {
    Json const inner = RunJson({"graph", Head});
    Json const all = RunJson({"graph", Head, "--all-edges", "--unit", "um", "-o", Path("g.vtp")});
    std::map<double, double> lines;
    auto const written = ReadFile<vtkXMLPolyDataReader>(Path("g.vtp"));
    for (double const graph : CellValues(*written, "graph"))
        ++lines[graph];
    ASSERT_EQ(all["graphs"].size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(all["graphs"][i]["name"], "Label " + std::to_string(i + 1));
        EXPECT_EQ(all["graphs"][i]["edges"], lines[static_cast<double>(i)]);
        EXPECT_EQ(all["graphs"][i]["vertices"], inner["graphs"][i]["vertices"]);
        EXPECT_LT(inner["graphs"][i]["edges"], all["graphs"][i]["edges"]);
    }
    EXPECT_EQ(all["edges"], written->GetNumberOfLines());
    EXPECT_NE(written->GetFieldData()->GetAbstractArray("graph_names"), nullptr);
    ExpectRefused({"graph", Head, "-o", Path("out/g.stl")}, ".vtp");
}

TEST_F(Ketmesh, WritesTheBoundaryThatSurfacesWrites) {
    for (std::string const file :
         {"head_small_tet4.vtu", "head_small_tet10.vtu", "wedge_beam14.vtu", "hex_matrix_fiber.vtu"})
        for (bool const interfaces : {false, true}) {
            SCOPED_TRACE(file);
            std::vector<std::string> boundary = {"boundary", Data + file, "-o", Path("b.stl"), "--simplify"};
            std::vector<std::string> surfaces = {"surfaces", Data + file, "-o", Path("s.stl")};
            if (interfaces) {
                boundary.push_back("--interfaces");
                surfaces.push_back("--interfaces");
            }
            Json const own = RunJson(boundary);
            Json const other = RunJson(surfaces);
            EXPECT_EQ(own["triangles"], other["triangles"]);
            double area = 0.0;
            for (Json const& surface : other["surfaces"])
                area += surface["area"].get<double>();
            EXPECT_NEAR(own["area"], area, 1e-9 * area);
            EXPECT_LT(own["boundary_nodes"], own["nodes"].get<int>() + (file[0] == 'w'));
            EXPECT_LT(0, own["boundary_elements"]);
        }
    std::string const curved = Data + "head_small_tet10.vtu";
    EXPECT_EQ(RunJson({"boundary", curved, "-o", Path("b.obj")})["triangles"].get<int>(),
              4 * RunJson({"boundary", curved, "--simplify", "-o", Path("b.obj")})["triangles"].get<int>());
    EXPECT_EQ(RunJson({"boundary", curved, "--all-faces", "-o", Path("b.vtp")})["triangles"],
              32 * RunJson({"info", curved})["elements"].get<int>());
}

// Every triangle has the colour of the material of the element that it lies on.
TEST_F(Ketmesh, WritesTheMaterialsColoursOnTheBoundary) {
    std::string const out = Path("out/b.vtp");
    Json const model = Json::parse(Run({"materials", Head, "--image", Data + "head_ct.nii.gz", "--preset",
                                        "femur", "--bins", "3", "-o", Path("model.vtu"), "--json"})
                                       .out);
    std::map<double, std::string> color_of;
    for (Json const& material : model["materials"])
        color_of[material["id"]] = material["color"];
    auto const grid = ReadFile<vtkXMLUnstructuredGridReader>(Path("model.vtu"));
    auto const materials = CellValues(*grid, "material");
    // The element on each face, by the corners of the face as reading the mesh rounds them.
    auto const corner = [](double const* p) {
        return std::array{std::lround(p[0] * 65536.0), std::lround(p[1] * 65536.0),
                          std::lround(p[2] * 65536.0)};
    };
    using Corner = std::array<long, 3>;
    std::map<std::set<Corner>, std::size_t> element_at;
    for (vtkIdType i = 0; i < grid->GetNumberOfCells(); ++i)
        for (int face = 0; face < 4; ++face) {
            std::set<Corner> corners;
            vtkIdList& ids = *grid->GetCell(i)->GetFace(face)->GetPointIds();
            for (vtkIdType k = 0; k < 3; ++k)
                corners.insert(corner(grid->GetPoint(ids.GetId(k))));
            element_at[corners] = static_cast<std::size_t>(i);
        }
    RunJson({"boundary", Path("model.vtu"), "--colors", "-o", Path("b.vtp")});
    auto const written = ReadFile<vtkXMLPolyDataReader>(Path("b.vtp"));
    vtkDataArray& colors = *written->GetCellData()->GetArray("color");
    ASSERT_EQ(colors.GetNumberOfComponents(), 3);
    std::set<std::string> met;
    for (vtkIdType i = 0; i < written->GetNumberOfCells(); ++i) {
        std::set<Corner> corners;
        vtkIdList& ids = *written->GetCell(i)->GetPointIds();
        for (vtkIdType k = 0; k < 3; ++k)
            corners.insert(corner(written->GetPoint(ids.GetId(k))));
        ASSERT_TRUE(element_at.contains(corners)) << i;
        std::ostringstream color;
        color << '#' << std::hex << std::setfill('0');
        for (int channel = 0; channel < 3; ++channel)
            color << std::setw(2) << static_cast<int>(colors.GetComponent(i, channel));
        ASSERT_EQ(color.str(), color_of.at(materials[element_at.at(corners)])) << i;
        met.insert(color.str());
    }
    EXPECT_GT(met.size(), 1u) << "more than one material shows";

    ExpectRefused({"boundary", Data + "hex_matrix_fiber.vtu", "--colors", "-o", out}, "no materials");
    ExpectRefused({"boundary", Head, "--colors", "-o", Path("out/b.stl")}, ".vtp and .ply");
    ExpectRefused({"boundary", Head, "--all-faces", "--interfaces", "-o", out}, "--interfaces");
}
