// SPDX-License-Identifier: BSD-3-Clause
// The commands that measure, check and repair tetrahedra, against arithmetic on the files they read and
// write.
#include "KetmeshProgram.h"

#include <vtkMeshQuality.h>
#include <vtkQuadraticTetra.h>
#include <vtkTetra.h>
#include <vtkXMLDataElement.h>
#include <vtkXMLUtilities.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <numeric>
#include <set>

namespace {

std::string const Head10 = Data + "head_small_tet10.vtu";

// With the points where reading them puts the nodes, so that figures agree to the last digits.
vtkSmartPointer<vtkUnstructuredGrid> ReadRounded(std::string const& name) {
    auto const grid = ReadGrid(name);
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    for (vtkIdType i = 0; i < grid->GetNumberOfPoints(); ++i) {
        double const* const p = grid->GetPoint(i);
        points->InsertNextPoint(std::round(p[0] * 65536.0) / 65536.0, std::round(p[1] * 65536.0) / 65536.0,
                                std::round(p[2] * 65536.0) / 65536.0);
    }
    grid->SetPoints(points);
    return grid;
}

std::vector<double> VtkQuality(vtkUnstructuredGrid& grid, int measure) {
    vtkNew<vtkMeshQuality> quality;
    quality->SetTetQualityMeasure(measure);
    quality->SetInputData(&grid);
    quality->Update();
    return CellValues(*quality->GetOutput(), "Quality");
}

// Linear tetrahedra on a list of points, four at a time.
vtkSmartPointer<vtkUnstructuredGrid> Tetrahedra(std::vector<std::array<double, 3>> const& points) {
    auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    vtkNew<vtkPoints> all;
    all->SetDataTypeToDouble();
    for (auto const& p : points)
        all->InsertNextPoint(p.data());
    grid->SetPoints(all);
    for (vtkIdType i = 0; i + 3 < all->GetNumberOfPoints(); i += 4) {
        vtkIdType const ids[] = {i, i + 1, i + 2, i + 3};
        grid->InsertNextCell(VTK_TETRA, 4, ids);
    }
    return grid;
}

// All corners at one position; a corner of a cube; it mirrored, twice as high, and flat, twice. Far apart.
vtkSmartPointer<vtkUnstructuredGrid> FaultyElements() {
    std::vector<std::array<double, 3>> points(4, {-10.0, 0.0, 0.0});
    double x = 0.0;
    for (double const height : {1.0, -1.0, 2.0, 0.0, 0.0}) {
        points.insert(points.end(), {{x, 0, 0}, {x + 1, 0, 0}, {x, 1, 0}, {x + 0.25, 0.25, height}});
        x += 10.0;
    }
    return Tetrahedra(points);
}

TEST_F(Ketmesh, QualitySortsOutValuesThatAreNotFinite) {
    WriteGrid(Path("faulty.vtu"), *FaultyElements());
    auto const measure = [this](std::string const& metric, std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"quality", Path("faulty.vtu"), "--metric", metric});
        Json const report = RunJson(more);
        return report["metrics"][metric];
    };
    auto const elements = [](Json const& figures) {
        std::vector<int> numbers;
        for (Json const& worst : figures["worst"])
            numbers.push_back(worst["element"]);
        return numbers;
    };
    // The mirrored element has none; what is collapsed or flat has 0 or, collapsed, none.
    Json const mean_ratio = measure("MeanRatio");
    EXPECT_EQ(elements(mean_ratio).size(), 6u);
    EXPECT_TRUE(mean_ratio["worst"][0]["value"].is_null());
    // Longest edge over smallest height: nothing over nothing first, then something over nothing, twice.
    Json const aspect = measure("AspectRatioTetgen");
    EXPECT_EQ(aspect["nonfinite"], 3);
    EXPECT_EQ(elements(aspect), (std::vector<int>{0, 4, 5, 3, 1, 2}));
    EXPECT_EQ(aspect["histogram"]["range"], (Json{0.0, aspect["max"]}));
    auto const counts = aspect["histogram"]["counts"].get<std::vector<int>>();
    EXPECT_EQ(std::accumulate(counts.begin(), counts.end(), 0), 3);

    // The range begins at the smallest value, and takes as many bins as it needs.
    Json const volume = measure("Volume", {"--width", "0.2", "--worst", "2"});
    EXPECT_EQ(volume["bad"], 1);
    EXPECT_EQ(elements(volume), (std::vector<int>{2, 0}));
    EXPECT_EQ(volume["histogram"]["counts"], (Json{4, 1, 1}));
    EXPECT_NEAR(volume["histogram"]["range"][0], -1.0 / 6.0, 1e-12);
    EXPECT_NEAR(volume["histogram"]["range"][1], -1.0 / 6.0 + 0.6, 1e-12);
    EXPECT_EQ(measure("Volume", {"--above", "0.1"})["bad"], 2);
}

