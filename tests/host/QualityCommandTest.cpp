// The commands that measure, check and repair tetrahedra, against arithmetic on the files they read and
// write.
#include "KetmeshProgram.h"

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkMeshQuality.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkQuadraticTetra.h>
#include <vtkStringArray.h>
#include <vtkTetra.h>
#include <vtkTriangle.h>
#include <vtkXMLDataElement.h>
#include <vtkXMLPolyDataReader.h>
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

std::vector<double> VtkQuality(vtkUnstructuredGrid& grid, int measure) {
    vtkNew<vtkMeshQuality> quality;
    quality->SetTetQualityMeasure(measure);
    quality->SetInputData(&grid);
    quality->Update();
    return CellValues(*quality->GetOutput(), "Quality");
}

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

// All corners at one place; a corner of a cube; it mirrored, twice as high, and flat, twice. Far apart.
vtkSmartPointer<vtkUnstructuredGrid> FaultyElements() {
    std::vector<std::array<double, 3>> points(4, {-10.0, 0.0, 0.0});
    double x = 0.0;
    for (double const height : {1.0, -1.0, 2.0, 0.0, 0.0}) {
        points.insert(points.end(), {{x, 0, 0}, {x + 1, 0, 0}, {x, 1, 0}, {x + 0.25, 0.25, height}});
        x += 10.0;
    }
    return Tetrahedra(points);
}

// What the figures of one metric must be, from its values.
void CheckFigures(Json const& figures, std::vector<double> const& values, double below) {
    std::vector<double> sorted = values;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(figures["min"], sorted.front());
    EXPECT_EQ(figures["max"], sorted.back());
    double const mean =
        std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
    EXPECT_NEAR(figures["mean"], mean, 1e-10 * std::max(std::fabs(mean), 1.0));
    EXPECT_EQ(figures["nonfinite"], 0);
    for (auto const& [percent, value] : figures["percentiles"].items()) {
        auto const within =
            std::upper_bound(sorted.begin(), sorted.end(), value.get<double>()) - sorted.begin();
        auto const less =
            std::lower_bound(sorted.begin(), sorted.end(), value.get<double>()) - sorted.begin();
        double const part = std::stod(percent) / 100.0 * static_cast<double>(values.size());
        EXPECT_GE(static_cast<double>(within), part);
        EXPECT_LT(static_cast<double>(less), part);
    }
    EXPECT_EQ(figures["bad"],
              std::count_if(values.begin(), values.end(), [&](double v) { return v < below; }));
}

void CheckHistogram(Json const& histogram, std::vector<double> const& values, double low, double high,
                    std::size_t bins) {
    EXPECT_EQ(histogram["range"], (Json{low, high}));
    ASSERT_EQ(histogram["counts"].size(), bins);
    std::vector<int> counts(bins);
    for (double const v : values)
        if (v >= low && v <= high)
            ++counts[std::min(
                static_cast<std::size_t>((v - low) / ((high - low) / static_cast<double>(bins))), bins - 1)];
    EXPECT_EQ(histogram["counts"], Json(counts));
}

