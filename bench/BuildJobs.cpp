// SPDX-License-Identifier: BSD-3-Clause
// Building a mesh from plain numbers, and the memory that it takes.
#include "Jobs.h"

namespace Bench {

void AddBuildJobs(Recipe const& recipe) {
    AddWay(
        recipe, "build", Ours, NothingToPrepare, [](Case& c) { return MakeMesh(c.tetrahedra); },
        [](Case&, auto const& mesh) { return std::optional<double>(mesh->NumberOfElements()); });
    AddWay(
        recipe, "build", "vtkUnstructuredGrid", NothingToPrepare,
        [](Case& c) { return MakeGrid(c.tetrahedra); },
        [](Case&, auto const& grid) { return std::optional<double>(grid->GetNumberOfCells()); });

    AddMemory(recipe, "memory", Ours, [](Case& c) {
        double const before = HeapBytes();
        auto const mesh = MakeMesh(c.tetrahedra);
        return HeapBytes() - before;
    });
    // What the mesh says of itself, beside what the heap says.
    AddMemory(recipe, "memory_reported", Ours, [](Case& c) {
        c.ForgetNeighbors();
        return static_cast<double>(c.mesh->MemoryUsed());
    });
    AddMemory(recipe, "memory", "vtkUnstructuredGrid", [](Case& c) {
        double const before = HeapBytes();
        auto const grid = MakeGrid(c.tetrahedra);
        return HeapBytes() - before;
    });
}

} // namespace Bench
