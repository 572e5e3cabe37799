// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/images/NiftiFile.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/detail/NumberOfBytes.h>
#include <KetSDK/MeshVTK/images/ByteSource.h>
#include <KetSDK/MeshVTK/images/ImageParts.h>

#include <vtkDataArray.h>
#include <vtkImageData.h>
#include <vtkMath.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

namespace KetSDK::MeshVTK::Detail {

namespace {

constexpr char const* GzipMagic = "\x1F\x8B";

constexpr std::size_t SmallestHeader = 348; // in version 1
constexpr std::size_t LargestHeader = 540;  // in version 2

// A field of the header: where it stands, and the bytes of a number there.
struct Field {
    std::size_t at;
    std::size_t bytes;
};

// Where a version of the format has the fields that are looked at. The first four bytes of a header say how
// long it is.
struct HeaderLayout {
    std::size_t bytes;
    Field dimensions; // their number and the sizes
    Field voxel_type;
    Field voxel_sizes; // behind the sign of the third axis
    Field voxels;      // where they begin
    bool begin_is_real;
    Field slope; // and the intercept
    Field units;
    Field qform_code; // and that of the sform
    Field quaternion; // and the offset
    Field sform;      // three rows
};
constexpr HeaderLayout Version1 = {SmallestHeader, {40, 2},  {70, 2},  {76, 4},  {108, 4}, true,
                                   {112, 4},       {123, 1}, {252, 2}, {256, 4}, {280, 4}};
constexpr HeaderLayout Version2 = {LargestHeader, {16, 8},  {12, 2},  {104, 8}, {168, 8}, false,
                                   {176, 8},      {500, 4}, {344, 4}, {352, 8}, {400, 8}};

// The signature of version 1 stands at the end of its header, that of version 2 behind the length.
constexpr std::size_t Signature1 = 344;
constexpr std::size_t Signature2 = 4;

// The types of voxels that are one number.
struct VoxelType {
    std::uint64_t code;
    int vtk;
};
constexpr VoxelType VoxelTypes[] = {
    {2, VTK_UNSIGNED_CHAR},    {4, VTK_SHORT},          {8, VTK_INT},
    {16, VTK_FLOAT},           {64, VTK_DOUBLE},        {256, VTK_SIGNED_CHAR},
    {512, VTK_UNSIGNED_SHORT}, {768, VTK_UNSIGNED_INT}, {1024, VTK_TYPE_INT64},
    {1280, VTK_TYPE_UINT64}};

[[noreturn]] void RefuseFormat() {
    throw Error("this is no NIfTI file, though its name says so");
}

[[noreturn]] void RefuseCut() {
    throw Error("the file is cut off in its header");
}

// The bytes are those of a whole header of version 1 at least.
HeaderLayout const& LayoutOf(std::string_view bytes) {
    using namespace std::string_view_literals;
    auto const stands = [bytes](std::size_t at, std::string_view text) {
        return bytes.substr(at, text.size()) == text;
    };
    if (stands(Signature1, "ni1") || stands(Signature2, "ni2"))
        throw Error("the file is only one half of a NIfTI pair; a single .nii file is needed");
    if (stands(Signature2, "n+2\0\r\n\x1A\n"sv))
        return Version2;
    bool const almost_2 = stands(Signature2, "n+") || stands(Signature2, "ni");
    if (almost_2 || !stands(Signature1, "n+1\0"sv))
        RefuseFormat();
    return Version1;
}

// The numbers of a header. The byte order is that by which the header has its length.
class Header {
public:
    explicit Header(std::string_view bytes)
        : m_bytes(bytes)
        , m_layout(LayoutOf(bytes))
        , m_big_endian(UnsignedOfBytes(bytes.substr(0, 4), false) != m_layout.bytes) {
        if (UnsignedOfBytes(bytes.substr(0, 4), m_big_endian) != m_layout.bytes)
            RefuseFormat();
        if (bytes.size() < m_layout.bytes)
            RefuseCut();
    }

