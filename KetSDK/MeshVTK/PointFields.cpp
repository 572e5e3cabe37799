// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/PointFields.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/Text.h>

#include <vtkDataArray.h>
#include <vtkPointData.h>
#include <vtkUnstructuredGrid.h>

#include <cstdint>
#include <limits>
#include <string>

namespace KetSDK::MeshVTK {

namespace {

using Field = MMeshNamedScalarMaskPoints;

// The array when it can be a field; null otherwise.
vtkDataArray* AsField(vtkDataSetAttributes& arrays, int index) {
    vtkDataArray* const array = arrays.GetArray(index); // null when it holds no numbers
    bool const is_field = array && array->GetName() && array->GetNumberOfComponents() == 1 &&
                          (array->GetDataType() == VTK_FLOAT || array->GetDataType() == VTK_DOUBLE);
    return is_field ? array : nullptr;
}

} // namespace

std::vector<std::unique_ptr<Field>> PointFieldsFromGrid(MMeshBase& mesh, vtkUnstructuredGrid& grid) {
    if (grid.GetNumberOfPoints() != mesh.NumberOfPoints())
        throw Error("the grid has " + std::to_string(grid.GetNumberOfPoints()) + " points, the mesh " +
                    std::to_string(mesh.NumberOfPoints()) + " nodes");
    std::vector<std::unique_ptr<Field>> fields;
    vtkPointData& arrays = *grid.GetPointData();
    for (int index = 0; index < arrays.GetNumberOfArrays(); ++index) {
        vtkDataArray* const array = AsField(arrays, index);
        if (!array || array->GetNumberOfTuples() != grid.GetNumberOfPoints())
            continue;
        std::wstring const name = FromUtf8(array->GetName());
        fields.push_back(
            std::make_unique<Field>(name, name, &mesh, std::numeric_limits<double>::quiet_NaN()));
        MDataMask<MMeshPoint, double>& values = *fields.back();
        for (vtkIdType i = 0; i < array->GetNumberOfTuples(); ++i)
            values.SetValue(*mesh.GetRandomPoint(static_cast<std::uint64_t>(i)), array->GetComponent(i, 0));
    }
    return fields;
}

} // namespace KetSDK::MeshVTK