TEST_F(Ketmesh, ChecksThatDoNotHoldEndWithStatusTwo) {
    struct Case {
        std::vector<std::string> arguments;
        int status;
    };
    std::string const out = Path("out/a.vtu");
    for (Case const& c : std::vector<Case>{
             {{"quality", Head, "--below", "0.1", "--fail-on", "504"}, 2},
             {{"quality", Head, "--below", "0.1", "--fail-on", "505"}, 0},
             {{"quality", Head, "--fail-on", "0"}, 0},
             {{"quality", Head, "--metric", "Volume,EdgeMaxMin", "--above", "5", "--fail-on", "100"}, 2},
             {{"check", Head, "--fail-on", "0"}, 0},
             {{"check", Head10, "--fail-on", "0"}, 2},
             {{"repair", Head10, "-o", out, "--fail-on", "0"}, 0},
             {{"repair", Head10, "-o", out, "--max-ratio", "1", "--fail-on", "0"}, 2}}) {
        SCOPED_TRACE(c.arguments[0] + " " + c.arguments[1]);
        Result const result = Run(c.arguments);
        EXPECT_EQ(result.status, c.status) << result.err;
        EXPECT_NE(result.out, "");
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), c.status == 2 ? 1 : 0)
            << result.err;
        EXPECT_EQ(result.err.starts_with("ketmesh: " + c.arguments[1]), c.status == 2) << result.err;
    }
}

// Folds score -100 where lower is better, or lie between the points that a metric looks at.
TEST_F(Ketmesh, FoldedElementsAreBadWhateverTheThreshold) {
    int const folded = RunJson({"check", Head10})["folded"];
    ASSERT_GT(folded, 100);
    Json const report = RunJson({"quality", Head10});
    EXPECT_EQ(report["metrics"]["Folded"]["bad"], folded);
    EXPECT_EQ(report["metrics"].size(), 2u);
    EXPECT_EQ(Run({"quality", Head10, "--fail-on", std::to_string(folded - 1)}).status, 2);
    EXPECT_EQ(Run({"quality", Head10, "--fail-on", std::to_string(folded)}).status, 0);
    EXPECT_EQ(RunJson({"quality", Head10, "--metric", "Volume"})["metrics"].size(), 1u);

    Json const metrics =
        RunJson({"quality", Head10, "--metric", "JacobianRatio,JacobianDistortion,MinJacobianDeterminant",
                 "--above", "1e9", "--limit", "JacobianRatio<=1e9", "--limit", "JacobianRatio>=-1e9"});
    for (auto const& [name, metric] : metrics["metrics"].items())
        EXPECT_EQ(metric["bad"], folded) << name;
    for (Json const& limit : metrics["limits"])
        EXPECT_EQ(limit["failing"], folded) << limit;
    EXPECT_EQ(RunJson({"grow", Head10, "--metric", "JacobianRatio", "--above", "1e9", "-o",
                       Path("out/bad.vtp")})["bad"],
              folded);
    EXPECT_EQ(RunJson({"quality", Head10, "--limits", "febio"})["failing"], folded);
}