    HeaderLayout const& Layout() const noexcept { return m_layout; }
    bool IsBigEndian() const noexcept { return m_big_endian; }
    // The number at a field, or so many numbers behind it.
    std::int64_t Whole(Field const& field, std::size_t number = 0) const {
        return SignedOfBytes(Bytes(field, number), m_big_endian);
    }
    double Real(Field const& field, std::size_t number = 0) const {
        return RealOfBytes(Bytes(field, number), m_big_endian);
    }
    // The same for three numbers.
    Vector3 Reals(Field const& field, std::size_t number) const {
        return {Real(field, number), Real(field, number + 1), Real(field, number + 2)};
    }

private:
    std::string_view Bytes(Field const& field, std::size_t number) const {
        return m_bytes.substr(field.at + number * field.bytes, field.bytes);
    }

    std::string_view m_bytes;
    HeaderLayout const& m_layout;
    bool m_big_endian;
};

int TypeOf(Header const& header) {
    auto const code = static_cast<std::uint64_t>(header.Whole(header.Layout().voxel_type));
    auto const* const found = std::ranges::find(VoxelTypes, code, &VoxelType::code);
    if (found == std::end(VoxelTypes))
        throw Error("voxels of type " + std::to_string(code & 0xFFFF) +
                    " cannot be read; one integer, float or double per voxel is needed");
    return found->vtk;
}

std::array<std::int64_t, 3> Size(Header const& header) {
    Field const& field = header.Layout().dimensions;
    std::int64_t const dimensions = header.Whole(field);
    if (dimensions < 1 || dimensions > 7)
        throw Error("the header is damaged: an image cannot have " + std::to_string(dimensions) +
                    " dimensions");
    std::array<std::int64_t, 3> size = {1, 1, 1};
    for (std::size_t i = 1; i <= static_cast<std::size_t>(dimensions); ++i) {
        std::int64_t const length = header.Whole(field, i);
        if (i <= 3)
            size[i - 1] = length;
        else if (length != 1)
            throw Error("the image has " + std::to_string(length) + " values for each voxel; one is needed");
    }
    return size;
}

void PlaceBySform(Header const& header, ImageGrid& grid) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        auto const in_row = [&](std::size_t row) {
            return header.Real(header.Layout().sform, 4 * row + axis);
        };
        Vector3 const step = {in_row(0), in_row(1), in_row(2)};
        double const length = std::hypot(step[0], step[1], step[2]);
        if (!(length > 0.0))
            throw Error("the header is damaged: its sform has a column of zeros");
        grid.spacing[axis] = length;
        for (std::size_t i = 0; i < 3; ++i)
            grid.axes[axis][i] = step[i] / length;
        grid.origin[axis] = header.Real(header.Layout().sform, 4 * axis + 3);
    }
}

// The header has three numbers of a quaternion of length 1, and the sign of the third axis before the sizes.
void PlaceByQform(Header const& header, ImageGrid& grid) {
    Vector3 q = header.Reals(header.Layout().quaternion, 0);
    if (double const length = std::hypot(q[0], q[1], q[2]); !(length <= 1.0005))
        throw Error("the header is damaged: the rotation of its qform is none");
    double first = 1.0 - q[0] * q[0] - q[1] * q[1] - q[2] * q[2];
    if (first > 0.0) {
        first = std::sqrt(first);
    } else { // half a turn, but for rounding
        double const length = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2]);
        for (double& component : q)
            component /= length;
        first = 0.0;
    }
    double const quaternion[4] = {first, q[0], q[1], q[2]};
    double matrix[3][3];
    vtkMath::QuaternionToMatrix3x3(quaternion, matrix);
    double const sign = header.Real(header.Layout().voxel_sizes) < 0.0 ? -1.0 : 1.0;
    for (std::size_t axis = 0; axis < 3; ++axis)
        for (std::size_t i = 0; i < 3; ++i)
            grid.axes[axis][i] = matrix[i][axis] * (axis == 2 ? sign : 1.0);
    grid.origin = header.Reals(header.Layout().quaternion, 3);
}

