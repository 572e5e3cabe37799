// SPDX-License-Identifier: BSD-3-Clause
// Materials from a CT image: a phantom with known grey values, and arithmetic on the files written.
#include "KetmeshProgram.h"

#include <KetSDK/FileIO/SAX/MSAXTextReader.h>
#include <KetSDK/Mesh/materials/MMaterialCatalog.h>

#include <vtkCellData.h>
#include <vtkImageData.h>
#include <vtkIntArray.h>
#include <vtkTetra.h>
#include <vtkXMLDataElement.h>
#include <vtkXMLImageDataWriter.h>
#include <vtkXMLUtilities.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <map>
#include <sstream>

namespace {

std::string const Ct = Data + "head_ct.nii.gz";

// Elements of one kind: a box in x from 10 k + 2 to 10 k + 5 and a tetrahedron behind it, for k = 0, 1, 2.
constexpr double BoxVolume = 3.0 * 6.0 * 6.0;
constexpr double TetrahedronVolume = 3.0 * 6.0 * 6.0 / 6.0;

vtkSmartPointer<vtkUnstructuredGrid> Elements(double shift = 0.0) {
    auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    grid->SetPoints(points);
    vtkNew<vtkIntArray> label;
    label->SetName("label");
    for (int region = 0; region < 3; ++region) {
        double const x = 10.0 * region + 2.0 + shift;
        std::vector<vtkIdType> box;
        for (auto const& p : std::vector<std::array<double, 3>>{
                 {0, 2, 2}, {3, 2, 2}, {3, 8, 2}, {0, 8, 2}, {0, 2, 8}, {3, 2, 8}, {3, 8, 8}, {0, 8, 8}})
            box.push_back(points->InsertNextPoint(x + p[0], p[1], p[2]));
        grid->InsertNextCell(VTK_HEXAHEDRON, 8, box.data());
        std::vector<vtkIdType> tetrahedron;
        for (auto const& p : std::vector<std::array<double, 3>>{{3, 2, 2}, {6, 2, 2}, {3, 8, 2}, {3, 2, 8}})
            tetrahedron.push_back(points->InsertNextPoint(x + p[0], p[1], p[2]));
        grid->InsertNextCell(VTK_TETRA, 4, tetrahedron.data());
        for (int i = 0; i < 2; ++i)
            label->InsertNextValue(region < 2 ? 1 : 2);
    }
    grid->GetCellData()->AddArray(label);
    return grid;
}

// 31 x 11 x 11 voxels of 1 mm with these values for x < 10, x < 20 and beyond.
void WritePhantom(std::string const& path, std::array<double, 3> const& regions) {
    vtkNew<vtkImageData> image;
    image->SetDimensions(31, 11, 11);
    image->AllocateScalars(VTK_DOUBLE, 1);
    for (int k = 0; k < 11; ++k)
        for (int j = 0; j < 11; ++j)
            for (int i = 0; i < 31; ++i)
                image->SetScalarComponentFromDouble(
                    i, j, k, 0, regions[std::min(static_cast<std::size_t>(i / 10), std::size_t{2})]);
    vtkNew<vtkXMLImageDataWriter> writer;
    writer->SetFileName(path.c_str());
    writer->SetInputData(image);
    writer->Write();
}

class Materials : public Ketmesh {
protected:
    Materials() {
        WriteGrid(m_mesh, *Elements());
        WritePhantom(m_image, {100.0, 700.0, 1500.0});
    }
    // The command on the phantom, with a linear law unless there are other options for it.
    std::vector<std::string> Command(std::vector<std::string> const& more) const {
        std::vector<std::string> all = {"materials", m_mesh, "--image", m_image, "-o", m_out};
        if (std::ranges::find(more, "--preset") == more.end()) {
            if (std::ranges::find(more, "--law") == more.end())
                all.insert(all.end(), {"--law", "0.1,0.001,1,0,0"});
            all.insert(all.end(), {"--modulus", "10000,2"});
        }
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }

    std::string const m_mesh = Path("phantom.vtu");
    std::string const m_image = Path("phantom.vti");
    std::string const m_out = Path("out/model.vtu");
};

// How many elements, and what they must have, by identifier.
struct Expected {
    int elements;
    double volume;
    double density;
    double low, high;
    std::string subvolume;
};

} // namespace