TEST_F(Ketmesh, LimitsOfBothSensesHoldInOneRun) {
    auto const grid = ReadRounded("head_small_tet4.vtu");
    std::vector<double> const jacobian = VtkQuality(*grid, VTK_QUALITY_SCALED_JACOBIAN);
    std::vector<double> const edges = VtkQuality(*grid, VTK_QUALITY_EDGE_RATIO);
    std::vector<double> bad(jacobian.size());
    int low = 0, long_edges = 0;
    for (std::size_t i = 0; i < bad.size(); ++i) {
        low += jacobian[i] < 0.2;
        long_edges += edges[i] > 2.5;
        bad[i] = jacobian[i] < 0.2 || edges[i] > 2.5;
    }
    double const failing = std::accumulate(bad.begin(), bad.end(), 0.0);
    ASSERT_GT(failing, std::max(low, long_edges));
    std::string const out = Path("out/judged.vtu");
    std::vector<std::string> arguments = {"quality", Head,
                                          "--limit", "ScaledJacobian>=0.2",
                                          "--limit", "EdgeMaxMin<=2.5",
                                          "--limit", "ScaledJacobian>=0.2",
                                          "-o",      out};
    Json const report = RunJson(arguments);
    EXPECT_EQ(report["limits"],
              (Json{{{"metric", "ScaledJacobian"}, {"sense", ">="}, {"value", 0.2}, {"failing", low}},
                    {{"metric", "EdgeMaxMin"}, {"sense", "<="}, {"value", 2.5}, {"failing", long_edges}}}));
    EXPECT_EQ(report["failing"], failing);
    EXPECT_EQ(report["metrics"].size(), 2u);
    EXPECT_EQ(CellValues(*ReadFile<vtkXMLUnstructuredGridReader>(out), "bad"), bad);
    arguments.insert(arguments.end(), {"--fail-on", std::to_string(static_cast<int>(failing) - 1)});
    Result const failed = Run(arguments);
    EXPECT_EQ(failed.status, 2);
    EXPECT_NE(failed.err.find("EdgeMaxMin <= 2.5"), std::string::npos) << failed.err;
    EXPECT_NE(failed.out.find("fail\n"), std::string::npos);
    EXPECT_EQ(failed.out.find("pass\n"), std::string::npos);
    arguments.back() = std::to_string(static_cast<int>(failing));
    EXPECT_EQ(Run(arguments).status, 0);

    // What is not a number fails either way: the mean ratio of the mirrored element.
    WriteGrid(Path("faulty.vtu"), *FaultyElements());
    Json const faulty =
        RunJson({"quality", Path("faulty.vtu"), "--limit", "MeanRatio>=-1e9", "--limit", "MeanRatio<=1e9"});
    EXPECT_EQ(faulty["limits"][0]["failing"], 2); // and that of the element without size
    EXPECT_EQ(faulty["limits"][1]["failing"], 2);

    Json const answer = RunJson({"quality", "--list-limits"});
    EXPECT_EQ(answer["inputs"], Json::array());
    EXPECT_EQ(answer["warnings"], Json::array());
    Json const sets = answer["limits"];
    for (char const* const name : {"abaqus", "ansys", "febio"}) {
        EXPECT_NE(sets[name]["source"], "");
        Json const judged = RunJson({"quality", Head, "--limits", name});
        EXPECT_EQ(judged["limits"].size(), sets[name]["limits"].size());
        EXPECT_GE(RunJson({"quality", Path("faulty.vtu"), "--limits", name})["failing"], 4) << name;
    }
}