TEST_F(Ketmesh, QualityFiguresFollowFromTheValuesInTheFile) {
    std::string const out = Path("out/quality.vtu");
    Json const report =
        RunJson({"quality", Head, "--metric", "ScaledJacobian,Volume,MinDihedralAngle", "--below", "0.25",
                 "--partitions", "7", "--max-bound", "60", "--worst", "25", "-o", out});
    auto const written = ReadFile<vtkXMLUnstructuredGridReader>(out);
    auto const read = ReadRounded("head_small_tet4.vtu");
    EXPECT_EQ(report["elements"], read->GetNumberOfCells());
    EXPECT_EQ(report["below"], 0.25);
    for (auto const& [name, figures] : report["metrics"].items()) {
        SCOPED_TRACE(name);
        std::vector<double> const values = CellValues(*written, name.c_str());
        CheckFigures(figures, values, 0.25);
        bool const is_volume = name == "Volume";
        CheckHistogram(figures["histogram"], values, is_volume ? figures["min"].get<double>() : 0.0,
                       is_volume                  ? figures["max"].get<double>()
                       : name == "ScaledJacobian" ? 1.0
                                                  : 60.0,
                       7);
        std::vector<std::size_t> order(values.size());
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::stable_sort(order.begin(), order.end(), [&](auto a, auto b) { return values[a] < values[b]; });
        ASSERT_EQ(figures["worst"].size(), 25u);
        for (std::size_t i = 0; i < 25; ++i) {
            Json const& worst = figures["worst"][i];
            EXPECT_EQ(worst["element"], order[i]);
            EXPECT_EQ(worst["value"], values[order[i]]);
            double const label =
                read->GetCellData()->GetArray("label")->GetTuple1(static_cast<vtkIdType>(order[i]));
            EXPECT_EQ(worst["subvolume"], "Label " + std::to_string(static_cast<int>(label)));
            double p[4][3], centre[3];
            for (int corner = 0; corner < 4; ++corner)
                read->GetPoint(read->GetCell(static_cast<vtkIdType>(order[i]))->GetPointId(corner),
                               p[corner]);
            vtkTetra::TetraCenter(p[0], p[1], p[2], p[3], centre);
            for (std::size_t axis = 0; axis < 3; ++axis)
                EXPECT_NEAR(worst["centre"][axis], centre[axis], 1e-9);
        }
    }
    for (char const* const carried : {"label", "grey"})
        EXPECT_EQ(CellValues(*written, carried), CellValues(*read, carried));
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

TEST_F(Ketmesh, WhatCannotBeMeasuredEndsInOneLine) {
    struct Case {
        std::vector<std::string> arguments;
        std::string reason;
    };
    std::string const hex = Data + "hex_matrix_fiber.vtu";
    std::string const out = Path("out/out.vtu");
    for (Case const& c : std::vector<Case>{
             {{"quality", hex}, "1952 hex8"},
             {{"check", Data + "wedge_beam14.vtu"}, "14 wedge6"},
             {{"grow", hex, "--below", "0", "-o", Path("out/out.vtp")}, "1952 hex8"},
             {{"repair", Head, "-o", out}, "no quadratic tetrahedra"},
             {{"quality", Head, "--metric", "JacobianDistortion", "-o", out}, "JacobianDistortion"},
             {{"quality", Head, "--metric", "scaledJacobien"}, "near it are ScaledJacobian"},
             {{"quality", Head, "--metric", "Volume,,Spheres"}, "\"\""},
             {{"quality", Head, "--width", "1e-9", "--metric", "Volume", "-o", out}, "10000"},
             {{"quality", Head, "--width", "1e-5"}, "10000"},
             {{"quality", Head, "--width", "nan"}, "--width"},
             {{"quality", Head, "--width", "0"}, "--width"},
             {{"quality", Head, "--partitions", "0"}, "--partitions"},
             {{"quality", Head, "--max-bound", "0"}, "--max-bound"},
             {{"quality", Head, "--below", "inf"}, "--below"},
             {{"quality", Head, "--below", "0", "--above", "1"}, "excludes"},
             {{"quality", Head, "--fail-on", "-1"}, "--fail-on"},
             {{"quality", Head, "--worst", "1.5"}, "--worst"},
             {{"quality", Head, "--threads", "0"}, "--threads"},
             {{"quality", Head, "--plot", Path("out/a.png")}, ".svg"},
             {{"quality", Head, "-o", Path("out/a.stl")}, ".vtu and .vtk"},
             {{"quality"}, "file is required"},
             {{"check", Head, "--tolerance", "-1"}, "--tolerance"},
             {{"repair", Head, "-o", out, "--min-ratio", "5", "--max-ratio", "2"}, "--min-ratio 5"},
             {{"repair", Head, "-o", out, "--min-alignment", "7"}, "no cosine"},
             {{"layers", Head, "--layers", "0"}, "--layers"},
             {{"grow", Head, "-o", Path("out/a.vtp")}, "--below or --above"},
             {{"grow", Head, "--metric", "all", "--below", "0", "-o", Path("out/a.vtp")}, "one metric"},
             {{"grow", Head, "--below", "0", "-o", Path("out/a.stl")}, ".vtp"},
             {{"grow", Head, "--below", "0", "-o", Path("out/a.vtp"), "--surface", Path("no.stl")},
              "no.stl"}}) {
        ExpectRefused(c.arguments, c.reason);
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
    EXPECT_NE(text.out.find("FluentOrthogonalQuality"), std::string::npos);
    Result const page = Run({"quality", "--list", "--markdown"});
    EXPECT_TRUE(page.out == Content(Data + "../docs/quality.md"))
        << "make docs/quality.md anew: ketmesh quality --list --markdown";
    EXPECT_EQ(RunJson({"quality", "--list"})["metrics"].size(), 33u);
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
        double derivatives[30];
        vtkQuadraticTetra::InterpolationDerivs(place.data(), derivatives);
        double jacobian[3][3] = {};
        for (std::size_t row = 0; row < 3; ++row)
            for (std::size_t node = 0; node < 10; ++node)
                for (std::size_t axis = 0; axis < 3; ++axis)
                    jacobian[row][axis] += derivatives[10 * row + node] * nodes[node][axis];
        double const determinant = vtkMath::Determinant3x3(jacobian[0], jacobian[1], jacobian[2]);
        smallest = std::min(smallest, determinant);
        largest = std::max(largest, determinant);
    }
    return smallest > 0.0 ? largest / smallest : -100.0;
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
    EXPECT_EQ(report["bad_after"], stay_bad);
    EXPECT_EQ(stay_bad, 0);
    EXPECT_GT(report["modified"], 0);
    EXPECT_GE(moved, report["modified"].get<int>()); // neighbours share nodes
    for (char const* const carried : {"label", "grey"})
        EXPECT_EQ(CellValues(*written, carried), CellValues(*read, carried));
}

// The faces of a mesh by their corners, with the elements that they belong to.
std::map<std::set<vtkIdType>, std::vector<vtkIdType>> FacesOf(vtkUnstructuredGrid& grid) {
    std::map<std::set<vtkIdType>, std::vector<vtkIdType>> faces;
    for (vtkIdType i = 0; i < grid.GetNumberOfCells(); ++i) {
        vtkIdList& ids = *grid.GetCell(i)->GetPointIds();
        for (int left_out = 0; left_out < 4; ++left_out) {
            std::set<vtkIdType> corners;
            for (int corner = 0; corner < 4; ++corner)
                if (corner != left_out)
                    corners.insert(ids.GetId(corner));
            faces[corners].push_back(i);
        }
    }
    return faces;
}

TEST_F(Ketmesh, LayersAreCountedFromTheBoundary) {
    auto const grid = ReadRounded("head_small_tet4.vtu");
    std::vector<double> expected(static_cast<std::size_t>(grid->GetNumberOfCells()));
    std::set<vtkIdType> nodes;
    for (auto const& [corners, elements] : FacesOf(*grid))
        if (elements.size() == 1)
            nodes.insert(corners.begin(), corners.end());
    Json layers = Json::array();
    for (int number = 1; number <= 3; ++number) {
        std::set<vtkIdType> next;
        int count = 0;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            vtkIdList& ids = *grid->GetCell(static_cast<vtkIdType>(i))->GetPointIds();
            if (expected[i] != 0.0 ||
                std::none_of(ids.begin(), ids.end(), [&](vtkIdType id) { return nodes.contains(id); }))
                continue;
            expected[i] = number;
            next.insert(ids.begin(), ids.end());
            ++count;
        }
        nodes = next;
        layers.push_back(count);
    }
    std::string const out = Path("out/layers.vtu");
    Json const report = RunJson({"layers", Head, "--layers", "3", "-o", out});
    EXPECT_EQ(CellValues(*ReadFile<vtkXMLUnstructuredGridReader>(out), "layer"), expected);
    double volume = report["inside"]["volume"];
    ASSERT_EQ(report["layers"].size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(report["layers"][i]["number"], i + 1);
        EXPECT_EQ(report["layers"][i]["elements"], layers[i]);
        volume += report["layers"][i]["volume"].get<double>();
    }
    EXPECT_EQ(report["elements_in_layers"].get<int>() + report["inside"]["elements"].get<int>(),
              grid->GetNumberOfCells());
    EXPECT_NEAR(volume, RunJson({"info", Head})["volume"], 1e-9 * volume);
}

