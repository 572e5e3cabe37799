// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/LabelsFromImage.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/Support/ParallelWork.h>

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
    using Label = std::numeric_limits<std::int32_t>;
    if constexpr (std::numeric_limits<T>::is_integer && std::numeric_limits<T>::digits <= Label::digits)
        return true;
    double const number = static_cast<double>(value);
    return number >= Label::min() && number <= Label::max() &&
           (!std::is_floating_point_v<T> || std::floor(number) == number);
}

template <typename T>
void ThrowForVoxel(T value, std::uint64_t voxel, MLabelImage const& image) {
    std::uint64_t const row = static_cast<std::uint64_t>(image.size[0]);
    std::uint64_t const rows = static_cast<std::uint64_t>(image.size[1]);
    throw Error("this is no image of labels: voxel (" + std::to_string(voxel % row) + ", " +
                std::to_string(voxel / row % rows) + ", " + std::to_string(voxel / (row * rows)) +
                ") has the value " + std::to_string(value) + ", and labels are whole numbers");
}

template <typename T>
void CopyLabels(T const* values, bool parallel, MLabelImage& image) {
    Support::ComputeSteps<std::uint64_t>(
        {.items = image.labels.size(), .step = 1 << 14, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last, std::uint64_t& copied) {
            std::int32_t* const labels = image.labels.data();
            std::uint64_t voxel = first;
            for (; voxel < last && IsLabel(values[voxel]); ++voxel)
                labels[voxel] = static_cast<std::int32_t>(values[voxel]);
            copied = voxel;
        },
        [&](std::uint64_t, std::uint64_t last, std::uint64_t copied) {
            if (copied < last)
                ThrowForVoxel(values[copied], copied, image);
            return true;
        });
}

} // namespace

MLabelImage LabelsFromImage(vtkImageData& image, LengthUnit unit, bool parallel) {
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
        vtkTemplateMacro(CopyLabels(static_cast<VTK_TT const*>(values->GetVoidPointer(0)), parallel, labels));
    default:
        throw Error("the values of the image are of a type that is not read");
    }
    return labels;
}

} // namespace KetSDK::MeshVTK
