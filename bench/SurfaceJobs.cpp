// SPDX-License-Identifier: BSD-3-Clause
// The surface of the mesh, its single elements and its edges; what has to be known of neighbours is worked
// out anew each time.
#include "Jobs.h"

#include <KetSDK/Mesh/operators/MMeshConvertTetToGraphOperator.h>
#include <KetSDK/Mesh/operators/MMeshConvertToStlOperator.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSurface.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>
#include <KetSDK/MeshVTK/PolyDataFromSurface.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkDataSetSurfaceFilter.h>
#include <vtkExtractEdges.h>
#include <vtkGeometryFilter.h>
#include <vtkPolyData.h>
#include <vtkShrinkFilter.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace Bench {
namespace {

void ForgetNeighbors(Case& c) {
    c.ForgetNeighbors();
}

std::unique_ptr<MStlBase> Extract(MMeshBase& mesh, bool interfaces) {
    auto surfaces = std::make_unique<MStlBase>();
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&mesh);
    extract.SetStl(surfaces.get());
    extract.SetExtractInterfacesBetweenSubVolumes(interfaces);
    extract.SetParallel(IsParallel());
    extract.Operate();
    return surfaces;
}

// What it takes of someone who has a grid and wants polygons: there and back again.
vtkSmartPointer<vtkPolyData> ExtractOfGrid(Case& c) {
    KetSDK::MeshVTK::MeshFromGridOptions options;
    options.parallel = IsParallel();
    auto const mesh = KetSDK::MeshVTK::MeshFromGrid(*c.Grid(), options, nullptr);
    return KetSDK::MeshVTK::PolyDataFromSurfaces(*Extract(*mesh, false), options.unit);
}

auto const TrianglesAreAnswer = [](Case&, auto const& filter) {
    return std::optional(static_cast<double>(filter->GetOutput()->GetNumberOfCells()));
};

constexpr double Shrink = 0.2; // part of the way to the centroid

std::unique_ptr<MStlBase> Explode(Case& c) {
    auto triangles = std::make_unique<MStlBase>();
    triangles->SetKeepNeighbourInfo(false);
    MMeshConvertToStlOperator convert;
    convert.SetMesh(&c.Mesh());
    convert.SetStl(triangles.get());
    convert.SetEpsilon(Shrink);
    convert.SetParallel(IsParallel());
    convert.Operate();
    return triangles;
}

template <typename SurfaceFilter>
vtkSmartPointer<SurfaceFilter> ExplodeGrid(Case& c) {
    vtkNew<vtkShrinkFilter> shrink;
    shrink->SetInputData(c.Grid());
    shrink->SetShrinkFactor(1.0 - Shrink);
    auto surface = vtkSmartPointer<SurfaceFilter>::New();
    surface->SetInputConnection(shrink->GetOutputPort());
    if constexpr (std::is_same_v<SurfaceFilter, vtkGeometryFilter>)
        surface->FastModeOff();
    else
        surface->DelegationOff();
    surface->Update();
    return surface;
}

std::unique_ptr<MStlFeature> Edges(Case& c, bool only_interior) {
    auto graphs = std::make_unique<MStlFeature>();
    MMeshConvertTetToGraphOperator convert(c.Mesh(), *graphs);
    convert.SetOnlyInteriorEdges(only_interior);
    convert.SetParallel(IsParallel());
    convert.Operate();
    return graphs;
}

// Where sub-volumes meet, each has the edges; VTK knows one mesh only.
std::size_t CountEdgesOfMesh(MStlFeature const& graphs) {
    using Position = std::array<MLong, 3>;
    auto const position = [](MStlPoint const& p) { return Position{p.GetX(), p.GetY(), p.GetZ()}; };
    std::vector<std::pair<Position, Position>> edges;
    for (MStlGraph const& graph : graphs.Graphs())
        for (MStlEdge const& edge : graph.Edges())
            edges.push_back(std::minmax({position(*edge.GetPoint(0)), position(*edge.GetPoint(1))}));
    std::ranges::sort(edges);
    return static_cast<std::size_t>(std::unique(edges.begin(), edges.end()) - edges.begin());
}