// Millimetres in the unit of the header; an unknown unit is taken for millimetres.
double UnitOf(Header const& header) {
    switch (header.Whole(header.Layout().units) & 7) {
    case 1: // metres
        return 1000.0;
    case 3: // micrometres
        return 0.001;
    default:
        return 1.0;
    }
}

ImageGrid GridOf(Header const& header, ImageFileReport& report) {
    HeaderLayout const& layout = header.Layout();
    ImageGrid grid;
    grid.size = Size(header);
    for (std::size_t i = 0; i < 3; ++i)
        grid.spacing[i] = std::fabs(header.Real(layout.voxel_sizes, i + 1));
    if (header.Whole(layout.qform_code, 1) > 0)
        PlaceBySform(header, grid);
    else if (header.Whole(layout.qform_code) > 0)
        PlaceByQform(header, grid);
    else
        report.note = "the header does not say where the image lies; voxel (0, 0, 0) is taken to be at the "
                      "origin";
    if (double const unit = UnitOf(header); unit != 1.0)
        for (std::size_t i = 0; i < 3; ++i) {
            grid.spacing[i] *= unit;
            grid.origin[i] *= unit;
        }
    return grid;
}

// Where the voxels begin; a header of version 1 says so with a real number.
std::uint64_t BeginOfVoxels(Header const& header) {
    HeaderLayout const& layout = header.Layout();
    double const begin =
        layout.begin_is_real ? header.Real(layout.voxels) : static_cast<double>(header.Whole(layout.voxels));
    constexpr double most = 1e15;
    if (!(begin >= static_cast<double>(layout.bytes + 4) && begin <= most))
        throw Error("the header is damaged: the voxels cannot begin at byte " +
                    std::to_string(std::isfinite(begin) ? std::llround(std::clamp(begin, -most, most)) : 0));
    return static_cast<std::uint64_t>(begin);
}

// The header, from the beginning of a source.
std::string ReadHeader(ByteSource& source) {
    std::string bytes(SmallestHeader, '\0');
    if (source.Read(bytes.data(), bytes.size()) < bytes.size())
        RefuseCut();
    bytes.resize(LayoutOf(bytes).bytes);
    std::size_t const more = bytes.size() - SmallestHeader;
    if (source.Read(bytes.data() + SmallestHeader, more) < more)
        RefuseCut();
    return bytes;
}

} // namespace

vtkSmartPointer<vtkImageData> ReadNiftiFile(std::filesystem::path const&, OpenFile const& file,
                                            std::shared_ptr<Common::IProgressDelegate> const& progress,
                                            ImageFileReport& report) {
    bool const packed = file.First(2) == GzipMagic;
    ByteSource source(file, 0, file.Size(), packed ? ByteSource::Packing::Zlib : ByteSource::Packing::None);
    std::string const bytes = ReadHeader(source);
    Header const header(bytes);
    int const type = TypeOf(header);
    ImageGrid const grid = GridOf(header, report);
    CheckGrid(grid);
    std::uint64_t const begin = BeginOfVoxels(header);
    int const bytes_per_voxel = vtkDataArray::GetDataTypeSize(type);
    if (packed)
        ByteSource::CheckPacked(file.Size(),
                                NumberOfVoxels(grid) * static_cast<std::uint64_t>(bytes_per_voxel));
    else
        CheckVoxelBytes(file.Size() - std::min(file.Size(), begin), grid, bytes_per_voxel);
    source.Pass(begin - bytes.size());
    Common::IncrementalProgressReporter reporter(progress, "Reading file", file.Size(), true);
    auto const values = ReadVoxels(source, grid, type, header.IsBigEndian(), reporter);
    // Zero stands for no scaling, and so does what is no number.
    double const slope = header.Real(header.Layout().slope);
    double const intercept = header.Real(header.Layout().slope, 1);
    bool const scaled = slope != 0.0 && std::isfinite(slope) && std::isfinite(intercept);
    return MakeImage(grid, *(scaled ? Rescale(values, slope, intercept) : values));
}

} // namespace KetSDK::MeshVTK::Detail
