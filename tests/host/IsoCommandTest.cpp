// SPDX-License-Identifier: BSD-3-Clause
#include "KetmeshProgram.h"
#include "MeasuredSurface.h"

#include <vtkCellDataToPointData.h>
#include <vtkContourFilter.h>
#include <vtkDoubleArray.h>
#include <vtkFloatArray.h>
#include <vtkMath.h>
#include <vtkOBJReader.h>
#include <vtkPLYReader.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkSTLReader.h>
#include <vtkXMLPolyDataReader.h>

#include <cmath>
#include <limits>
#include <map>
#include <utility>

namespace {

// The head with arrays of points: the distance from a point inside, alone and as a component.
vtkSmartPointer<vtkUnstructuredGrid> HeadWithDistance() {
    auto grid = ReadGrid("head_small_tet4.vtu");
    double const* const bounds = grid->GetBounds();
    vtkNew<vtkFloatArray> distance;
    distance->SetName("distance");
    vtkNew<vtkDoubleArray> vectors;
    vectors->SetName("vectors");
    vectors->SetNumberOfComponents(3);
    for (vtkIdType i = 0; i < grid->GetNumberOfPoints(); ++i) {
        double p[3];
        double square = 0.0;
        grid->GetPoint(i, p);
        for (int k = 0; k < 3; ++k)
            square += std::pow(p[k] - 0.5 * (bounds[2 * k] + bounds[2 * k + 1]), 2);
        distance->InsertNextValue(static_cast<float>(std::sqrt(square)));
        vectors->InsertNextTuple3(0.0, std::sqrt(square), std::numeric_limits<double>::quiet_NaN());
    }
    grid->GetPointData()->AddArray(distance);
    grid->GetPointData()->AddArray(vectors);
    return grid;
}

vtkSmartPointer<vtkPolyData> Contour(vtkDataSet& data, char const* field, double level) {
    vtkNew<vtkContourFilter> contour;
    contour->SetInputData(&data);
    contour->SetInputArrayToProcess(0, 0, 0, vtkDataObject::FIELD_ASSOCIATION_POINTS, field);
    contour->SetOutputPointsPrecision(vtkAlgorithm::DOUBLE_PRECISION);
    contour->SetValue(0, level);
    contour->Update();
    return contour->GetOutput();
}

} // namespace

TEST_F(Ketmesh, IsosurfaceOfTheHeadIsThatOfVtk) {
    std::string const out = Path("out/iso.vtp");
    for (double const level : {-300.0, 100.0, 700.0}) {
        SCOPED_TRACE(level);
        Json const report =
            RunJson({"iso", Head, "--field", "grey", "--level", std::to_string(level), "-o", out});
        vtkNew<vtkCellDataToPointData> means;
        means->SetInputData(ReadGrid("head_small_tet4.vtu"));
        means->Update();
        vtkSmartPointer<vtkPolyData> const contour = Contour(*means->GetOutput(), "grey", level);
        Measured const vtk = MeasureAll(*contour);
        Measured const ours = MeasureAll(*ReadFile<vtkXMLPolyDataReader>(out));
        EXPECT_EQ(report["triangles"], contour->GetNumberOfCells());
        EXPECT_NEAR(ours.area, vtk.area, 1e-6 * vtk.area);
        EXPECT_NEAR(std::fabs(ours.enclosed), std::fabs(vtk.enclosed), 1e-6 * std::fabs(vtk.enclosed));
        EXPECT_NEAR(report["area"], ours.area, 1e-9 * ours.area);
        EXPECT_EQ(report["closed"], ours.IsClosed());
        EXPECT_EQ(report["enclosed_volume"].is_null(), !ours.IsClosed());
        EXPECT_EQ(report["from"], "cells");
    }
}

TEST_F(Ketmesh, IsosurfaceSaysWhatIsMissing) {
    // Everything in the file of a quadratic mesh is read through the corners.
    Result const empty = Run({"iso", Data + "head_small_tet10.vtu", "--field", "grey", "--level", "99999"});
    EXPECT_EQ(empty.status, 0);
    EXPECT_NE(empty.err.find("46924 ten-node elements are read through their corners"), std::string::npos);
    EXPECT_NE(empty.err.find("empty: at the nodes \"grey\" goes from -"), std::string::npos) << empty.err;
    // An empty surface is a file of every kind.
    std::map<std::string, vtkSmartPointer<vtkPolyData> (*)(std::string const&)> const formats = {
        {".vtp", ReadFile<vtkXMLPolyDataReader>},
        {".stl", ReadFile<vtkSTLReader>},
        {".ply", ReadFile<vtkPLYReader>},
        {".obj", ReadFile<vtkOBJReader>}};
    for (auto const& [ending, read] : formats) {
        std::string const out = Path("out/empty" + ending);
        EXPECT_EQ(Run({"iso", Head, "--field", "grey", "--level", "99999", "-o", out}).status, 0) << ending;
        ASSERT_TRUE(fs::exists(out));
        EXPECT_EQ(read(out)->GetNumberOfCells(), 0);
    }
    // Where the field has no value, there is no surface.
    auto const grid = HeadWithDistance();
    vtkDataArray& distance = *grid->GetPointData()->GetArray("distance");
    vtkIdType nodes = 0;
    for (vtkIdType i = 0; i < grid->GetNumberOfPoints(); ++i)
        if (grid->GetPoint(i)[0] > grid->GetCenter()[0]) {
            distance.SetComponent(i, 0, std::numeric_limits<double>::infinity());
            ++nodes;
        }
    WriteGrid(Path("half.vtu"), *grid);
    Result const half = Run({"iso", Path("half.vtu"), "--field", "distance", "--level", "30", "--json"});
    EXPECT_EQ(half.status, 0);
    EXPECT_NE(half.err.find(std::to_string(nodes) + " nodes have no value"), std::string::npos) << half.err;
    Json const report = Json::parse(half.out);
    EXPECT_EQ(report["nodes_without_value"], nodes);
    EXPECT_FALSE(report["closed"]);
    EXPECT_LT(report["area"], 2.0 * vtkMath::Pi() * 30.0 * 30.0);
    EXPECT_GT(report["area"], 0.7 * 2.0 * vtkMath::Pi() * 30.0 * 30.0);
}
