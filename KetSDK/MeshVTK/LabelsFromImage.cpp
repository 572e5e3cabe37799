// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/LabelsFromImage.h>

#include <KetSDK/MeshVTK/Error.h>

#include <vtkDataArray.h>
#include <vtkImageData.h>
#include <vtkMatrix3x3.h>
#include <vtkPointData.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

namespace KetSDK::MeshVTK {

namespace {

// Whether a value is a whole number of 32 bits.
template <typename T>
bool IsLabel(T value) noexcept {
    double const number = static_cast<double>(value);
    return number >= std::numeric_limits<std::int32_t>::min() &&
           number <= std::numeric_limits<std::int32_t>::max() &&
           (!std::is_floating_point_v<T> || std::floor(number) == number);
}

template <typename T>
void CopyLabels(T const* values, MLabelImage& image) {
    std::int64_t const row = image.size[0], slice = image.size[0] * image.size[1];
    for (std::size_t i = 0; i < image.labels.size(); ++i) {
        if (!IsLabel(values[i])) {
            std::int64_t const at = static_cast<std::int64_t>(i);
            std::string const voxel = std::to_string(at % row) + ", " +
                                      std::to_string(at / row % image.size[1]) + ", " +
                                      std::to_string(at / slice);
            throw Error("this is no image of labels: voxel (" + voxel + ") has the value " +
                        std::to_string(values[i]) + ", and labels are whole numbers");
        }
        image.labels[i] = static_cast<std::int32_t>(values[i]);
    }
}

} // namespace

MLabelImage LabelsFromImage(vtkImageData& image, LengthUnit unit) {
    vtkDataArray* const values = image.GetPointData()->GetScalars();
    if (!values || image.GetNumberOfPoints() == 0)
        throw Error("the image has no voxels");
    MLabelImage labels;
    int const* const extent = image.GetExtent();
    for (std::size_t i = 0; i < 3; ++i) {
        labels.size[i] = std::int64_t{extent[2 * i + 1]} - extent[2 * i] + 1;
        labels.spacing[i] = image.GetSpacing()[i] * unit.millimetres;
        labels.origin[i] = image.GetOrigin()[i] * unit.millimetres;
    }
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) {
            labels.direction[i][j] =
                image.GetDirectionMatrix()->GetElement(static_cast<int>(i), static_cast<int>(j));
            labels.origin[i] += labels.direction[i][j] * labels.spacing[j] * extent[2 * j];
        }
    labels.labels.resize(static_cast<std::size_t>(image.GetNumberOfPoints()));
    switch (values->GetDataType()) {
        vtkTemplateMacro(CopyLabels(static_cast<VTK_TT const*>(values->GetVoidPointer(0)), labels));
    default:
        throw Error("the values of the image are of a type that is not read");
    }
    return labels;
}

} // namespace KetSDK::MeshVTK