template <typename SurfaceFilter>
void AddFilter(Recipe const& recipe, char const* job, char const* name) {
    AddWay(
        recipe, job, name, ForgetNeighbors,
        [](Case& c) {
            auto filter = vtkSmartPointer<SurfaceFilter>::New();
            filter->SetInputData(c.Grid());
            if constexpr (std::is_same_v<SurfaceFilter, vtkGeometryFilter>)
                filter->FastModeOff();
            else
                filter->DelegationOff(); // otherwise it is vtkGeometryFilter once more
            filter->Update();
            return filter;
        },
        TrianglesAreAnswer);
}

void AddFilters(Recipe const& recipe, char const* job) {
    AddFilter<vtkGeometryFilter>(recipe, job, "vtkGeometryFilter");
    AddFilter<vtkDataSetSurfaceFilter>(recipe, job, "vtkDataSetSurfaceFilter");
}

void AddExplosion(Recipe const& recipe) {
    AddWay(recipe, "explode", Ours, NothingToPrepare, Explode, [](Case&, auto const& triangles) {
        return std::optional(static_cast<double>(triangles->NumberOfTriangles()));
    });
    AddWay(recipe, "explode", "vtkShrinkFilter, vtkDataSetSurfaceFilter", NothingToPrepare,
           ExplodeGrid<vtkDataSetSurfaceFilter>, TrianglesAreAnswer);
    AddWay(recipe, "explode", "vtkShrinkFilter, vtkGeometryFilter", NothingToPrepare,
           ExplodeGrid<vtkGeometryFilter>, TrianglesAreAnswer);
}

void AddEdges(Recipe const& recipe) {
    AddWay(
        recipe, "edges_all", Ours, NothingToPrepare, [](Case& c) { return Edges(c, false); },
        [](Case&, auto const& graphs) {
            return std::optional(static_cast<double>(CountEdgesOfMesh(*graphs)));
        });
    AddWay(
        recipe, "edges_all", "vtkExtractEdges", NothingToPrepare,
        [](Case& c) {
            auto filter = vtkSmartPointer<vtkExtractEdges>::New();
            filter->SetInputData(c.Grid());
            filter->UseAllPointsOn(); // faster: it looks for no points at one position
            filter->Update();
            return filter;
        },
        TrianglesAreAnswer);
    AddWay(
        recipe, "edges_interior", Ours, ForgetNeighbors, [](Case& c) { return Edges(c, true); }, NoAnswer);
}

} // namespace

void AddSurfaceJobs(Recipe const& recipe) {
    AddWay(
        recipe, "surface_exterior", Ours, ForgetNeighbors, [](Case& c) { return Extract(c.Mesh(), false); },
        [](Case&, auto const& surfaces) {
            return std::optional(static_cast<double>(surfaces->NumberOfTriangles()));
        });
    AddFilters(recipe, "surface_exterior");
    AddWay(
        recipe, "surface_of_grid", Ours, [](Case& c) { c.Grid(); }, ExtractOfGrid,
        [](Case&, auto const& surface) {
            return std::optional(static_cast<double>(surface->GetNumberOfCells()));
        });
    AddFilters(recipe, "surface_of_grid");
    AddWay(
        recipe, "surface_with_interfaces", Ours, ForgetNeighbors,
        [](Case& c) { return Extract(c.Mesh(), true); }, NoAnswer);
    AddWay(
        recipe, "boundary_masks", Ours, ForgetNeighbors,
        [](Case& c) {
            MMeshOperatorSurface surface;
            surface.SetMesh(&c.Mesh());
            surface.SetParallel(IsParallel());
            surface.Operate();
            return 0;
        },
        NoAnswer);
    if (!recipe.IsOfLinearTetrahedra())
        return;
    AddExplosion(recipe);
    AddEdges(recipe);
}

} // namespace Bench