TEST_F(Materials, FollowFromTheGreyValuesOfThePhantom) {
    double const both = BoxVolume + TetrahedronVolume;
    struct Case {
        std::vector<std::string> options;
        std::map<unsigned int, Expected> materials;
        std::vector<double> ids; // of the elements
    };
    for (Case const& c : std::vector<Case>{
             {{"--bins", "5"},
              {{1, {2, both, 0.34, 100, 380, ""}},
               {3, {2, both, 0.9, 660, 940, ""}},
               {5, {2, both, 1.46, 1220, 1500, ""}}},
              {1, 1, 3, 3, 5, 5}},
             {{"--bins", "6", "--by", "mask", "--sampling", "mean"},
              {{1, {2, both, 0.25, 100, 200, "Label 1"}},
               {6, {2, both, 0.75, 600, 700, "Label 1"}},
               {7, {2, both, 1.6, 1500, 1500, "Label 2"}}},
              {1, 1, 6, 6, 7, 7}},
             {{"--by", "index", "--sampling", "voxels"},
              {{1, {4, 2 * both, 0.5, 100, 700, "Label 1"}}, {2, {2, both, 1.6, 1500, 1500, "Label 2"}}},
              {1, 1, 1, 1, 2, 2}},
             {{"--by", "single"}, {{1, {6, 3 * both, 0.1 + 4.6 / 6.0, 100, 1500, ""}}}, {1, 1, 1, 1, 1, 1}},
             {{"--bins", "2", "--average", "law"},
              {{1, {4, 2 * both, 0.55, 100, 700, ""}}, {2, {2, both, 1.25, 1500, 1500, ""}}},
              {1, 1, 1, 1, 2, 2}},
             // The powers count from 1024 below.
             {{"--by", "single", "--unit-offset", "--law", "2,0.001,1,0.000001,2"},
              {{1, {6, 3 * both, 2 - 0.257333333333 + 1e-6 * 257.333333333 * 257.333333333, 100, 1500, ""}}},
              {1, 1, 1, 1, 1, 1}}}) {
        SCOPED_TRACE(Json(c.options).dump());
        std::vector<std::string> arguments = Command(c.options);
        arguments.push_back("--json");
        Json const report = Json::parse(Run(arguments).out);
        ASSERT_EQ(report["materials"].size(), c.materials.size());
        double mass = 0.0;
        for (Json const& material : report["materials"]) {
            SCOPED_TRACE(material.dump());
            ASSERT_TRUE(c.materials.contains(material["id"]));
            Expected const& expected = c.materials.at(material["id"]);
            EXPECT_EQ(material["elements"], expected.elements);
            EXPECT_NEAR(material["volume"], expected.volume, 1e-9);
            EXPECT_NEAR(material["density"], expected.density, 1e-9);
            EXPECT_NEAR(material["emodulus"], 1e4 * expected.density * expected.density, 1e-5);
            EXPECT_EQ(material["poisson"], 0.3);
            EXPECT_NEAR(material["grey"][0], expected.low, 1e-9);
            EXPECT_NEAR(material["grey"][1], expected.high, 1e-9);
            EXPECT_EQ(material.value("subvolume", ""), expected.subvolume);
            mass += expected.volume / 1000.0 * expected.density;
        }
        EXPECT_NEAR(report["mass"], mass, 1e-9);
        EXPECT_EQ(report["outside"], 0);

        auto const written = ReadFile<vtkXMLUnstructuredGridReader>(m_out);
        EXPECT_EQ(CellValues(*written, "material"), c.ids);
        EXPECT_EQ(CellValues(*written, "grey"), (std::vector<double>{100, 100, 700, 700, 1500, 1500}));
        EXPECT_EQ(CellValues(*written, "label"), (std::vector<double>{1, 1, 1, 1, 2, 2}));
        for (vtkIdType i = 0; i < 6; ++i)
            EXPECT_NEAR(written->GetCellData()->GetArray("density")->GetTuple1(i),
                        c.materials.at(static_cast<unsigned int>(c.ids[static_cast<std::size_t>(i)])).density,
                        1e-9);
    }
}

