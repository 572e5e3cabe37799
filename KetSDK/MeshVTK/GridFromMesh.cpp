// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/GridFromMesh.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/detail/CellKinds.h>
#include <KetSDK/MeshVTK/detail/OwnArrays.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkFieldData.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

namespace KetSDK::MeshVTK {

namespace {

vtkNew<vtkPoints> MakePoints(MMeshBase const& mesh, LengthUnit unit) {
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    points->SetNumberOfPoints(mesh.NumberOfPoints());
    for (vtkIdType i = 0; i < mesh.NumberOfPoints(); ++i) {
        MMVector<double, 3> const p =
            mesh.GetRandomPoint(static_cast<std::uint64_t>(i))->GetPosition() / unit.millimetres;
        points->SetPoint(i, p[0], p[1], p[2]);
    }
    return points;
}

void SetCells(vtkUnstructuredGrid& grid, MMeshBase const& mesh) {
    vtkNew<vtkCellArray> cells;
    // Meshes number nodes in 32 bits, which is half the memory and half the file; the list of points of
    // ten-node tetrahedra alone can need more.
    if (mesh.NumberOfElements() <= std::numeric_limits<std::int32_t>::max() / int{Detail::MaxCellNodes})
        cells->Use32BitStorage();
    vtkNew<vtkUnsignedCharArray> types;
    types->SetNumberOfValues(mesh.NumberOfElements());
    std::array<vtkIdType, Detail::MaxCellNodes> ids{};
    vtkIdType cell = 0;
    for (MMeshElement const& e : mesh.Elements()) {
        unsigned char const nodes = e.GetNodeCount();
        unsigned char const type = Detail::CellTypeOfNodes(nodes);
        if (type == VTK_EMPTY_CELL)
            throw Error("element " + std::to_string(cell) + " has " + std::to_string(nodes) +
                        " nodes, for which there is no kind of cell");
        for (unsigned int i = 0; i < nodes; ++i)
            ids[i] = e.GetNode(i)->GetIndex();
        // VTK's wedge has the normal of its first triangle pointing outwards.
        if (type == VTK_WEDGE)
            std::swap_ranges(ids.begin(), ids.begin() + 3, ids.begin() + 3);
        cells->InsertNextCell(nodes, ids.data());
        types->SetValue(cell++, type);
    }
    grid.SetCells(types, cells);
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
                                                  vtkUnstructuredGrid* source) {
    auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    grid->SetPoints(MakePoints(mesh, unit));
    SetCells(*grid, mesh);
    if (source)
        ShareArrays(*grid, mesh, *source);
    Detail::AddOwnArrays(*grid, mesh);
    return grid;
}

} // namespace KetSDK::MeshVTK
