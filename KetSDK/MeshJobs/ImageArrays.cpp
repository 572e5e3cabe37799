// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/ImageArrays.h>

#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/ImageVoxels.h>
#include <KetSDK/MeshVTK/Frames.h>

#include <vtkDataArray.h>
#include <vtkMatrix3x3.h>
#include <vtkPointData.h>
#include <vtkType.h>
#include <vtkTypeTraits.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <type_traits>
#include <variant>

namespace KetSDK::MeshJobs {

namespace {

// VTK has several types of one size; here each has the name of its size.
template <typename T>
using SizedInteger =
    std::conditional_t<sizeof(T) == 1, std::int8_t,
                       std::conditional_t<sizeof(T) == 2, std::int16_t,
                                          std::conditional_t<sizeof(T) == 4, std::int32_t, std::int64_t>>>;

template <typename T>
MeshVTK::VoxelArray::First FirstOf(T const* first) {
    if constexpr (std::is_floating_point_v<T>)
        return first;
    else if constexpr (std::is_signed_v<T>)
        return reinterpret_cast<SizedInteger<T> const*>(first);
    else
        return reinterpret_cast<std::make_unsigned_t<SizedInteger<T>> const*>(first);
}

MeshVTK::VoxelArray::First FirstOf(vtkDataArray& values) {
    switch (values.GetDataType()) {
        vtkTemplateMacro(return FirstOf(static_cast<VTK_TT const*>(values.GetVoidPointer(0))));
    }
    throw Error("the voxels of the image are no numbers of 8 to 64 bits");
}

void RequireAnImage(ImageArrays const& arrays) {
    auto const size = arrays.Size();
    std::int64_t voxels = 1;
    for (std::int64_t const length : size) {
        if (length < 1 || length > std::numeric_limits<std::int64_t>::max() / voxels)
            throw Error("these numbers make no image");
        voxels *= length;
    }
}

template <typename T>
vtkSmartPointer<vtkDataArray> CopyOf(T const* first, std::array<std::int64_t, 3> const& size) {
    auto values = vtk::TakeSmartPointer(vtkDataArray::CreateDataArray(vtkTypeTraits<T>::VTK_TYPE_ID));
    values->SetNumberOfTuples(size[0] * size[1] * size[2]);
    std::copy_n(first, values->GetNumberOfTuples(), static_cast<T*>(values->GetVoidPointer(0)));
    return values;
}

} // namespace

ImageArrays ArraysOf(Image const& image) {
    vtkImageData& data = *image.voxels->data;
    ImageArrays arrays;
    data.GetExtent(arrays.extent.data());
    data.GetOrigin(arrays.origin.data());
    data.GetSpacing(arrays.spacing.data());
    std::copy_n(data.GetDirectionMatrix()->GetData(), arrays.axes.size(), arrays.axes.begin());
    arrays.first = FirstOf(*data.GetPointData()->GetScalars());
    return arrays;
}

Image MakeImage(ImageArrays const& arrays, MeshVTK::LengthUnit unit,
                std::optional<Mesh::CoordinateFrame> frame) {
    RequireAnImage(arrays);
    auto made = std::make_shared<Image::Voxels>();
    made->data = vtkSmartPointer<vtkImageData>::New();
    vtkImageData& data = *made->data;
    auto extent = arrays.extent;
    data.SetExtent(extent.data());
    data.SetOrigin(arrays.origin.data());
    data.SetSpacing(arrays.spacing.data());
    data.SetDirectionMatrix(arrays.axes.data());
    data.GetPointData()->SetScalars(
        std::visit([&](auto const* first) { return CopyOf(first, arrays.Size()); }, arrays.first));
    MeshVTK::SetFrame(data, frame);
    return Image{"", "", unit, made, frame};
}

} // namespace KetSDK::MeshJobs