TEST_F(Materials, MeanOfTheLawIsNotTheLawOfTheMean) {
    // A box of which a third is in the first region and two thirds in the second, by its voxels.
    auto const grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    vtkNew<vtkPoints> points;
    std::vector<vtkIdType> box;
    for (auto const& p : std::vector<std::array<double, 3>>{{8.5, 2, 2},
                                                            {11.5, 2, 2},
                                                            {11.5, 8, 2},
                                                            {8.5, 8, 2},
                                                            {8.5, 2, 8},
                                                            {11.5, 2, 8},
                                                            {11.5, 8, 8},
                                                            {8.5, 8, 8}})
        box.push_back(points->InsertNextPoint(p.data()));
    grid->SetPoints(points);
    grid->InsertNextCell(VTK_HEXAHEDRON, 8, box.data());
    WriteGrid(m_mesh, *grid);
    for (auto const& [average, density] : std::map<std::string, double>{
             {"grey", 1e-6 * 500.0 * 500.0}, {"law", 1e-6 * (100.0 * 100.0 + 2 * 700.0 * 700.0) / 3.0}}) {
        Result const result = Run(Command({"--by", "single", "--law", "0,0.000001,2,0,0", "--sampling",
                                           "voxels", "--average", average, "--json"}));
        Json const report = Json::parse(result.out);
        EXPECT_NEAR(report["materials"][0]["density"], density, 1e-12);
        EXPECT_NEAR(report["materials"][0]["grey"][0], 500.0, 1e-9);
    }
    // A density below the least one takes nothing from the samples beside it.
    Result const result = Run(Command({"--by", "single", "--law", "-0.3,0.001,1,0,0", "--sampling", "voxels",
                                       "--average", "law", "--json"}));
    Json const report = Json::parse(result.out);
    EXPECT_NEAR(report["materials"][0]["density"], (0.01 + 2 * 0.4) / 3.0, 1e-12);
    EXPECT_NE(result.err.find("samples in elements a density below 0.01"), std::string::npos) << result.err;
}

TEST_F(Materials, MassOfElementsTakesEachByItself) {
    struct Case {
        std::vector<std::string> options;
        bool is_warned_of; // binning moves the mass by more than 1 %
    };
    for (Case const& c :
         std::vector<Case>{{{"--bins", "100"}, false},
                           {{"--bins", "2"}, true},
                           {{"--by", "single"}, true},
                           {{"--bins", "2", "--average", "law", "--sampling", "mean"}, true}}) {
        SCOPED_TRACE(Json(c.options).dump());
        std::vector<std::string> arguments = {
            "materials", Head,  "--image", Ct,    "--law", "0.1,0,0,0.000001,2",
            "--modulus", "1,1", "-o",      m_out, "--json"};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        Json const report = Json::parse(Run(arguments).out);
        auto const written = ReadFile<vtkXMLUnstructuredGridReader>(m_out);
        auto const grey = CellValues(*written, "grey"), density = CellValues(*written, "density");
        double mass = 0.0, mass_of_elements = 0.0;
        for (std::size_t i = 0; i < grey.size(); ++i) {
            double p[4][3];
            for (int corner = 0; corner < 4; ++corner)
                written->GetPoint(written->GetCell(static_cast<vtkIdType>(i))->GetPointId(corner), p[corner]);
            double const volume = std::fabs(vtkTetra::ComputeVolume(p[0], p[1], p[2], p[3])) / 1000.0;
            mass += density[i] * volume;
            mass_of_elements += (0.1 + 1e-6 * grey[i] * grey[i]) * volume;
        }
        EXPECT_NEAR(report["mass"], mass, 1e-9 * mass);
        if (std::ranges::find(c.options, "law") == c.options.end()) {
            EXPECT_NEAR(report["mass_of_elements"], mass_of_elements, 1e-9 * mass);
        } else { // x^2 is convex: its mean lies above the square of the mean
            EXPECT_GT(report["mass_of_elements"], mass_of_elements);
        }
        double const moved = mass / report["mass_of_elements"].get<double>() - 1.0;
        EXPECT_EQ(std::fabs(moved) > 0.01, c.is_warned_of) << moved;
        std::string const warnings = report["warnings"].dump();
        EXPECT_EQ(warnings.find("the mass is") != std::string::npos, c.is_warned_of) << warnings;
    }
}

