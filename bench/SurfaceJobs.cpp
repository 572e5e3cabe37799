// SPDX-License-Identifier: BSD-3-Clause
// The surface of the mesh, its single elements and its edges; what has to be known of neighbours is worked
// out anew each time.
#include "Jobs.h"

#include <KetSDK/Mesh/operators/MMeshConvertTetToGraphOperator.h>
#include <KetSDK/Mesh/operators/MMeshConvertToStlOperator.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshOperatorSurface.h>
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

std::unique_ptr<MStlBase> Extract(Case& c, bool interfaces) {
    auto surfaces = std::make_unique<MStlBase>();
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(c.mesh.get());
    extract.SetStl(surfaces.get());
    extract.SetExtractInterfacesBetweenSubVolumes(interfaces);
    extract.SetParallel(IsParallel());
    extract.Operate();
    return surfaces;
}

auto const TrianglesAreAnswer = [](Case&, auto const& filter) {
    return std::optional(static_cast<double>(filter->GetOutput()->GetNumberOfCells()));
};

constexpr double Shrink = 0.2; // part of the way to the centroid

std::unique_ptr<MStlBase> Explode(Case& c) {
    auto triangles = std::make_unique<MStlBase>();
    triangles->SetKeepNeighbourInfo(false);
    MMeshConvertToStlOperator convert;
    convert.SetMesh(c.mesh.get());
    convert.SetStl(triangles.get());
    convert.SetEpsilon(Shrink);
    convert.SetParallel(IsParallel());
    convert.Operate();
    return triangles;
}

template <typename SurfaceFilter>
vtkSmartPointer<SurfaceFilter> ExplodeGrid(Case& c) {
    vtkNew<vtkShrinkFilter> shrink;
    shrink->SetInputData(c.grid);
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
    MMeshConvertTetToGraphOperator convert(*c.mesh, *graphs);
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

} // namespace

void AddSurfaceJobs(Recipe const& recipe) {
    AddWay(
        recipe, "surface_exterior", Ours, ForgetNeighbors, [](Case& c) { return Extract(c, false); },
        [](Case&, auto const& surfaces) {
            return std::optional(static_cast<double>(surfaces->NumberOfTriangles()));
        });
    AddWay(
        recipe, "surface_exterior", "vtkGeometryFilter", ForgetNeighbors,
        [](Case& c) {
            auto filter = vtkSmartPointer<vtkGeometryFilter>::New();
            filter->SetInputData(c.grid);
            filter->FastModeOff();
            filter->Update();
            return filter;
        },
        TrianglesAreAnswer);
    AddWay(
        recipe, "surface_exterior", "vtkDataSetSurfaceFilter", ForgetNeighbors,
        [](Case& c) {
            auto filter = vtkSmartPointer<vtkDataSetSurfaceFilter>::New();
            filter->SetInputData(c.grid);
            filter->DelegationOff(); // otherwise it is vtkGeometryFilter once more
            filter->Update();
            return filter;
        },
        TrianglesAreAnswer);
    AddWay(
        recipe, "surface_with_interfaces", Ours, ForgetNeighbors, [](Case& c) { return Extract(c, true); },
        NoAnswer);
    AddWay(
        recipe, "boundary_masks", Ours, ForgetNeighbors,
        [](Case& c) {
            MMeshOperatorSurface surface;
            surface.SetMesh(c.mesh.get());
            surface.SetParallel(IsParallel());
            surface.Operate();
            return 0;
        },
        NoAnswer);
    AddWay(recipe, "explode", Ours, NothingToPrepare, Explode, [](Case&, auto const& triangles) {
        return std::optional(static_cast<double>(triangles->NumberOfTriangles()));
    });
    AddWay(recipe, "explode", "vtkShrinkFilter, vtkDataSetSurfaceFilter", NothingToPrepare,
           ExplodeGrid<vtkDataSetSurfaceFilter>, TrianglesAreAnswer);
    AddWay(recipe, "explode", "vtkShrinkFilter, vtkGeometryFilter", NothingToPrepare,
           ExplodeGrid<vtkGeometryFilter>, TrianglesAreAnswer);
    AddWay(
        recipe, "edges_all", Ours, NothingToPrepare, [](Case& c) { return Edges(c, false); },
        [](Case&, auto const& graphs) {
            return std::optional(static_cast<double>(CountEdgesOfMesh(*graphs)));
        });
    AddWay(
        recipe, "edges_all", "vtkExtractEdges", NothingToPrepare,
        [](Case& c) {
            auto filter = vtkSmartPointer<vtkExtractEdges>::New();
            filter->SetInputData(c.grid);
            filter->UseAllPointsOn(); // faster: it looks for no points at one place
            filter->Update();
            return filter;
        },
        TrianglesAreAnswer);
    AddWay(
        recipe, "edges_interior", Ours, ForgetNeighbors, [](Case& c) { return Edges(c, true); }, NoAnswer);
}

} // namespace Bench
