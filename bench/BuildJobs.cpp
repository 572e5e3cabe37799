// SPDX-License-Identifier: BSD-3-Clause
// Building a mesh from plain numbers, and the memory that it takes.
#include "Jobs.h"
#include "KeptMemory.h"

#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <KetSDK/MeshVTK/MeshFromGrid.h>

namespace Bench {

void AddBuildJobs(Recipe const& recipe) {
    AddWay(
        recipe, "build", Ours, NothingToPrepare, [](Case& c) { return MakeMesh(c.elements); },
        [](Case&, auto const& mesh) { return std::optional<double>(mesh->NumberOfElements()); });
    AddWay(
        recipe, "build", "vtkUnstructuredGrid", NothingToPrepare,
        [](Case& c) { return MakeGrid(c.elements); },
        [](Case&, auto const& grid) { return std::optional<double>(grid->GetNumberOfCells()); });

    AddWay(
        recipe, "build_arrays", Ours, NothingToPrepare,
        [](Case& c) { return MakeMeshFromArrays(c.elements, IsParallel()); },
        [](Case&, auto const& mesh) { return std::optional<double>(mesh->NumberOfElements()); });
    AddWay(
        recipe, "build_arrays", "vtkCellArray::SetData", NothingToPrepare,
        [](Case& c) { return MakeGridFromArrays(c.elements); },
        [](Case&, auto const& grid) { return std::optional<double>(grid->GetNumberOfCells()); });
    // What a user of VTK pays for our mesh.
    AddWay(
        recipe, "mesh_from_grid", Ours, [](Case& c) { c.Grid(); },
        [](Case& c) {
            KetSDK::MeshVTK::MeshFromGridOptions options;
            options.parallel = IsParallel();
            return KetSDK::MeshVTK::MeshFromGrid(*c.Grid(), options, nullptr);
        },
        NoAnswer);
    AddWay(
        recipe, "grid_from_mesh", Ours, NothingToPrepare,
        [](Case& c) { return KetSDK::MeshVTK::GridFromMesh(c.Mesh(), {}, nullptr, IsParallel()); }, NoAnswer);

    AddMemory(recipe, "memory", Ours, [](Case& c) {
        double const before = HeapBytes();
        auto const mesh = MakeMesh(c.elements);
        return HeapBytes() - before;
    });
    // What the mesh says of itself, beside what the heap says.
    AddMemory(recipe, "memory_reported", Ours, [](Case& c) {
        c.ForgetNeighbors();
        return static_cast<double>(c.Mesh().MemoryUsed());
    });
    AddMemory(recipe, "memory", "vtkUnstructuredGrid", [](Case& c) {
        double const before = HeapBytes();
        auto const grid = MakeGrid(c.elements);
        return HeapBytes() - before;
    });
}

} // namespace Bench