TEST_F(Materials, SubVolumesCanHaveConstantsOrKeepWhatTheyHave) {
    using Rows = std::vector<std::array<double, 4>>; // id, density, modulus, Poisson's ratio
    struct Step {
        std::vector<std::string> options;
        Rows rows;
        std::string sources;
        std::vector<double> ids;
        std::vector<double> grey;
        double mass; // of elements, for a volume of 1000 mm3 each box and tetrahedron together
    };
    WritePhantom(Path("other.vti"), {0.0, 0.0, 900.0});
    std::string file = m_mesh;
    int number = 0;
    std::vector<std::string> const by_image = {"--image",   m_image,   "--law",  "0.1,0.001,1,0,0",
                                               "--modulus", "10000,2", "--bins", "2"};
    // Each step works on what the one before wrote. A file without materials has none to keep.
    for (Step const& step : std::vector<Step>{
             {{"--only", "Label 1"},
              {{1, 0.35, 1225, 0.3}, {2, 0.65, 4225, 0.3}},
              "image image ",
              {1, 1, 2, 2, -1, -1},
              {100, 100, 700, 700, 1500, 1500},
              0.2 + 0.8},
             {{"--only", "Label 2", "--image", Path("other.vti"), "--law", "0,0.002,1,0,0", "--by", "single"},
              {{1, 0.35, 1225, 0.3}, {2, 0.65, 4225, 0.3}, {3, 1.8, 32400, 0.3}},
              "kept kept image ",
              {1, 1, 2, 2, 3, 3},
              {100, 100, 700, 700, 900, 900},
              0.35 + 0.65 + 1.8},
             {{"--set", "Label 1=4.43,110000,0.34"},
              {{3, 1.8, 32400, 0.3}, {4, 4.43, 110000, 0.34}},
              "kept set ",
              {4, 4, 4, 4, 3, 3},
              {100, 100, 700, 700, 900, 900},
              4.43 + 4.43 + 1.8},
             {{"--set", "Label 2=2,5,-0.1", "--image", m_image, "--by", "index"},
              {{1, 0.5, 2500, 0.3}, {3, 2, 5, -0.1}},
              "image set ",
              {1, 1, 1, 1, 3, 3},
              {100, 100, 700, 700, 1500, 1500},
              0.2 + 0.8 + 2},
             {{"--set", "Label 2=2,5,-0.1", "--set", "Label 1=1,5,0"},
              {{1, 2, 5, -0.1}, {2, 1, 5, 0}},
              "set set ",
              {2, 2, 2, 2, 1, 1},
              {100, 100, 700, 700, 1500, 1500},
              1 + 1 + 2}}) {
        SCOPED_TRACE(Json(step.options).dump());
        std::string const out = Path("step" + std::to_string(number++) + ".vtu");
        std::vector<std::string> arguments = {"materials", file, "-o", out, "--json"};
        bool const has_image = number <= 2 || number == 4;
        for (std::size_t i = 0; has_image && i < by_image.size(); i += 2)
            if (std::ranges::find(step.options, by_image[i]) == step.options.end())
                arguments.insert(arguments.end(), {by_image[i], by_image[i + 1]});
        arguments.insert(arguments.end(), step.options.begin(), step.options.end());
        Result const result = Run(arguments);
        ASSERT_EQ(result.status, 0) << result.err;
        Json const report = Json::parse(result.out);
        Rows rows;
        std::string sources;
        for (Json const& m : report["materials"]) {
            rows.push_back({m["id"], m["density"], m["emodulus"], m["poisson"]});
            sources += m["source"].get<std::string>() + " ";
        }
        EXPECT_EQ(sources, step.sources);
        ASSERT_EQ(rows.size(), step.rows.size()) << report.dump();
        for (std::size_t i = 0; i < rows.size(); ++i)
            for (std::size_t k = 0; k < 4; ++k)
                EXPECT_NEAR(rows[i][k], step.rows[i][k], 1e-9 * std::fabs(step.rows[i][k])) << i << " " << k;
        double const both = (BoxVolume + TetrahedronVolume) / 1000.0;
        EXPECT_NEAR(report["mass_of_elements"], both * step.mass, 1e-9);
        EXPECT_EQ(report["without_material"], std::ranges::count(step.ids, -1.0));
        EXPECT_EQ(result.err.find("have no material") != std::string::npos, step.ids.back() == -1.0);
        auto const written = ReadFile<vtkXMLUnstructuredGridReader>(out);
        EXPECT_EQ(CellValues(*written, "material"), step.ids);
        EXPECT_EQ(CellValues(*written, "grey"), step.grey);
        file = out;
    }
}