TEST_F(Ketmesh, QualityIsDrawnAndListed) {
    std::string const svg = Path("out/quality & more.svg");
    fs::copy_file(Head, Path("a<b&c.vtu"));
    Json const report = RunJson({"quality", Path("a<b&c.vtu"), "--metric", "Volume,Spheres", "--partitions",
                                 "30", "--above", "100", "--plot", svg});
    EXPECT_EQ(report["files"], Json{svg});
    auto const root =
        vtkSmartPointer<vtkXMLDataElement>::Take(vtkXMLUtilities::ReadElementFromFile(svg.c_str()));
    ASSERT_NE(root, nullptr) << "not well-formed";
    int panels = 0, thresholds = 0;
    for (int i = 0; i < root->GetNumberOfNestedElements(); ++i) {
        vtkXMLDataElement& panel = *root->GetNestedElement(i);
        if (panel.GetName() != std::string("g"))
            continue;
        ++panels;
        for (int k = 0; k < panel.GetNumberOfNestedElements(); ++k) {
            vtkXMLDataElement& shape = *panel.GetNestedElement(k);
            char const* const style = shape.GetAttribute("class");
            thresholds += style && style == std::string("limit");
            if (shape.GetName() != std::string("path"))
                continue;
            std::string const path = shape.GetAttribute("d");
            Json const& counts = report["metrics"][panels == 1 ? "Volume" : "Spheres"]["histogram"]["counts"];
            EXPECT_EQ(std::count(path.begin(), path.end(), 'z'),
                      std::count_if(counts.begin(), counts.end(), [](Json const& n) { return n != 0; }));
        }
    }
    EXPECT_EQ(panels, 2);
    EXPECT_EQ(thresholds, 1); // 100 lies beyond the other metric's range

    Result const text = Run({"quality", Head, "--metric", "all"});
    EXPECT_NE(text.out.find("\nOrthogonalQuality"), std::string::npos);
    EXPECT_EQ(text.out.find("FluentOrthogonalQuality"), std::string::npos);
    Result const page = Run({"quality", "--list", "--markdown"});
    EXPECT_TRUE(page.out == Content(Data + "../docs/quality.md"))
        << "make docs/quality.md anew: ketmesh quality --list --markdown";
    EXPECT_EQ(RunJson({"quality", "--list"})["metrics"].size(), 45u);
    std::string const list = Run({"quality", "--list"}).out;
    for (std::size_t begin = 0, end; (end = list.find('\n', begin)) != std::string::npos; begin = end + 1)
        EXPECT_LE(end - begin, 110u);
}

// The ends of the edges that mid nodes 4 to 9 lie on, and the mid nodes of the faces.
constexpr std::array<std::array<int, 2>, 6> Edges = {{{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}}};
constexpr std::array<std::array<int, 3>, 4> MidFaces = {{{4, 5, 6}, {4, 8, 7}, {5, 9, 8}, {6, 9, 7}}};

using Nodes = std::array<std::array<double, 3>, 10>;

Nodes NodesOf(vtkUnstructuredGrid& grid, vtkIdType cell) {
    Nodes nodes;
    for (int i = 0; i < 10; ++i)
        grid.GetPoint(grid.GetCell(cell)->GetPointId(i), nodes[static_cast<std::size_t>(i)].data());
    return nodes;
}

TEST_F(Ketmesh, CheckCountsMisplacedMidNodes) {
    auto const grid = ReadRounded("head_small_tet10.vtu");
    int edges = 0, faces = 0;
    for (vtkIdType cell = 0; cell < grid->GetNumberOfCells(); ++cell) {
        Nodes const nodes = NodesOf(*grid, cell);
        std::array<double, 10> deviation{}, length{};
        bool wrong = false;
        for (std::size_t m = 4; m < 10; ++m) {
            auto const& a = nodes[static_cast<std::size_t>(Edges[m - 4][0])];
            auto const& b = nodes[static_cast<std::size_t>(Edges[m - 4][1])];
            double const middle[] = {(a[0] + b[0]) / 2, (a[1] + b[1]) / 2, (a[2] + b[2]) / 2};
            deviation[m] = Distance(nodes[m].data(), middle);
            length[m] = Distance(a.data(), b.data());
            wrong |= deviation[m] >= 0.05 * length[m];
        }
        edges += wrong;
        faces += std::any_of(MidFaces.begin(), MidFaces.end(), [&](std::array<int, 3> const& face) {
            double largest = 0.0, mean = 0.0;
            for (int const m : face) {
                largest = std::max(largest, deviation[static_cast<std::size_t>(m)]);
                mean += length[static_cast<std::size_t>(m)] / 3.0;
            }
            return largest >= 0.05 * mean;
        });
    }
    Json const report = RunJson({"check", Head10, "--tolerance", "5"});
    EXPECT_EQ(report["wrong_mid_edges"], edges);
    EXPECT_EQ(report["wrong_mid_faces"], faces);
    EXPECT_GT(faces, 1000);
    EXPECT_EQ(report["wrong_orientation"], 0);

    WriteGrid(Path("faulty.vtu"), *FaultyElements());
    Json const faulty = RunJson({"check", Path("faulty.vtu")});
    EXPECT_EQ(faulty["wrong_orientation"], 1);
    EXPECT_EQ(faulty["folded"], 1);
    EXPECT_EQ(faulty["zero_volume"], 3);
    EXPECT_EQ(faulty["wrong_mid_edges"], 0);
}

