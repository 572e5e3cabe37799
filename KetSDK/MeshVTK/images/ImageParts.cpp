// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/images/ImageParts.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/images/ByteSource.h>

#include <vtkByteSwap.h>
#include <vtkDataArray.h>
#include <vtkImageData.h>
#include <vtkPointData.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <string>

namespace KetSDK::MeshVTK::Detail {

namespace {

// Cosine of the angle between two axes, and relative error of a length, that rounding in headers makes up
// for. What is beyond is another image.
constexpr double AxisTolerance = 1e-3;

constexpr std::size_t BlockSize = std::size_t{1} << 22; // between two looks at cancellation

double Dot(Vector3 const& a, Vector3 const& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

bool IsWhole(double value) {
    return std::floor(value) == value;
}

template <typename From>
void RescaleInto(vtkDataArray& result, From const* values, double slope, double intercept) {
    auto const convert = [&]<typename To>(To* to) {
        for (vtkIdType i = 0; i < result.GetNumberOfTuples(); ++i)
            to[i] = static_cast<To>(static_cast<double>(values[i]) * slope + intercept);
    };
    switch (result.GetDataType()) {
    case VTK_SHORT:
        return convert(static_cast<short*>(result.GetVoidPointer(0)));
    case VTK_INT:
        return convert(static_cast<int*>(result.GetVoidPointer(0)));
    case VTK_FLOAT:
        return convert(static_cast<float*>(result.GetVoidPointer(0)));
    default:
        return convert(static_cast<double*>(result.GetVoidPointer(0)));
    }
}

} // namespace

void CheckGrid(ImageGrid const& grid) {
    std::uint64_t voxels = 1;
    for (std::int64_t const size : grid.size) {
        constexpr std::int64_t largest = std::numeric_limits<int>::max();
        if (size < 1 || size > largest)
            throw Error("the header is damaged: there cannot be " + std::to_string(size) +
                        " voxels along an axis");
        constexpr std::uint64_t most = std::uint64_t{1} << 48; // times 8 bytes, far beyond every memory
        voxels *= static_cast<std::uint64_t>(size);
        if (voxels > most)
            throw Error("the header is damaged: " + std::to_string(grid.size[0]) + " x " +
                        std::to_string(grid.size[1]) + " x " + std::to_string(grid.size[2]) +
                        " voxels fit into no file");
    }
    for (std::size_t i = 0; i < 3; ++i) {
        Vector3 const& axis = grid.axes[i];
        if (!std::isfinite(grid.origin[i]) || !std::isfinite(grid.spacing[i]) || !(grid.spacing[i] > 0.0))
            throw Error("the header is damaged: the origin must be finite and the spacing positive");
        if (!(std::fabs(std::sqrt(Dot(axis, axis)) - 1.0) <= AxisTolerance))
            throw Error("the header is damaged: the directions of the axes must be unit vectors");
        if (!(std::fabs(Dot(axis, grid.axes[(i + 1) % 3])) <= AxisTolerance))
            throw Error(
                "the axes of the image are not perpendicular to each other; resample it without shear");
    }
}

std::uint64_t NumberOfVoxels(ImageGrid const& grid) noexcept {
    return static_cast<std::uint64_t>(grid.size[0]) * static_cast<std::uint64_t>(grid.size[1]) *
           static_cast<std::uint64_t>(grid.size[2]);
}

void CheckVoxelBytes(std::uint64_t present, ImageGrid const& grid, int bytes_per_voxel) {
    std::uint64_t const needed = NumberOfVoxels(grid) * static_cast<std::uint64_t>(bytes_per_voxel);
    if (present < needed)
        throw Error("the file is cut off: it holds " + std::to_string(present) + " of " +
                    std::to_string(needed) + " bytes of voxels");
    if (present - needed >= needed / static_cast<std::uint64_t>(grid.size[2]))
        throw Error("the file holds more voxels than its header says");
}

vtkSmartPointer<vtkDataArray> ReadVoxels(ByteSource& source, ImageGrid const& grid, int type, bool big_endian,
                                         Common::IncrementalProgressReporter& reporter) {
    auto values = vtk::TakeSmartPointer(vtkDataArray::CreateDataArray(type));
    values->SetNumberOfTuples(static_cast<vtkIdType>(NumberOfVoxels(grid)));
    int const bytes_per_voxel = values->GetDataTypeSize();
    std::size_t const size = NumberOfVoxels(grid) * static_cast<std::size_t>(bytes_per_voxel);
    auto* const to = static_cast<char*>(values->GetVoidPointer(0));
    for (std::size_t at = 0; at < size; at += BlockSize) {
        std::size_t const part = std::min(BlockSize, size - at);
        std::size_t const got = source.Read(to + at, part);
        if (got < part)
            CheckVoxelBytes(at + got, grid, bytes_per_voxel);
        reporter = source.Position();
        if (reporter.IsCancelled())
            throw Cancelled();
    }
    CheckVoxelBytes(size + source.Pass(size / static_cast<std::size_t>(grid.size[2])), grid, bytes_per_voxel);
    if (big_endian != (std::endian::native == std::endian::big))
        vtkByteSwap::SwapVoidRange(to, NumberOfVoxels(grid), static_cast<std::size_t>(bytes_per_voxel));
    return values;
}

int RescaledType(double smallest, double largest, bool whole) noexcept {
    auto const fits = [&]<typename T>(T) {
        return smallest >= static_cast<double>(std::numeric_limits<T>::lowest()) &&
               largest <= static_cast<double>(std::numeric_limits<T>::max());
    };
    if (whole)
        return fits(short{}) ? VTK_SHORT : fits(int{}) ? VTK_INT : VTK_DOUBLE;
    return fits(float{}) ? VTK_FLOAT : VTK_DOUBLE;
}

vtkSmartPointer<vtkDataArray> Rescale(vtkSmartPointer<vtkDataArray> const& values, double slope,
                                      double intercept) {
    if (!std::isfinite(slope) || !std::isfinite(intercept))
        throw Error("the header is damaged: slope and intercept of the values must be finite");
    if (slope == 1.0 && intercept == 0.0)
        return values;
    bool const real = values->GetDataType() == VTK_FLOAT || values->GetDataType() == VTK_DOUBLE;
    double range[2] = {0.0, 0.0};
    if (!real)
        values->GetRange(range);
    auto const [smallest, largest] =
        std::minmax({range[0] * slope + intercept, range[1] * slope + intercept});
    int const type =
        real ? values->GetDataType() : RescaledType(smallest, largest, IsWhole(slope) && IsWhole(intercept));
    auto result = vtk::TakeSmartPointer(vtkDataArray::CreateDataArray(type));
    result->SetNumberOfTuples(values->GetNumberOfTuples());
    switch (values->GetDataType()) {
        vtkTemplateMacro(
            RescaleInto(*result, static_cast<VTK_TT const*>(values->GetVoidPointer(0)), slope, intercept));
    }
    return result;
}

vtkSmartPointer<vtkImageData> MakeImage(ImageGrid const& grid, vtkDataArray& values) {
    auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(static_cast<int>(grid.size[0]), static_cast<int>(grid.size[1]),
                         static_cast<int>(grid.size[2]));
    image->SetOrigin(grid.origin.data());
    image->SetSpacing(grid.spacing.data());
    auto const& [i, j, k] = grid.axes;
    image->SetDirectionMatrix(i[0], j[0], k[0], i[1], j[1], k[1], i[2], j[2], k[2]);
    values.SetName("grey");
    image->GetPointData()->SetScalars(&values);
    return image;
}

} // namespace KetSDK::MeshVTK::Detail
