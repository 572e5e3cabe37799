// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/detail/PointFieldArrays.h>

#include <KetSDK/Mesh/materials/MMeshMaskIterator.h>
#include <KetSDK/Mesh/materials/MMeshNamedScalarMaskPoints.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/Text.h>

#include <vtkDoubleArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkUnstructuredGrid.h>

#include <cstdint>

namespace KetSDK::MeshVTK::Detail {

namespace {

using Field = MMeshNamedScalarMaskPoints;

void ForEachField(MMeshBase const& mesh, auto const& visit) {
    auto const end = MMeshMaskIterator<Field const>::End(&mesh);
    for (auto field = MMeshMaskIterator<Field const>::Begin(&mesh); field != end; ++field)
        visit(*field);
}

} // namespace

void AddPointFields(vtkUnstructuredGrid& grid, MMeshBase const& mesh) {
    ForEachField(mesh, [&](Field const& field) {
        if (field.GetID().empty()) // VTK's readers give up on arrays without a name
            return;
        MDataMask<MMeshPoint, double> const& values = field;
        vtkNew<vtkDoubleArray> array;
        array->SetName(ToUtf8(field.GetID()).c_str());
        array->SetNumberOfValues(mesh.NumberOfPoints());
        for (vtkIdType i = 0; i < mesh.NumberOfPoints(); ++i)
            array->SetValue(i, values.GetValue(*mesh.GetRandomPoint(static_cast<std::uint64_t>(i))));
        grid.GetPointData()->AddArray(array);
    });
}

void RemovePointFields(vtkUnstructuredGrid& grid, MMeshBase const& mesh) {
    ForEachField(mesh, [&grid](Field const& field) {
        grid.GetPointData()->RemoveArray(ToUtf8(field.GetID()).c_str());
    });
}

} // namespace KetSDK::MeshVTK::Detail
