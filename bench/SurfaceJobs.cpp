// The surface of the mesh; what has to be known of neighbours is worked out anew each time.
#include "Jobs.h"

#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkDataSetSurfaceFilter.h>
#include <vtkGeometryFilter.h>
#include <vtkPolyData.h>

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
    extract.Operate();
    return surfaces;
}

auto const TrianglesAreAnswer = [](Case&, auto const& filter) {
    return std::optional(static_cast<double>(filter->GetOutput()->GetNumberOfCells()));
};

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
}

} // namespace Bench
