// SPDX-License-Identifier: BSD-3-Clause
// Surfaces of the real head give its sub-volumes back: as they are, written, disturbed and remeshed.
#include "KetmeshProgram.h"
#include "MeasuredSurface.h"

#include <KetSDK/MeshVTK/PolyDataFromSurface.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/MeshVTK/SurfaceFromPolyData.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkFieldData.h>
#include <vtkIntArray.h>
#include <vtkPolyData.h>
#include <vtkQuadricDecimation.h>
#include <vtkStringArray.h>
#include <vtkXMLPolyDataReader.h>
#include <vtkXMLPolyDataWriter.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

namespace {

void WriteSurface(std::string const& path, vtkPolyData& data) {
    vtkNew<vtkXMLPolyDataWriter> writer;
    writer->SetFileName(path.c_str());
    writer->SetInputData(&data);
    writer->Write();
}

// Moves every point by up to `distance` along each axis.
void Disturb(vtkPolyData& data, double distance) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> step(-distance, distance);
    for (vtkIdType i = 0; i < data.GetNumberOfPoints(); ++i) {
        double p[3];
        data.GetPoint(i, p);
        data.GetPoints()->SetPoint(i, p[0] + step(random), p[1] + step(random), p[2] + step(random));
    }
}

// Every surface with 3 triangles in 10 less, under its name.
void WriteDecimated(std::string const& from, std::string const& to) {
    auto const stl = KetSDK::MeshVTK::ReadSurfaceFile(from, {}, nullptr, nullptr);
    MStlBase decimated;
    for (MStlSurface const& surface : stl->Surfaces()) {
        auto const whole = KetSDK::MeshVTK::PolyDataFromSurface(surface, {});
        vtkNew<vtkPolyData> bare;
        bare->SetPoints(whole->GetPoints());
        bare->SetPolys(whole->GetPolys());
        vtkNew<vtkQuadricDecimation> decimation;
        decimation->SetInputData(bare);
        decimation->SetTargetReduction(0.3);
        decimation->Update();
        bool const any_left = decimation->GetOutput()->GetNumberOfCells() > 0;
        auto const part =
            KetSDK::MeshVTK::SurfaceFromPolyData(any_left ? *decimation->GetOutput() : *bare, {}, nullptr);
        part->GetSurface(0)->SetName(surface.GetName().c_str());
        decimated.AddSurface(part->GetSurface(0));
    }
    WriteSurface(to, *KetSDK::MeshVTK::PolyDataFromSurfaces(decimated, {}));
}

} // namespace

TEST_F(Ketmesh, LabelsAndGroupsTheHeadByItsSurfaces) {
    std::string const surface = Path("head.vtp");
    RunJson({"surfaces", Head, "--interfaces", "--names", "volumes", "-o", surface});
    std::string const disturbed = Path("disturbed.vtp");
    auto const data = ReadFile<vtkXMLPolyDataReader>(surface);
    Disturb(*data, 0.05);
    WriteSurface(disturbed, *data);
    std::vector<double> const given = CellValues(*ReadGrid("head_small_tet4.vtu"), "label");
    std::size_t expected = 0;
    for (auto const& [label, regions_of_it] : CountRegions(*ReadGrid("head_small_tet4.vtu"), "label"))
        expected += static_cast<std::size_t>(regions_of_it);
    std::string const regions = Path("regions.vtu");
    std::string const grouped = Path("grouped.vtu");
    struct {
        std::string file, tolerance;
    } const cases[] = {{surface, "0.001"}, {disturbed, "0.1"}};
    for (auto const& [file, tolerance] : cases) {
        SCOPED_TRACE(file);
        std::vector<std::string> contents;
        for (char const* const threads : {"1", "2"}) {
            std::vector<std::string> const how = {"--surface", file,        "--tolerance",
                                                  tolerance,   "--threads", threads};
            auto const with = [&how](std::vector<std::string> arguments) {
                arguments.insert(arguments.end(), how.begin(), how.end());
                return arguments;
            };
            Json const match = RunJson(with({"match", Head, "--fail-on", "0"}));
            EXPECT_EQ(match["mismatches"], 0) << match;
            EXPECT_EQ(match["inner_faces"]["with_triangle"], 0);
            Json const labelled = RunJson(with({"label", Head, "-o", regions}));
            EXPECT_EQ(labelled["subvolumes"].size(), expected);
            Json const result = RunJson(with({"group", regions, "-o", grouped}));
            EXPECT_EQ(result["groups_of"], expected);
            ASSERT_EQ(result["subvolumes"].size(), 3u);
            for (int label : {1, 2, 3})
                EXPECT_EQ(result["subvolumes"][static_cast<std::size_t>(label - 1)]["name"],
                          "Label " + std::to_string(label));
            std::vector<double> again =
                CellValues(*ReadFile<vtkXMLUnstructuredGridReader>(grouped), "subvolume");
            for (double& number : again)
                ++number; // labels count from 1
            EXPECT_EQ(again, given);
            contents.push_back(Content(regions) + Content(grouped));
        }
        EXPECT_EQ(contents[0], contents[1]) << "the same on any number of threads";
    }
}