double JacobianDeterminant(Nodes const& nodes, std::array<double, 3> const& place) {
    double derivatives[30];
    vtkQuadraticTetra::InterpolationDerivs(place.data(), derivatives);
    double jacobian[3][3] = {};
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t node = 0; node < 10; ++node)
            for (std::size_t axis = 0; axis < 3; ++axis)
                jacobian[row][axis] += derivatives[10 * row + node] * nodes[node][axis];
    return vtkMath::Determinant3x3(jacobian[0], jacobian[1], jacobian[2]);
}

// Largest over smallest Jacobian determinant at corners, mid nodes and centroid; negative when the element
// folds.
double JacobianRatio(Nodes const& nodes) {
    std::vector<std::array<double, 3>> places = {
        {0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0.25, 0.25, 0.25}};
    for (auto const& edge : Edges) {
        auto const& a = places[static_cast<std::size_t>(edge[0])];
        auto const& b = places[static_cast<std::size_t>(edge[1])];
        places.push_back({(a[0] + b[0]) / 2, (a[1] + b[1]) / 2, (a[2] + b[2]) / 2});
    }
    double smallest = std::numeric_limits<double>::max(), largest = -smallest;
    for (auto const& place : places) {
        double const determinant = JacobianDeterminant(nodes, place);
        smallest = std::min(smallest, determinant);
        largest = std::max(largest, determinant);
    }
    return smallest > 0.0 ? largest / smallest : -100.0;
}

// The integral over a curved element by the rule of third degree with the corners and the middles of the
// faces.
double CurvedVolume(Nodes const& nodes) {
    constexpr double Third = 1.0 / 3.0;
    double volume = 0.0;
    for (auto const& [place, weight] : {std::pair<std::array<double, 3>, double>{{0, 0, 0}, 1.0},
                                        {{1, 0, 0}, 1.0},
                                        {{0, 1, 0}, 1.0},
                                        {{0, 0, 1}, 1.0},
                                        {{Third, Third, Third}, 9.0},
                                        {{0, Third, Third}, 9.0},
                                        {{Third, 0, Third}, 9.0},
                                        {{Third, Third, 0}, 9.0}})
        volume += weight / 240.0 * JacobianDeterminant(nodes, place);
    return volume;
}

