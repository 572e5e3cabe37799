// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/GridFromMesh.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/detail/CellKinds.h>
#include <KetSDK/MeshVTK/detail/OwnArrays.h>
#include <KetSDK/Support/ParallelWork.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkTypeInt32Array.h>
#include <vtkTypeInt64Array.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

namespace KetSDK::MeshVTK {

namespace {

vtkNew<vtkPoints> MakePoints(MMeshBase const& mesh, LengthUnit unit, bool parallel) {
    vtkNew<vtkDoubleArray> coordinates;
    coordinates->SetNumberOfComponents(3);
    coordinates->SetNumberOfTuples(mesh.NumberOfPoints());
    double* const values = coordinates->GetPointer(0);
    Support::ComputeSteps({.items = static_cast<std::uint64_t>(mesh.NumberOfPoints()),
                           .step = MMeshPointContainer::NodesPerBlock,
                           .parallel = parallel},
                          [&](std::uint64_t first, std::uint64_t last) {
                              for (std::uint64_t i = first; i < last; ++i) {
                                  MMVector<double, 3> const p =
                                      mesh.GetRandomPoint(i)->GetPosition() / unit.millimetres;
                                  for (std::size_t axis = 0; axis < 3; ++axis)
                                      values[3 * i + axis] = p[axis];
                              }
                          });
    vtkNew<vtkPoints> points;
    points->SetData(coordinates);
    return points;
}

// Where the points of the cells begin, and their types, which are checked.
template <typename Number>
void FillOffsets(MMeshBase const& mesh, Number* offsets, unsigned char* types) {
    std::uint64_t cell = 0;
    Number end = 0;
    for (MMeshElement const& e : mesh.Elements()) {
        unsigned char const nodes = e.GetNodeCount();
        types[cell] = Detail::CellTypeOfNodes(nodes);
        if (types[cell] == VTK_EMPTY_CELL)
            throw Error("element " + std::to_string(cell) + " has " + std::to_string(nodes) +
                        " nodes, for which there is no kind of cell");
        offsets[cell++] = end;
        end += nodes;
    }
    offsets[cell] = end;
}

template <typename Array>
void SetCells(vtkUnstructuredGrid& grid, MMeshBase const& mesh, bool parallel) {
    std::uint64_t const count = mesh.Elements().GetNumElements();
    vtkNew<vtkUnsignedCharArray> types;
    types->SetNumberOfValues(static_cast<vtkIdType>(count));
    vtkNew<Array> offsets;
    offsets->SetNumberOfValues(static_cast<vtkIdType>(count + 1));
    auto const* const begin = offsets->GetPointer(0);
    FillOffsets(mesh, offsets->GetPointer(0), types->GetPointer(0));
    vtkNew<Array> points;
    points->SetNumberOfValues(static_cast<vtkIdType>(begin[count]));
    auto* const numbers = points->GetPointer(0);
    auto const fill = [&](MMeshElement const& e, std::uint64_t cell) {
        auto* const ids = numbers + begin[cell];
        unsigned char const nodes = e.GetNodeCount();
        for (unsigned int i = 0; i < nodes; ++i)
            ids[i] = e.GetNode(i)->GetIndex();
        // VTK's wedge has the normal of its first triangle pointing outwards.
        if (nodes == 6)
            std::swap_ranges(ids, ids + 3, ids + 3);
    };
    Support::ComputeSteps({.items = count, .step = 8192, .parallel = parallel},
                          [&](std::uint64_t first, std::uint64_t last) {
                              mesh.Elements().ForEachWithNodes(first, last, fill);
                          });
    vtkNew<vtkCellArray> cells;
    cells->SetData(offsets.GetPointer(), points.GetPointer());
    grid.SetCells(types, cells);
}

void SetCells(vtkUnstructuredGrid& grid, MMeshBase const& mesh, bool parallel) {
    // Meshes number nodes in 32 bits, which is half the memory and half the file; the list of points of
    // ten-node tetrahedra alone can need more.
    if (mesh.NumberOfElements() <= std::numeric_limits<std::int32_t>::max() / int{Detail::MaxCellNodes})
        SetCells<vtkTypeInt32Array>(grid, mesh, parallel);
    else
        SetCells<vtkTypeInt64Array>(grid, mesh, parallel);
}

// Takes over the source's arrays. What the mesh itself carries is left out: the mesh knows better.
void ShareArrays(vtkUnstructuredGrid& grid, MMeshBase const& mesh, vtkUnstructuredGrid& source) {
    if (source.GetNumberOfCells() != mesh.NumberOfElements() ||
        source.GetNumberOfPoints() != mesh.NumberOfPoints())
        throw Error("the grid whose arrays should be kept has " + std::to_string(source.GetNumberOfCells()) +
                    " cells and " + std::to_string(source.GetNumberOfPoints()) + " points, the mesh " +
                    std::to_string(mesh.NumberOfElements()) + " elements and " +
                    std::to_string(mesh.NumberOfPoints()) + " nodes");
    auto const arrays = ArraysBesideMesh(mesh, source);
    grid.GetCellData()->ShallowCopy(arrays->GetCellData());
    grid.GetPointData()->ShallowCopy(arrays->GetPointData());
    grid.GetFieldData()->ShallowCopy(arrays->GetFieldData());
}

} // namespace

vtkSmartPointer<vtkUnstructuredGrid> ArraysBesideMesh(MMeshBase const& mesh, vtkUnstructuredGrid& grid) {
    auto arrays = vtkSmartPointer<vtkUnstructuredGrid>::New();
    arrays->GetCellData()->ShallowCopy(grid.GetCellData());
    arrays->GetPointData()->ShallowCopy(grid.GetPointData());
    arrays->GetFieldData()->ShallowCopy(grid.GetFieldData());
    Detail::RemoveOwnArrays(*arrays, mesh);
    return arrays;
}

vtkSmartPointer<vtkUnstructuredGrid> GridFromMesh(MMeshBase const& mesh, LengthUnit unit,
                                                  vtkUnstructuredGrid* source, bool parallel) {
    auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    grid->SetPoints(MakePoints(mesh, unit, parallel));
    SetCells(*grid, mesh, parallel);
    if (source)
        ShareArrays(*grid, mesh, *source);
    Detail::AddOwnArrays(*grid, mesh);
    return grid;
}

} // namespace KetSDK::MeshVTK
