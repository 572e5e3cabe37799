#include <KetSDK/MeshVTK/NiftiFile.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/ImageParts.h>
#include <KetSDK/MeshVTK/PackedFile.h>

#include <vtkDataArray.h>
#include <vtkImageData.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

namespace KetSDK::MeshVTK {

namespace {

// Where the fields are in a header of version 1 or 2, and how wide they are in version 2.
struct Fields {
    std::size_t size, magic, datatype, dim, pixdim, vox_offset, slope, inter, units, qform_code, sform_code,
        quatern, srow;
    bool wide;
};
constexpr Fields Version1 = {348, 344, 70, 40, 76, 108, 112, 116, 123, 252, 254, 256, 280, false};
constexpr Fields Version2 = {540, 4, 12, 16, 104, 168, 176, 184, 500, 344, 348, 352, 400, true};

class Header {
public:
    Header(std::string bytes, Fields const& fields, bool big_endian)
        : m_fields(fields)
        , m_bytes(std::move(bytes))
        , m_big_endian(big_endian) {}

    Fields const& Where() const noexcept { return m_fields; }
    bool IsBigEndian() const noexcept { return m_big_endian; }

    template <typename T>
    T Get(std::size_t at) const {
        char bytes[sizeof(T)];
        std::memcpy(bytes, m_bytes.data() + at, sizeof bytes);
        if (m_big_endian != (std::endian::native == std::endian::big))
            std::ranges::reverse(bytes);
        T value;
        std::memcpy(&value, bytes, sizeof bytes);
        return value;
    }
    // Entry i of a list of numbers, of codes or of dimensions.
    double Number(std::size_t at, std::size_t i = 0) const {
        return m_fields.wide ? Get<double>(at + 8 * i) : static_cast<double>(Get<float>(at + 4 * i));
    }
    int Code(std::size_t at) const { return m_fields.wide ? Get<std::int32_t>(at) : Get<std::int16_t>(at); }
    std::int64_t Dimension(std::size_t i) const {
        return m_fields.wide ? Get<std::int64_t>(m_fields.dim + 8 * i)
                             : Get<std::int16_t>(m_fields.dim + 2 * i);
    }

private:
    Fields const& m_fields;
    std::string m_bytes;
    bool m_big_endian;
};

// The first bytes of a header say which version it is, by its size, and in which byte order.
Header ReadHeader(PackedFile& file) {
    std::string bytes(Version1.size, '\0');
    bytes.resize(file.Read(bytes.data(), bytes.size()));
    if (bytes.size() < Version1.size)
        throw Error("the file is cut off in its header");
    for (bool const big_endian : {false, true})
        for (Fields const* const fields : {&Version1, &Version2}) {
            if (Header(bytes, *fields, big_endian).Get<std::int32_t>(0) !=
                static_cast<std::int32_t>(fields->size))
                continue;
            std::string const magic = bytes.substr(fields->magic, 3);
            if (magic.starts_with("ni"))
                throw Error("the file is only one half of a NIfTI pair; a single .nii file is needed");
            if (magic != (fields->wide ? "n+2" : "n+1"))
                break;
            std::string rest(fields->size - bytes.size(), '\0');
            if (file.Read(rest.data(), rest.size()) < rest.size())
                throw Error("the file is cut off in its header");
            return Header(bytes + rest, *fields, big_endian);
        }
    throw Error("this is no NIfTI file, though its name says so");
}

int VoxelType(Header const& header) {
    struct Type {
        int nifti, vtk;
    };
    constexpr Type types[] = {{2, VTK_UNSIGNED_CHAR},
                              {4, VTK_SHORT},
                              {8, VTK_INT},
                              {16, VTK_FLOAT},
                              {64, VTK_DOUBLE},
                              {256, VTK_SIGNED_CHAR},
                              {512, VTK_UNSIGNED_SHORT},
                              {768, VTK_UNSIGNED_INT},
                              {1024, VTK_LONG_LONG},
                              {1280, VTK_UNSIGNED_LONG_LONG}};
    int const code = header.Get<std::int16_t>(header.Where().datatype);
    for (Type const& type : types)
        if (type.nifti == code)
            return type.vtk;
    throw Error("voxels of type " + std::to_string(code) +
                " cannot be read; one integer, float or double per voxel is needed");
}

std::array<std::int64_t, 3> Size(Header const& header) {
    std::int64_t const dimensions = header.Dimension(0);
    if (dimensions < 1 || dimensions > 7)
        throw Error("the header is damaged: an image cannot have " + std::to_string(dimensions) +
                    " dimensions");
    std::array<std::int64_t, 3> size = {1, 1, 1};
    for (std::size_t i = 1; i <= static_cast<std::size_t>(dimensions); ++i) {
        if (i <= 3)
            size[i - 1] = header.Dimension(i);
        else if (header.Dimension(i) > 1)
            throw Error("the image has " + std::to_string(header.Dimension(i)) +
                        " values for each voxel; one is needed");
    }
    return size;
}

void PlaceBySform(Header const& header, ImageGrid& grid) {
    auto const entry = [&header](std::size_t row, std::size_t column) {
        return header.Number(header.Where().srow, 4 * row + column);
    };
    for (std::size_t axis = 0; axis < 3; ++axis) {
        Vector3 const step = {entry(0, axis), entry(1, axis), entry(2, axis)};
        double const length = std::hypot(step[0], step[1], step[2]);
        if (!(length > 0.0))
            throw Error("the header is damaged: its sform has a column of zeros");
        grid.spacing[axis] = length;
        for (std::size_t i = 0; i < 3; ++i)
            grid.axes[axis][i] = step[i] / length;
    }
    grid.origin = {entry(0, 3), entry(1, 3), entry(2, 3)};
}

// The rotation is stored as a quaternion without its real part.
void PlaceByQform(Header const& header, ImageGrid& grid) {
    double quaternion[6];
    for (std::size_t i = 0; i < 6; ++i)
        quaternion[i] = header.Number(header.Where().quatern, i);
    auto [b, c, d, x, y, z] = quaternion;
    double const squared = b * b + c * c + d * d;
    if (!(squared <= 1.001))
        throw Error("the header is damaged: the rotation of its qform is none");
    double a = 0.0;
    if (squared > 1.0) {
        double const length = std::sqrt(squared);
        b /= length;
        c /= length;
        d /= length;
    } else {
        a = std::sqrt(1.0 - squared);
    }
    double const handedness = header.Number(header.Where().pixdim) < 0.0 ? -1.0 : 1.0;
    grid.axes = {{{a * a + b * b - c * c - d * d, 2.0 * (b * c + a * d), 2.0 * (b * d - a * c)},
                  {2.0 * (b * c - a * d), a * a + c * c - b * b - d * d, 2.0 * (c * d + a * b)},
                  {2.0 * (b * d + a * c), 2.0 * (c * d - a * b), a * a + d * d - c * c - b * b}}};
    for (double& coordinate : grid.axes[2])
        coordinate *= handedness;
    grid.origin = {x, y, z};
}

// Millimetres in the unit of the header; an unknown unit is taken for millimetres.
double UnitOf(Header const& header) {
    int const units = header.Where().wide ? header.Get<std::int32_t>(header.Where().units)
                                          : header.Get<unsigned char>(header.Where().units);
    switch (units & 7) {
    case 1:
        return 1000.0;
    case 3:
        return 0.001;
    default:
        return 1.0;
    }
}

ImageGrid Place(Header const& header, ImageFileReport& report) {
    ImageGrid grid;
    grid.size = Size(header);
    for (std::size_t i = 0; i < 3; ++i)
        grid.spacing[i] = std::fabs(header.Number(header.Where().pixdim, i + 1));
    if (header.Code(header.Where().sform_code) > 0)
        PlaceBySform(header, grid);
    else if (header.Code(header.Where().qform_code) > 0)
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

// Goes on to where the voxels begin.
void SkipTo(PackedFile& file, Header const& header) {
    double const stated = header.Where().wide
                              ? static_cast<double>(header.Get<std::int64_t>(header.Where().vox_offset))
                              : header.Number(header.Where().vox_offset);
    double const smallest = static_cast<double>(header.Where().size + 4);
    if (!(stated < 1e15))
        throw Error("the header is damaged: the voxels cannot begin at byte " + std::to_string(stated));
    auto rest = static_cast<std::uint64_t>(std::max(stated, smallest)) - header.Where().size;
    std::string skipped(std::size_t{1} << 16, '\0');
    while (rest > 0) {
        std::size_t const count = file.Read(
            skipped.data(), static_cast<std::size_t>(std::min<std::uint64_t>(rest, skipped.size())));
        if (count == 0)
            throw Error("the file is cut off before its voxels");
        rest -= count;
    }
}

} // namespace

vtkSmartPointer<vtkImageData> ReadNiftiFile(std::filesystem::path const& path,
                                            std::shared_ptr<Common::IProgressDelegate> const& progress,
                                            ImageFileReport& report) {
    PackedFile file(path, 0, PackedFile::IsGzip(path));
    Header const header = ReadHeader(file);
    int const type = VoxelType(header);
    ImageGrid const grid = Place(header, report);
    CheckGrid(grid);
    SkipTo(file, header);
    std::uint64_t const slice = static_cast<std::uint64_t>(grid.size[0] * grid.size[1]);
    auto const values = ReadVoxels(file, NumberOfVoxels(grid), slice, type, header.IsBigEndian(), progress);
    // Zero stands for no scaling, and so does what is no number.
    double const slope = header.Number(header.Where().slope);
    double const intercept = header.Number(header.Where().inter);
    bool const scaled = slope != 0.0 && std::isfinite(slope) && std::isfinite(intercept);
    return MakeImage(grid, *(scaled ? Rescale(values, slope, intercept) : values));
}

} // namespace KetSDK::MeshVTK
