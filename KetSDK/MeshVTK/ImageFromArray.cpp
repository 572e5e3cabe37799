// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/ImageFromArray.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/images/ImageParts.h>

#include <vtkDataArray.h>
#include <vtkImageData.h>
#include <vtkTypeTraits.h>

#include <cmath>
#include <cstddef>

namespace KetSDK::MeshVTK {

namespace {

Detail::ImageGrid GridOf(VoxelArray const& voxels) {
    Detail::ImageGrid grid;
    grid.size = voxels.size;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (voxels.size[axis] < 1)
            throw Error("the image has no voxels");
        auto const row = [&](std::size_t i) { return voxels.affine[i][axis]; };
        double const length = std::hypot(row(0), row(1), row(2));
        grid.origin[axis] = voxels.affine[axis][3];
        if (!(length > 0.0) || !std::isfinite(length) || !std::isfinite(grid.origin[axis]))
            throw Error("the affine matrix must be finite, and each of its first three columns an axis");
        grid.spacing[axis] = length;
        for (std::size_t i = 0; i < 3; ++i)
            grid.axes[axis][i] = row(i) / length;
    }
    Detail::CheckGrid(grid);
    return grid;
}

template <typename T>
vtkSmartPointer<vtkDataArray> CopyVoxels(T const* first, VoxelArray const& voxels, std::uint64_t count) {
    auto values = vtk::TakeSmartPointer(vtkDataArray::CreateDataArray(vtkTypeTraits<T>::VTK_TYPE_ID));
    values->SetNumberOfTuples(static_cast<vtkIdType>(count));
    auto* to = static_cast<T*>(values->GetVoidPointer(0));
    auto const [along_i, along_j, along_k] = voxels.strides;
    for (std::int64_t k = 0; k < voxels.size[2]; ++k)
        for (std::int64_t j = 0; j < voxels.size[1]; ++j) {
            T const* const row = first + (j * along_j + k * along_k);
            for (std::int64_t i = 0; i < voxels.size[0]; ++i)
                *to++ = row[i * along_i];
        }
    return values;
}

} // namespace

vtkSmartPointer<vtkImageData> ImageFromArray(VoxelArray const& voxels) {
    Detail::ImageGrid const grid = GridOf(voxels);
    auto const values = std::visit(
        [&](auto const* first) { return CopyVoxels(first, voxels, NumberOfVoxels(grid)); }, voxels.first);
    return Detail::MakeImage(grid, *values);
}

} // namespace KetSDK::MeshVTK