TEST_F(Ketmesh, ProjectsTheHeadOntoARemeshedSurface) {
    std::string const surface = Path("head.vtp");
    std::string const decimated = Path("decimated.vtp");
    std::string const regions = Path("regions.vtu");
    std::string const grouped = Path("grouped.vtu");
    RunJson({"surfaces", Head, "--interfaces", "--names", "volumes", "-o", surface});
    RunJson({"label", Head, "--surface", surface, "-o", regions});
    WriteDecimated(surface, decimated);

    Result const match =
        Run({"match", Head, "--surface", decimated, "--tolerance", "0.6", "--json", "--fail-on", "0"});
    EXPECT_EQ(match.status, 2);
    EXPECT_NE(match.err.find("mismatches"), std::string::npos);
    Json const counts = Json::parse(match.out);
    auto const share_with = [&counts](char const* key) {
        double const with = counts[key]["with_triangle"];
        return with / (with + counts[key]["without_triangle"].get<double>());
    };
    EXPECT_GT(share_with("boundary_faces"), 0.99);
    EXPECT_GT(share_with("interface_faces"), 0.98);
    double const with = counts["boundary_faces"]["with_triangle"].get<double>() +
                        counts["interface_faces"]["with_triangle"].get<double>();
    double const without = counts["boundary_faces"]["without_triangle"].get<double>() +
                           counts["interface_faces"]["without_triangle"].get<double>();
    EXPECT_GT(with / (with + without), 0.99);

    // What is missing is told.
    Result const group = Run({"group", regions, "--surface", decimated, "--tolerance", "0.6", "-o", grouped});
    EXPECT_EQ(group.status, 0);
    EXPECT_NE(group.err.find("have no triangle"), std::string::npos);
    // Nearly all elements that were together are so again, under the name that most of them have.
    std::vector<double> const given = CellValues(*ReadGrid("head_small_tet4.vtu"), "label");
    std::vector<double> const found =
        CellValues(*ReadFile<vtkXMLUnstructuredGridReader>(grouped), "subvolume");
    ASSERT_EQ(given.size(), found.size());
    std::map<double, std::map<double, int>> counts_of;
    for (std::size_t i = 0; i < given.size(); ++i)
        ++counts_of[given[i]][found[i]];
    std::set<double> groups;
    int together = 0;
    for (auto const& [label, numbers] : counts_of) {
        auto const most = std::ranges::max_element(numbers, {}, [](auto const& pair) { return pair.second; });
        EXPECT_TRUE(groups.insert(most->first).second) << "a group of its own for " << label;
        together += most->second;
    }
    EXPECT_GT(together, 0.95 * static_cast<double>(given.size()));
}

// Whatever the names are: surfaces that "surfaces --names volumes" wrote bring them back, in their order.
TEST_F(Ketmesh, GroupsUnderTheNamesThatSubVolumesHad) {
    auto const grid = ReadGrid("head_small_tet4.vtu");
    vtkNew<vtkIntArray> numbers;
    numbers->SetName("subvolume");
    for (double const label : CellValues(*grid, "label"))
        numbers->InsertNextValue(static_cast<int>(label) - 1);
    grid->GetCellData()->AddArray(numbers);
    vtkNew<vtkStringArray> names;
    names->SetName("subvolume_names");
    std::vector<std::string> const wanted = {"soft-tissue", "soft", "tissue-soft"};
    for (std::string const& name : wanted)
        names->InsertNextValue(name);
    grid->GetFieldData()->AddArray(names);
    WriteGrid(Path("named.vtu"), *grid);
    RunJson({"surfaces", Path("named.vtu"), "--interfaces", "--names", "volumes", "-o", Path("named.vtp")});
    RunJson({"label", Path("named.vtu"), "--surface", Path("named.vtp"), "-o", Path("regions.vtu")});
    Json const grouped =
        RunJson({"group", Path("regions.vtu"), "--surface", Path("named.vtp"), "-o", Path("again.vtu")});
    std::vector<std::string> found;
    for (Json const& sub_volume : grouped["subvolumes"])
        found.push_back(sub_volume["name"]);
    EXPECT_EQ(found, wanted);
    EXPECT_EQ(CellValues(*ReadFile<vtkXMLUnstructuredGridReader>(Path("again.vtu")), "subvolume"),
              CellValues(*grid, "subvolume"));
    Run({"surfaces", Path("named.vtu"), "--interfaces", "-o", Path("bare.stl")});
    ExpectRefused({"group", Path("regions.vtu"), "--surface", Path("bare.stl"), "-o", Path("out/x.vtu")},
                  "names");
}
