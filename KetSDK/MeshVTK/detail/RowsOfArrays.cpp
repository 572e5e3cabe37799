// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/detail/RowsOfArrays.h>

#include <vtkAbstractArray.h>
#include <vtkDataSetAttributes.h>
#include <vtkSmartPointer.h>

#include <cstddef>

namespace KetSDK::MeshVTK::Detail {

namespace {

vtkSmartPointer<vtkAbstractArray> RowsOf(vtkAbstractArray& source, std::vector<vtkIdType> const& rows) {
    auto const array = vtkSmartPointer<vtkAbstractArray>::Take(source.NewInstance());
    array->SetName(source.GetName());
    array->SetNumberOfComponents(source.GetNumberOfComponents());
    array->CopyComponentNames(&source);
    array->SetNumberOfTuples(static_cast<vtkIdType>(rows.size()));
    for (std::size_t i = 0; i < rows.size(); ++i)
        array->SetTuple(static_cast<vtkIdType>(i), rows[i], &source);
    return array;
}

} // namespace

void AddRows(vtkDataSetAttributes& source, std::vector<vtkIdType> const& rows, vtkDataSetAttributes& target) {
    int active[vtkDataSetAttributes::NUM_ATTRIBUTES];
    source.GetAttributeIndices(active);
    for (int i = 0; i < source.GetNumberOfArrays(); ++i) {
        if (source.GetArrayName(i) && target.HasArray(source.GetArrayName(i)))
            continue;
        int const index = target.AddArray(RowsOf(*source.GetAbstractArray(i), rows));
        for (int type = 0; type < vtkDataSetAttributes::NUM_ATTRIBUTES; ++type)
            if (active[type] == i)
                target.SetActiveAttribute(index, type);
    }
}

} // namespace KetSDK::MeshVTK::Detail