TEST_F(Materials, WarnOfWhatIsHardlyMeant) {
    WritePhantom(Path("constant.vti"), {3000.0, 3000.0, 3000.0});
    WritePhantom(Path("holes.vti"), {std::nan(""), 700.0, 1500.0});
    WriteGrid(Path("beside.vtu"), *Elements(25.0)); // of which one box is left in the image
    struct Case {
        std::vector<std::string> options;
        std::vector<std::string> warnings;
    };
    for (Case const& c : std::vector<Case>{
             {{"--bins", "5", "--image", Path("constant.vti")}, {"grey value 3000", "one material"}},
             {{"--by", "single", "--image", Path("constant.vti")}, {"grey value 3000"}},
             {{"--bins", "2", "--image", Path("holes.vti")},
              {"2 of 6 elements (33.3 %) have no finite", "the mass is 0.2741 g"}},
             {{"--by", "single", "--preset", "vertebra", "--image", Path("constant.vti")},
              {"grey value 3000", "56.15 to 270.1"}},
             {{"--bins", "6", "--preset", "femur", "--unit-offset"},
              {"4 of 6 elements (66.7 %)", "the mass is"}}, // 1500 is 476 HU
             {{"--bins", "6", "--law", "-1,0.001,1,0,0"},
              {"4 of 6 elements (66.7 %) a density below 0.01", "the mass is"}},
             {{"--bins", "6", "--law", "0,0.001,1.5,0,0", "--unit-offset", "--min-density", "0.2"},
              {"4 of 6 elements (66.7 %) a density below 0.2", "the mass is"}},
             {{"--bins", "6", "--law", "100,1,1,0,0"}, {"g/cm3; is the law one for kg/m3"}},
             {{"--bins", "6"}, {}}}) {
        SCOPED_TRACE(Json(c.options).dump());
        std::vector<std::string> arguments = Command(c.options);
        if (std::ranges::count(arguments, "--image") > 1)
            arguments.erase(arguments.begin() + 2, arguments.begin() + 4);
        arguments.push_back("--json");
        Result const result = Run(arguments);
        EXPECT_EQ(result.status, 0);
        auto const warnings = Json::parse(result.out)["warnings"].get<std::vector<std::string>>();
        ASSERT_EQ(warnings.size(), c.warnings.size()) << result.err;
        std::string lines;
        for (std::size_t i = 0; i < warnings.size(); ++i) {
            EXPECT_NE(warnings[i].find(c.warnings[i]), std::string::npos) << warnings[i];
            lines += "ketmesh: warning: " + warnings[i] + "\n";
        }
        EXPECT_EQ(result.err, lines);
    }
    Result const beside = Run({"materials", Path("beside.vtu"), "--image", m_image, "--law",
                               "0.1,0.001,1,0,0", "--modulus", "1,1", "--by", "single", "-o", m_out});
    EXPECT_NE(beside.err.find("71.4 % of the mesh's volume lies outside"), std::string::npos) << beside.err;
}

