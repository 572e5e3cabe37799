// SPDX-License-Identifier: BSD-3-Clause
// Which element lies across a face: preparing to answer, the memory for it, and answering.
#include "Jobs.h"
#include "KeptMemory.h"

#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>

#include <vtkIdList.h>
#include <vtkNew.h>

namespace Bench {
namespace {

void Enable(Case& c) {
    c.Mesh().GetNeighborsInfo()->Enable(IsParallel());
}
void BuildLinks(Case& c) {
    c.Grid()->BuildLinks();
}
void Forget(Case& c) {
    c.ForgetNeighbors();
}

// Number of faces that have a neighbour, of all elements.
std::int64_t CountNeighbors(Case& c) {
    MMeshBaseNeighborsInfo& neighbors = *c.Mesh().GetNeighborsInfo();
    std::int64_t count = 0;
    for (MMeshElement& element : c.Mesh().Elements())
        for (unsigned int f = 0; f < 4; ++f)
            count += neighbors.GetNeighbor(&element, f) != nullptr;
    return count;
}

std::int64_t CountNeighborsInGrid(Case& c) {
    vtkNew<vtkIdList> found;
    std::int64_t count = 0;
    for (vtkIdType cell = 0; cell < c.Grid()->GetNumberOfCells(); ++cell) {
        vtkIdType n = 0;
        vtkIdType const* ids = nullptr;
        c.Grid()->GetCellPoints(cell, n, ids);
        for (auto const& face : MMeshElementDescriptor::descr_triangle_point) {
            vtkIdType const corners[3] = {ids[face[0]], ids[face[1]], ids[face[2]]};
            c.Grid()->GetCellNeighbors(cell, 3, corners, found);
            count += found->GetNumberOfIds() > 0;
        }
    }
    return count;
}

auto const CountIsAnswer = [](Case&, std::int64_t count) {
    return std::optional<double>(static_cast<double>(count));
};

} // namespace

void AddNeighborJobs(Recipe const& recipe) {
    auto const with_nothing_to_return = [](void (*work)(Case&)) {
        return [work](Case& c) {
            work(c);
            return 0;
        };
    };
    AddWay(recipe, "neighbors_enable", Ours, Forget, with_nothing_to_return(Enable), NoAnswer);
    AddWay(recipe, "neighbors_enable", "BuildLinks", Forget, with_nothing_to_return(BuildLinks), NoAnswer);

    AddMemory(recipe, "memory_neighbors", Ours, [](Case& c) {
        Forget(c);
        double const before = HeapBytes();
        Enable(c);
        return HeapBytes() - before;
    });
    AddMemory(recipe, "memory_neighbors", "BuildLinks", [](Case& c) {
        Forget(c);
        double const before = HeapBytes();
        BuildLinks(c);
        return HeapBytes() - before;
    });

    AddWay(recipe, "neighbors_ask_all", Ours, Enable, CountNeighbors, CountIsAnswer);
    AddWay(recipe, "neighbors_ask_all", "GetCellNeighbors", BuildLinks, CountNeighborsInGrid, CountIsAnswer);
}

} // namespace Bench
