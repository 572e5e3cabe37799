// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/Frames.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/images/ImageFrame.h>

#include <vtkDataObject.h>
#include <vtkFieldData.h>
#include <vtkImageData.h>
#include <vtkMatrix3x3.h>
#include <vtkNew.h>
#include <vtkStringArray.h>

#include <algorithm>
#include <cstdint>

namespace KetSDK::MeshVTK {

std::optional<Mesh::CoordinateFrame> FrameOf(vtkDataObject& data) {
    auto* const said = vtkStringArray::SafeDownCast(data.GetFieldData()->GetAbstractArray(ArrayNames::Space));
    return said && said->GetNumberOfValues() == 1 ? Mesh::FindFrame(said->GetValue(0)) : std::nullopt;
}

void SetFrame(vtkDataObject& data, std::optional<Mesh::CoordinateFrame> frame) {
    data.GetFieldData()->RemoveArray(ArrayNames::Space);
    if (!frame)
        return;
    vtkNew<vtkStringArray> said;
    said->SetName(ArrayNames::Space);
    said->InsertNextValue(Mesh::FrameWord(*frame));
    data.GetFieldData()->AddArray(said);
}

vtkSmartPointer<vtkImageData> TurnImage(vtkImageData& image) {
    auto turned = vtkSmartPointer<vtkImageData>::New();
    turned->ShallowCopy(&image);
    double origin[3];
    image.GetOrigin(origin);
    vtkNew<vtkMatrix3x3> directions;
    directions->DeepCopy(image.GetDirectionMatrix());
    for (int axis = 0; axis < 2; ++axis) {
        origin[axis] = -origin[axis];
        for (int column = 0; column < 3; ++column)
            directions->SetElement(axis, column, -directions->GetElement(axis, column));
    }
    turned->SetOrigin(origin);
    turned->SetDirectionMatrix(directions);
    return turned;
}

double ShareInside(MMeshBase const& mesh, vtkImageData& image, LengthUnit unit_of_image) {
    Detail::ImageFrame const frame(image, unit_of_image);
    std::uint64_t inside = 0;
    for (MLong i = 0; i < mesh.NumberOfPoints(); ++i) {
        MMeshPoint const& p = *mesh.GetRandomPoint(static_cast<std::uint64_t>(i));
        inside += frame.Contains(frame.PositionOf({double(p.x), double(p.y), double(p.z)}));
    }
    return static_cast<double>(inside) / static_cast<double>(std::max<MLong>(mesh.NumberOfPoints(), 1));
}

} // namespace KetSDK::MeshVTK