TEST_F(Materials, WhatCannotBeAssignedEndsInOneLineAndLeavesNothing) {
    WriteGrid(Path("far.vtu"), *Elements(1000.0));
    struct Case {
        std::vector<std::string> arguments;
        std::string reason;
    };
    std::vector<std::string> const bare = {"materials", m_mesh, "--image", m_image, "-o", m_out};
    auto const with = [&bare](std::vector<std::string> const& more) {
        std::vector<std::string> all = bare;
        all.insert(all.end(), more.begin(), more.end());
        return all;
    };
    for (Case const& c : std::vector<Case>{
             {{"materials", Path("far.vtu"), "--image", m_image, "-o", m_out, "--preset", "femur", "--bins",
               "2"},
              "all 6 elements of the mesh lie outside it: the mesh is at 1002.000 2.0000 2.0000"},
             {Command({"--bins", "2", "--image-unit", "um"}), "lie outside"},
             {Command({"--bins", "2", "--law", "0,1,1,0"}), "4 numbers instead of 5"},
             {Command({"--bins", "2", "--law", "0,1,1,0,x"}), "\"x\""},
             {with({"--bins", "2", "--law", "0,1,1,0,0", "--modulus", "1"}), "1 number instead of 2"},
             {with({"--bins", "2", "--law", "0,1,1,0,0", "--modulus", "-1,1"}), "p must be above 0"},
             {with({"--bins", "2", "--law", "0,1,1,0,0"}), "a modulus is missing"},
             {with({"--bins", "2", "--modulus", "1,1"}), "a law for densities is missing"},
             {Command({"--bins", "0"}), "--bins"},
             {Command({}), "--by grey: --bins is required"},
             {Command({"--bins", "2", "--only", "Label 3"}), "no sub-volume \"Label 3\""},
             {Command({"--bins", "2", "--set", "Label 3=1,1,0"}), "no sub-volume \"Label 3\""},
             {Command({"--bins", "2", "--set", "Label 1=1,1,0", "--only", "Label 1"}), "in --only as well"},
             {Command({"--bins", "2", "--set", "Label 1=1,1,0", "--set", "Label 1=1,1,0"}), "twice"},
             {Command({"--bins", "2", "--set", "Label 1=0,1,0"}), "density must be above 0, not 0"},
             {Command({"--bins", "2", "--set", "Label 1=1,-1,0"}), "modulus must be above 0, not -1"},
             {Command({"--bins", "2", "--set", "Label 1=1,1,0.5"}), "between -1 and 0.5"},
             {Command({"--bins", "2", "--set", "Label 1=1,1"}), "2 numbers instead of 3"},
             {Command({"--bins", "2", "--set", "Label 1"}), "NAME=DENSITY,E,NU"},
             {Command({"--bins", "3", "--only", "Label 2"}), "2 elements in the sub-volumes of --only"},
             {{"materials", m_mesh, "--set", "Label 1=1,1,0", "--bins", "2", "-o", m_out},
              "--bins requires --image"},
             {Command({"--bins", "7"}), "6 elements, too few for 7 bins"},
             {Command({"--bins", "2", "--poisson", "0.5"}), "between -1 and 0.5"},
             {Command({"--bins", "2", "--poisson", "-1"}), "between -1 and 0.5"},
             {Command({"--bins", "2", "--preset", "skull"}), "there are femur, tibia, vertebra"},
             {Command({"--bins", "2", "--by", "volume"}), "--by"},
             {Command({"--bins", "2", "--min-density", "0"}), "--min-density"},
             {Command({"--bins", "2", "--catalog", m_out}), ".xml files only"},
             {Command({"--bins", "2", "--catalog", m_image}), ".xml files only"},
             {Command({"--bins", "2", "--preset", "femur", "--min-density", "1e300"}),
              "it must be above 0 and finite"},
             {Command({"--bins", "2", "--catalog", Path("none/c.xml")}), "there is no folder"},
             {{"materials", m_mesh, "--image", m_mesh, "-o", m_out, "--preset", "femur", "--bins", "2"},
              "phantom.vtu: "},
             {{"materials", m_mesh, "--image", Path("no.nii"), "-o", m_out, "--preset", "femur", "--bins",
               "2"},
              "no.nii: "},
             {{"materials", m_mesh, "--image", m_image, "-o", Path("out/a.stl"), "--preset", "femur",
               "--bins", "2"},
              ".vtu and .vtk"},
             {{"materials", m_mesh, "-o", m_out, "--preset", "femur", "--bins", "2"}, "--image is required"},
             {{"colors", m_mesh, "--bins", "2", "-o", Path("out/a.xml")}, "no cell array grey"},
             {{"colors", Head, "--bins", "2", "--from", "9000", "-o", Path("out/a.xml")}, "from 9000"},
             {{"colors", "--intervals", "1,3,2", "-o", Path("out/a.xml")}, "does not ascend"},
             {{"colors", "--intervals", "", "-o", Path("out/a.xml")}, "--intervals: a value is missing"},
             {{"colors", "--intervals", "1,2", "--to", "3", "-o", Path("out/a.xml")}, "excludes"},
             {{"colors", Head, "--bins", "2", "-o", Path("out/a.txt")}, ".json or .xml"}}) {
        ExpectRefused(c.arguments, c.reason);
    }
}

