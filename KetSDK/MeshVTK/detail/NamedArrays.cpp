// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/detail/NamedArrays.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/MeshVTK/detail/ArrayCoding.h>
#include <KetSDK/MeshVTK/detail/OwnArrays.h>

#include <vtkAbstractArray.h>
#include <vtkCellData.h>
#include <vtkPointData.h>
#include <vtkUnstructuredGrid.h>

namespace KetSDK::MeshVTK::Detail {

namespace {

void AddArray(vtkUnstructuredGrid& grid, MMeshArray const& array) {
    MMeshArray::Place const place = PlaceOfValues(array);
    ArrayRoom room(0);
    if (place == MMeshArray::OnNodes)
        grid.GetPointData()->AddArray(ArrayToVtk(array, room, false));
    else if (place == MMeshArray::OnElements)
        grid.GetCellData()->AddArray(ArrayToVtk(array, room, false));
}

} // namespace

vtkSmartPointer<vtkUnstructuredGrid> ArraysNamed(MMeshBase const& mesh, std::vector<MMeshArray> const& arrays,
                                                 std::string const& name) {
    auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    for (MMeshArray const& array : arrays)
        if (ToUtf8(array.name) == name)
            AddArray(*grid, array);
    AddOwnArrays(*grid, mesh, name);
    if (grid->GetPointData()->HasArray(name.c_str()) || grid->GetCellData()->HasArray(name.c_str()))
        return grid;
    for (MMeshArray const& array : arrays)
        AddArray(*grid, array);
    ArrayRoom room(0);
    AddOwnArrays(*grid, mesh, room, false);
    return grid;
}

} // namespace KetSDK::MeshVTK::Detail
