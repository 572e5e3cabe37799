// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/FlatCells.h>

#include <KetSDK/MeshVTK/checks/GridCheck.h>
#include <KetSDK/MeshVTK/detail/CellKinds.h>
#include <KetSDK/MeshVTK/detail/RowsOfArrays.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkNew.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <map>
#include <vector>

namespace KetSDK::MeshVTK {

namespace {

bool IsFlat(unsigned char type) {
    switch (type) {
    case VTK_VERTEX:
    case VTK_POLY_VERTEX:
    case VTK_LINE:
    case VTK_POLY_LINE:
    case VTK_TRIANGLE:
    case VTK_TRIANGLE_STRIP:
    case VTK_POLYGON:
    case VTK_PIXEL:
    case VTK_QUAD:
    case VTK_QUADRATIC_EDGE:
    case VTK_QUADRATIC_TRIANGLE:
    case VTK_QUADRATIC_QUAD:
    case VTK_BIQUADRATIC_QUAD:
        return true;
    default:
        return false;
    }
}

// The cells that stay.
std::vector<vtkIdType> Rest(vtkUnsignedCharArray& types, std::map<unsigned char, vtkIdType>& skipped) {
    std::vector<vtkIdType> rest;
    for (vtkIdType i = 0; i < types.GetNumberOfValues(); ++i)
        if (IsFlat(types.GetValue(i)))
            ++skipped[types.GetValue(i)];
        else
            rest.push_back(i);
    return rest;
}

} // namespace

std::string SkipFlatCells(vtkUnstructuredGrid& grid) {
    if (!grid.GetCellTypesArray() || !grid.GetCells())
        return {};
    unsigned char const* const kinds = grid.GetCellTypesArray()->GetPointer(0);
    if (std::none_of(kinds, kinds + grid.GetCellTypesArray()->GetNumberOfValues(), IsFlat))
        return {};
    std::map<unsigned char, vtkIdType> skipped;
    std::vector<vtkIdType> const rest = Rest(*grid.GetCellTypesArray(), skipped);
    if (rest.empty() ||
        !Detail::AreOffsetsRising(*grid.GetCells(), grid.GetCellTypesArray()->GetNumberOfValues()))
        return {};
    vtkNew<vtkCellArray> cells;
    vtkNew<vtkUnsignedCharArray> types;
    for (vtkIdType const cell : rest) {
        vtkIdType count = 0;
        vtkIdType const* points = nullptr;
        grid.GetCells()->GetCellAtId(cell, count, points);
        cells->InsertNextCell(count, points);
        types->InsertNextValue(grid.GetCellTypesArray()->GetValue(cell));
    }
    vtkNew<vtkCellData> arrays;
    Detail::AddRows(*grid.GetCellData(), rest, *arrays);
    grid.SetCells(types, cells);
    grid.GetCellData()->ShallowCopy(arrays);
    std::string text;
    for (auto const& [type, count] : skipped)
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + Detail::NameOfCellType(type);
    return text;
}

} // namespace KetSDK::MeshVTK
