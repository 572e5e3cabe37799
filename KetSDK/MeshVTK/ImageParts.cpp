#include <KetSDK/MeshVTK/ImageParts.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/MeshVTK/Error.h>

#include <vtkByteSwap.h>
#include <vtkDataArray.h>
#include <vtkImageData.h>
#include <vtkPointData.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <string>
#include <utility>

namespace KetSDK::MeshVTK {

namespace {

constexpr std::size_t ChunkSize = 1u << 20; // read between two looks at the delegate

// Cosine of the angle between two axes, and relative error of a length, that rounding in headers makes up
// for. What is beyond is another image.
constexpr double AxisTolerance = 1e-3;

double Dot(Vector3 const& a, Vector3 const& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// Memory from malloc, as VTK's arrays can take it over; grows with what is put in.
class GrowingBlock {
public:
    ~GrowingBlock() { std::free(m_bytes); }
    // Room for `count` more bytes, in a block that never gets larger than `most`.
    char* Room(std::size_t count, std::size_t most) {
        if (m_size + count > m_capacity) {
            m_capacity = std::min(most, std::max(m_size + count, 2 * m_capacity));
            void* const larger = std::realloc(m_bytes, m_capacity);
            if (!larger)
                throw std::bad_alloc();
            m_bytes = static_cast<char*>(larger);
        }
        return m_bytes + m_size;
    }
    void Add(std::size_t count) noexcept { m_size += count; }
    std::size_t Size() const noexcept { return m_size; }
    void* Release() noexcept { return std::exchange(m_bytes, nullptr); }

private:
    char* m_bytes = nullptr;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

[[noreturn]] void RefuseSize(std::uint64_t present, std::uint64_t needed) {
    throw Error("the file is cut off: it holds " + std::to_string(present) + " of " + std::to_string(needed) +
                " bytes of voxels");
}

// Reads on to the end, where packed data has its checksum.
void CheckRest(PackedFile& file, std::uint64_t limit, Common::IncrementalProgressReporter const& reporter) {
    std::vector<char> chunk(std::size_t{1} << 16);
    std::uint64_t rest = 0;
    while (std::size_t const count = file.Read(chunk.data(), chunk.size())) {
        rest += count;
        if (rest >= limit)
            throw Error("the file holds more voxels than its header says");
        if (reporter.IsCancelled())
            throw Cancelled();
    }
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
        RefuseSize(present, needed);
    if (present - needed >= needed / static_cast<std::uint64_t>(grid.size[2]))
        throw Error("the file holds more voxels than its header says");
}

vtkSmartPointer<vtkDataArray> ReadVoxels(PackedFile& file, std::uint64_t voxels,
                                         std::uint64_t voxels_per_slice, int type, bool big_endian,
                                         std::shared_ptr<Common::IProgressDelegate> const& progress) {
    auto values = vtk::TakeSmartPointer(vtkDataArray::CreateDataArray(type));
    auto const bytes = static_cast<std::uint64_t>(values->GetDataTypeSize());
    std::size_t const total = static_cast<std::size_t>(voxels * bytes);
    if (!file.IsPacked() && file.PlainRest() < total)
        RefuseSize(file.PlainRest(), total);
    Common::IncrementalProgressReporter reporter(progress, "Reading file", total / ChunkSize, true);
    GrowingBlock block;
    while (block.Size() < total) {
        // Plain data is there: its block need not grow.
        std::size_t const wanted = std::min(total - block.Size(), ChunkSize);
        char* const room = block.Room(file.IsPacked() ? wanted : total - block.Size(), total);
        std::size_t const count = file.Read(room, wanted);
        block.Add(count);
        if (count < wanted)
            RefuseSize(block.Size(), total);
        if (reporter.IsCancelled())
            throw Cancelled();
        ++reporter;
    }
    CheckRest(file, voxels_per_slice * bytes, reporter);
    values->SetVoidArray(block.Release(), static_cast<vtkIdType>(voxels), 0,
                         vtkAbstractArray::VTK_DATA_ARRAY_FREE);
    if (big_endian != (std::endian::native == std::endian::big))
        vtkByteSwap::SwapVoidRange(values->GetVoidPointer(0), static_cast<size_t>(voxels),
                                   static_cast<size_t>(bytes));
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

} // namespace KetSDK::MeshVTK
