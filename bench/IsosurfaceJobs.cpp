// SPDX-License-Identifier: BSD-3-Clause
// A surface of many sheets, of one field at the nodes.
#include "Jobs.h"

#include <KetSDK/Mesh/operators/MMeshIsosurfaceOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkContour3DLinearGrid.h>
#include <vtkContourFilter.h>
#include <vtkContourGrid.h>
#include <vtkDoubleArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>

#include <cmath>
#include <memory>
#include <type_traits>

namespace Bench {
namespace {

// The field at every node, for us and for VTK.
struct Field {
    std::unique_ptr<MDataMask<MMeshPoint, double>> values;
    vtkSmartPointer<vtkUnstructuredGrid> grid;
};

// A gyroid with three periods along the longest side: the surface crosses about as many elements as one
// of bone does in a head. It is shifted off the nodes of a regular lattice: where it passes through a node,
// VTK leaves out the triangles that have no area.
double ValueAt(Case& c, MMeshPoint const& p) {
    auto const& box = c.Mesh().GetBoundingBox();
    double longest = 0.0;
    for (std::size_t i = 0; i < 3; ++i)
        longest = std::fmax(longest, static_cast<double>(box.GetMax()[i]) - box.GetMin()[i]);
    double const scale = 6.0 * std::acos(-1.0) / longest;
    double const x = scale * p.x + 0.1;
    double const y = scale * p.y + 0.2;
    double const z = scale * p.z + 0.3;
    return std::sin(x) * std::cos(y) + std::sin(y) * std::cos(z) + std::sin(z) * std::cos(x);
}

void MakeField(Case& c, Field& field) {
    field.values = std::make_unique<MDataMask<MMeshPoint, double>>(0.0);
    c.Mesh().GetPointMasks()->RegisterMask(field.values.get());
    vtkNew<vtkDoubleArray> array;
    array->SetName("field");
    for (auto node = c.Mesh().BeginPoint(); node != c.Mesh().EndPoint(); ++node) {
        field.values->SetValue(*node, ValueAt(c, *node));
        array->InsertNextValue(field.values->GetValue(*node));
    }
    field.grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    field.grid->ShallowCopy(c.Grid());
    field.grid->GetPointData()->SetScalars(array);
}

std::unique_ptr<MStlBase> Extract(Case& c, Field const& field) {
    auto surface = std::make_unique<MStlBase>();
    MMeshIsosurfaceOperator iso;
    iso.SetMesh(&c.Mesh());
    iso.SetNodesMask(field.values.get());
    iso.SetIsoSurface(surface.get());
    iso.SetParallel(IsParallel());
    iso.Operate();
    return surface;
}

// Only what we do as well: points that are shared, no normals.
template <typename Filter>
vtkSmartPointer<Filter> Contour(Field const& field) {
    auto filter = vtkSmartPointer<Filter>::New();
    filter->SetInputData(field.grid);
    filter->SetValue(0, 0.0);
    filter->ComputeNormalsOff();
    filter->SetOutputPointsPrecision(vtkAlgorithm::DOUBLE_PRECISION);
    if constexpr (std::is_same_v<Filter, vtkContour3DLinearGrid>) {
        filter->MergePointsOn();
        filter->SetSequentialProcessing(!IsParallel());
    }
    filter->Update();
    return filter;
}

template <typename Filter>
void AddVtkWay(Recipe const& recipe, std::shared_ptr<Field> const& field, char const* name) {
    AddWay(
        recipe, "isosurface", name, [field](Case& c) { MakeField(c, *field); },
        [field](Case&) { return Contour<Filter>(*field); },
        [field](Case&, auto const& filter) {
            *field = {}; // as large as a mesh
            auto& surface = *vtkPolyData::SafeDownCast(filter->GetOutputDataObject(0));
            return std::optional(static_cast<double>(surface.GetNumberOfCells()));
        });
}

} // namespace

void AddIsosurfaceJobs(Recipe const& recipe) {
    auto const field = std::make_shared<Field>();
    AddWay(
        recipe, "isosurface", Ours, [field](Case& c) { MakeField(c, *field); },
        [field](Case& c) { return Extract(c, *field); },
        [field](Case&, auto const& surface) {
            *field = {};
            return std::optional(static_cast<double>(surface->NumberOfTriangles()));
        });
    AddVtkWay<vtkContourFilter>(recipe, field, "vtkContourFilter");
    AddVtkWay<vtkContourGrid>(recipe, field, "vtkContourGrid");
    AddVtkWay<vtkContour3DLinearGrid>(recipe, field, "vtkContour3DLinearGrid");
}

} // namespace Bench