TEST_F(Ketmesh, OneCurvedMeshHasOneVolume) {
    auto const grid = ReadRounded("head_small_tet10.vtu");
    std::vector<double> curved, straight;
    for (vtkIdType cell = 0; cell < grid->GetNumberOfCells(); ++cell) {
        Nodes n = NodesOf(*grid, cell);
        curved.push_back(CurvedVolume(n));
        straight.push_back(vtkTetra::ComputeVolume(n[0].data(), n[1].data(), n[2].data(), n[3].data()));
    }
    double const volume = std::accumulate(curved.begin(), curved.end(), 0.0);
    double const of_corners = std::accumulate(straight.begin(), straight.end(), 0.0);
    ASSERT_GT(volume - of_corners, 100.0);

    std::string const out = Path("out/volumes.vtu");
    Json const quality =
        RunJson({"quality", Head10, "--metric", "Volume,CornerVolume,VolumeInRange", "-o", out});
    auto const sum = [&quality](char const* metric) {
        return quality["metrics"][metric]["mean"].get<double>() * quality["elements"].get<double>();
    };
    Json const info = RunJson({"info", Head10});
    double subvolumes = 0.0, materials = 0.0;
    for (Json const& subvolume : info["subvolumes"])
        subvolumes += subvolume["volume"].get<double>();
    // It warns of a mass that few bins move.
    Result const assigned = Run({"materials", Head10, "--image", Data + "head_ct.nii.gz", "--preset", "femur",
                                 "--bins", "5", "-o", Path("out/materials.vtu"), "--json"});
    ASSERT_EQ(assigned.status, 0) << assigned.err;
    Json const rows = Json::parse(assigned.out)["materials"];
    for (Json const& material : rows)
        materials += material["volume"].get<double>();
    for (double const figure :
         {sum("Volume"), sum("VolumeInRange"), info["volume"].get<double>(), subvolumes, materials})
        EXPECT_NEAR(figure, volume, 1e-9 * volume);
    EXPECT_NEAR(sum("CornerVolume"), of_corners, 1e-9 * of_corners);
    auto const written = ReadFile<vtkXMLUnstructuredGridReader>(out);
    for (auto const& [name, expected] : {std::pair("Volume", curved), {"CornerVolume", straight}}) {
        std::vector<double> const values = CellValues(*written, name);
        for (std::size_t i = 0; i < values.size(); ++i)
            ASSERT_NEAR(values[i], expected[i], 1e-9) << name << ' ' << i;
    }
}

TEST_F(Ketmesh, RepairLeavesNoFoldedElement) {
    std::string const out = Path("out/repaired.vtu");
    Json const report = RunJson({"repair", Head10, "-o", out});
    auto const read = ReadRounded("head_small_tet10.vtu");
    auto const written = ReadFile<vtkXMLUnstructuredGridReader>(out);
    ASSERT_EQ(written->GetNumberOfCells(), read->GetNumberOfCells());
    int bad = 0, folded = 0, stay_bad = 0, moved = 0;
    for (vtkIdType cell = 0; cell < read->GetNumberOfCells(); ++cell) {
        Nodes const before = NodesOf(*read, cell);
        Nodes const after = NodesOf(*written, cell);
        EXPECT_TRUE(std::equal(before.begin(), before.begin() + 4, after.begin())) << "a corner moved";
        moved += before != after;
        double const ratio = JacobianRatio(before);
        bad += ratio < 0.0 || ratio > 30.0;
        folded += ratio < 0.0;
        double const repaired = JacobianRatio(after);
        stay_bad += repaired < 0.0 || repaired > 30.0 * (1.0 + 1e-9);
    }
    EXPECT_EQ(report["bad_before"], bad);
    EXPECT_EQ(report["ratio_before"]["folded"], folded);
    EXPECT_GT(folded, 100);
    // The check looks between the eleven points, too.
    EXPECT_GE(RunJson({"check", Head10})["folded"], folded);
    EXPECT_EQ(Run({"check", Head10, "--tolerance", "1e9", "--fail-on", "0"}).status, 2);
    EXPECT_EQ(RunJson({"check", out})["folded"], 0);
    EXPECT_EQ(RunJson({"quality", out})["metrics"]["Folded"]["bad"], 0);
    EXPECT_EQ(Run({"quality", out, "--fail-on", "0"}).status, 0);
    EXPECT_EQ(report["bad_after"], stay_bad);
    EXPECT_EQ(stay_bad, 0);
    EXPECT_GT(report["modified"], 0);
    EXPECT_GE(moved, report["modified"].get<int>()); // neighbours share nodes
    for (char const* const carried : {"label", "grey"})
        EXPECT_EQ(CellValues(*written, carried), CellValues(*read, carried));
}

} // namespace
