#include <KetSDK/MeshVTK/PartArrays.h>

#include <KetSDK/MeshVTK/Error.h>

#include <vtkAbstractArray.h>
#include <vtkCellData.h>
#include <vtkDataArray.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkSmartPointer.h>
#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <cstddef>
#include <string>

namespace KetSDK::MeshVTK {

namespace {

// The arrays of a part's cells or points, and the numbers of those that count.
struct PartOfArrays {
    vtkDataSetAttributes* arrays;
    std::vector<vtkIdType> const* numbers;
};
using Parts = std::vector<PartOfArrays>;

// An empty array that takes the values of all; null when there is none.
vtkSmartPointer<vtkAbstractArray> MakeArrayFor(std::vector<vtkAbstractArray*> const& arrays) {
    vtkAbstractArray* const first = arrays.front();
    auto const is_number = [](vtkAbstractArray* a) { return vtkDataArray::SafeDownCast(a) != nullptr; };
    bool const same_type = std::ranges::all_of(
        arrays, [first](vtkAbstractArray* a) { return a->GetDataType() == first->GetDataType(); });
    if (!same_type && !std::ranges::all_of(arrays, is_number))
        return nullptr;
    vtkSmartPointer<vtkAbstractArray> array;
    if (same_type)
        array.TakeReference(first->NewInstance());
    else
        array = vtkSmartPointer<vtkDoubleArray>::New();
    array->SetName(first->GetName());
    array->SetNumberOfComponents(first->GetNumberOfComponents());
    array->CopyComponentNames(first);
    return array;
}

void AddArray(vtkDataSetAttributes& target, vtkIdType count, Parts const& parts, char const* name) {
    std::vector<vtkAbstractArray*> sources;
    for (PartOfArrays const& part : parts) {
        vtkAbstractArray* const array = part.arrays->GetAbstractArray(name);
        if (!array || array->GetNumberOfComponents() !=
                          parts.front().arrays->GetAbstractArray(name)->GetNumberOfComponents())
            return;
        sources.push_back(array);
    }
    auto const array = MakeArrayFor(sources);
    if (!array)
        return;
    array->SetNumberOfTuples(count);
    vtkIdType next = 0;
    for (std::size_t i = 0; i < parts.size(); ++i)
        for (vtkIdType const number : *parts[i].numbers)
            array->SetTuple(next++, number, sources[i]);
    target.AddArray(array);
}

void AddArrays(vtkDataSetAttributes& target, vtkIdType count, Parts const& parts, char const* what) {
    std::size_t numbers = 0;
    for (PartOfArrays const& part : parts)
        numbers += part.numbers->size();
    if (numbers != static_cast<std::size_t>(count))
        throw Error("the parts of the grid have " + std::to_string(numbers) + " " + what + ", the grid " +
                    std::to_string(count));
    vtkDataSetAttributes& first = *parts.front().arrays;
    for (int i = 0; i < first.GetNumberOfArrays(); ++i)
        if (char const* const name = first.GetArrayName(i); name && !target.HasArray(name))
            AddArray(target, count, parts, name);
    for (int type = 0; type < vtkDataSetAttributes::NUM_ATTRIBUTES; ++type)
        if (vtkAbstractArray* const active = first.GetAbstractAttribute(type); active && active->GetName())
            target.SetActiveAttribute(active->GetName(), type);
}

} // namespace

void AddPartArrays(vtkUnstructuredGrid& grid, std::vector<GridPart> const& parts) {
    Parts cells, points;
    for (GridPart const& part : parts) {
        cells.push_back({part.grid->GetCellData(), &part.cells});
        points.push_back({part.grid->GetPointData(), &part.points});
    }
    AddArrays(*grid.GetCellData(), grid.GetNumberOfCells(), cells, "cells");
    AddArrays(*grid.GetPointData(), grid.GetNumberOfPoints(), points, "points");
    vtkFieldData& fields = *parts.front().grid->GetFieldData();
    for (int i = 0; i < fields.GetNumberOfArrays(); ++i)
        if (char const* const name = fields.GetArrayName(i); name && !grid.GetFieldData()->HasArray(name))
            grid.GetFieldData()->AddArray(fields.GetAbstractArray(i));
}

void AddCellArraysOf(vtkUnstructuredGrid& grid, std::vector<vtkIdType> const& cells, vtkPolyData& surface) {
    AddArrays(*surface.GetCellData(), surface.GetNumberOfCells(), {{grid.GetCellData(), &cells}}, "cells");
}

} // namespace KetSDK::MeshVTK