TEST_F(Materials, PresetsAreThoseOfThePageAndOfThePapers) {
    Result const table = Run({"materials", "--list-presets", "--markdown"});
    EXPECT_NE(Content(Data + "../docs/materials.md").find(table.out), std::string::npos)
        << "take the table of docs/materials.md anew: ketmesh materials --list-presets --markdown";
    struct Case {
        char const* name;
        double density_at_200; // HU; by hand
        double factor, exponent;
    };
    for (Case const& c : {Case{"femur", 0.3444, 6850, 1.49}, Case{"tibia", 0.2972, 15520, 1.93},
                          Case{"vertebra", 0.2714, 4730, 1.56}}) {
        WritePhantom(m_image, {200.0, 200.0, 200.0});
        auto const run = [&](std::vector<std::string> more) {
            more.insert(more.begin(), {"--preset", c.name, "--by", "single", "--json"});
            return Json::parse(Run(Command(more)).out)["materials"][0];
        };
        EXPECT_NEAR(run({})["density"], c.density_at_200, 1e-12);
        EXPECT_NEAR(run({})["emodulus"], c.factor * std::pow(c.density_at_200, c.exponent), 1e-6);
        // What is given beside it comes before its part.
        EXPECT_NEAR(run({"--modulus", "100,1"})["emodulus"], 100.0 * c.density_at_200, 1e-9);
        Json const law = run({"--law", "0,0.01,1,0,0"});
        EXPECT_NEAR(law["emodulus"], c.factor * std::pow(2.0, c.exponent), 1e-6);
    }
}

TEST_F(Materials, ColoursAreThoseThatViewersGet) {
    Json const report = Json::parse(Run(Command({"--bins", "3", "--json"})).out);
    std::map<double, std::string> color_of;
    for (Json const& material : report["materials"])
        color_of[material["grey"][0]] = material["color"];
    std::string const json = Path("out/grey.json"), xml = Path("out/grey.xml");
    Json const intervals = RunJson({"colors", m_out, "--bins", "3", "-o", json})["intervals"];
    RunJson({"colors", m_out, "--bins", "3", "-o", xml});
    Json const map = Json::parse(Content(json))[0];
    EXPECT_EQ(map["ColorSpace"], "RGB");
    auto const points = map["RGBPoints"].get<std::vector<double>>();
    auto const root =
        vtkSmartPointer<vtkXMLDataElement>::Take(vtkXMLUtilities::ReadElementFromFile(xml.c_str()));
    ASSERT_NE(root, nullptr);
    vtkXMLDataElement& element = *root->FindNestedElementWithName("ColorMap");
    ASSERT_EQ(intervals.size(), 3u);
    ASSERT_EQ(points.size(), 3u * 2 * 4);
    for (std::size_t i = 0; i < 3; ++i) {
        double const from = intervals[i]["grey"][0], to = intervals[i]["grey"][1];
        EXPECT_EQ(intervals[i]["color"], color_of[from]);
        EXPECT_EQ(points[8 * i], from);
        EXPECT_NEAR(points[8 * i + 4], to, 0.01);
        EXPECT_TRUE(points[8 * i + 4] < to || i == 2);
        for (std::size_t point = 2 * i; point < 2 * i + 2; ++point) {
            std::ostringstream color;
            color << '#' << std::hex << std::setfill('0');
            for (std::size_t channel = 1; channel <= 3; ++channel)
                color << std::setw(2) << std::lround(points[4 * point + channel] * 255.0);
            EXPECT_EQ(color.str(), intervals[i]["color"]);
            vtkXMLDataElement& in_xml = *element.GetNestedElement(static_cast<int>(point));
            double value = 0.0;
            for (std::size_t k : {0u, 1u, 2u, 3u}) {
                in_xml.GetScalarAttribute(std::array{"x", "r", "g", "b"}[k], value);
                EXPECT_EQ(value, points[4 * point + k]);
            }
        }
    }
    EXPECT_EQ(color_of.size(), 3u);
}