TEST_F(Ketmesh, GrowMarksTheSurfaceAtBadElements) {
    auto const grid = ReadRounded("head_small_tet4.vtu");
    auto const faces = FacesOf(*grid);
    std::vector<double> const values = VtkQuality(*grid, VTK_QUALITY_SCALED_JACOBIAN);
    std::set<vtkIdType> bad;
    for (std::size_t i = 0; i < values.size(); ++i)
        if (values[i] < 0.2)
            bad.insert(static_cast<vtkIdType>(i));
    std::set<vtkIdType> grown = bad;
    for (auto const& [corners, elements] : faces)
        if (std::any_of(elements.begin(), elements.end(), [&](vtkIdType e) { return bad.contains(e); }))
            grown.insert(elements.begin(), elements.end());
    int marked = 0;
    double area = 0.0;
    for (auto const& [corners, elements] : faces)
        if (elements.size() == 1 && grown.contains(elements[0])) {
            double p[3][3];
            std::size_t i = 0;
            for (vtkIdType const corner : corners)
                grid->GetPoint(corner, p[i++]);
            ++marked;
            area += vtkTriangle::TriangleArea(p[0], p[1], p[2]);
        }
    EXPECT_GT(marked, 10);

    std::string const skin = Path("skin.vtp");
    std::string const out = Path("out/bad.vtp");
    ASSERT_EQ(Run({"surfaces", Head, "-o", skin}).status, 0);
    for (bool const with_surface : {false, true}) {
        std::vector<std::string> arguments = {"grow", Head, "--below", "0.2", "--rings", "1", "-o", out};
        if (with_surface)
            arguments.insert(arguments.end(), {"--surface", skin});
        Json const report = RunJson(arguments);
        EXPECT_EQ(report["bad"], bad.size());
        EXPECT_EQ(report["marked"], marked);
        EXPECT_NEAR(report["area"], area, 1e-9 * area);
        EXPECT_EQ(report["on_mesh"], report["triangles"]);
        auto const surface = ReadFile<vtkXMLPolyDataReader>(out);
        double marked_area = 0.0;
        for (vtkIdType i = 0; i < surface->GetNumberOfCells(); ++i)
            if (surface->GetCellData()->GetArray("bad")->GetTuple1(i) == 1.0)
                marked_area += dynamic_cast<vtkTriangle&>(*surface->GetCell(i)).ComputeArea();
        EXPECT_NEAR(marked_area, area, 1e-9 * area);
        EXPECT_NE(surface->GetFieldData()->GetAbstractArray("surface_names"), nullptr);
    }
    // A surface of another mesh.
    ASSERT_EQ(Run({"surfaces", Data + "wedge_beam14.vtu", "-o", skin}).status, 0);
    Result const elsewhere = Run({"grow", Head, "--below", "0.1", "--surface", skin, "-o", out});
    EXPECT_EQ(elsewhere.status, 0);
    EXPECT_NE(elsewhere.err.find("ketmesh: warning: "), std::string::npos) << elsewhere.err;
}

} // namespace
