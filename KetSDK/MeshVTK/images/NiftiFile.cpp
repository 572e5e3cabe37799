#include <KetSDK/MeshVTK/images/NiftiFile.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>
#include <KetSDK/MeshVTK/detail/VtkSession.h>
#include <KetSDK/MeshVTK/images/ImageParts.h>

#include <vtkDataArray.h>
#include <vtkImageData.h>
#include <vtkMatrix4x4.h>
#include <vtkNIFTIImageHeader.h>
#include <vtkNIFTIImageReader.h>
#include <vtkNew.h>
#include <vtkPointData.h>

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

namespace {

constexpr char const* GzipMagic = "\x1F\x8B";

constexpr std::size_t SmallestHeader = 348; // in version 1
constexpr std::size_t LargestHeader = 540;  // in version 2

// What is in a file, unpacked where it is packed.
struct Content {
    std::string first; // bytes, enough for a header
    std::uint64_t size = 0;
};

// Unpacks all of a packed file: VTK's reader makes room for what the header claims and stops before the
// checksum. Throws Error when packed data is damaged or cut off; throws Cancelled.
Content LookThrough(std::filesystem::path const& path,
                    std::shared_ptr<Common::IProgressDelegate> const& progress) {
    std::uint64_t const packed = std::filesystem::file_size(path);
    if (FirstBytes(path, 2) != GzipMagic)
        return {FirstBytes(path, LargestHeader), packed};
    std::unique_ptr<gzFile_s, int (*)(gzFile)> const file(gzopen(path.c_str(), "rb"), gzclose);
    if (!file)
        throw Error("it cannot be opened for reading");
    Common::IncrementalProgressReporter reporter(progress, "Checking file", packed, true);
    std::vector<char> chunk(std::size_t{1} << 18);
    Content content;
    int count = 0;
    while ((count = gzread(file.get(), chunk.data(), static_cast<unsigned int>(chunk.size()))) > 0) {
        if (content.size == 0)
            content.first.assign(chunk.data(), std::min(static_cast<std::size_t>(count), LargestHeader));
        content.size += static_cast<std::uint64_t>(count);
        reporter = static_cast<unsigned long long>(std::max<z_off_t>(gzoffset(file.get()), 0));
        if (reporter.IsCancelled())
            throw Cancelled();
    }
    int code = Z_OK;
    std::string const message = gzerror(file.get(), &code);
    if (code == Z_BUF_ERROR)
        throw Error("the file is cut off: its packed data has no end");
    if (count < 0 || code != Z_OK)
        throw Error("its packed data is damaged: " + message.substr(message.rfind(':') + 1));
    return content;
}

// Where a version of the format has the fields that are looked at. The first four bytes of a header say how
// long it is.
struct HeaderLayout {
    std::size_t bytes;
    std::size_t dimensions; // where their number stands
    std::size_t dimensions_bytes;
    std::size_t voxel_type; // where it stands, in two bytes
};
constexpr HeaderLayout Version1 = {SmallestHeader, 40, 2, 70};
constexpr HeaderLayout Version2 = {LargestHeader, 16, 8, 12};

// The signature of version 1 stands at the end of its header, that of version 2 behind the length.
constexpr std::size_t Signature1 = 344;
constexpr std::size_t Signature2 = 4;

// The types of voxels that VTK's reader knows and that are one number.
constexpr std::uint64_t VoxelTypes[] = {2, 4, 8, 16, 64, 256, 512, 768, 1024, 1280};

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

std::uint64_t NumberIn(std::string_view field, bool big_endian) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < field.size(); ++i)
        number = number << 8 | static_cast<unsigned char>(field[big_endian ? i : field.size() - 1 - i]);
    return number;
}

// VTK's reader takes files of an older format for NIfTI as well, and when it does not know the type of the
// voxels it looks for it beyond the end of its table, which crashes. The byte order must be the same by
// both fields that tell it.
void CheckHeader(std::string_view bytes) {
    if (bytes.size() < SmallestHeader)
        RefuseCut();
    HeaderLayout const& layout = LayoutOf(bytes);
    bool const big_endian = NumberIn(bytes.substr(0, 4), false) != layout.bytes;
    if (NumberIn(bytes.substr(0, 4), big_endian) != layout.bytes)
        RefuseFormat();
    if (bytes.size() < layout.bytes)
        RefuseCut();
    std::uint64_t const dimensions =
        NumberIn(bytes.substr(layout.dimensions, layout.dimensions_bytes), big_endian);
    if (dimensions < 1 || dimensions > 7)
        throw Error("the header is damaged: an image cannot have " + std::to_string(dimensions) +
                    " dimensions");
    std::uint64_t const type = NumberIn(bytes.substr(layout.voxel_type, 2), big_endian);
    if (std::ranges::find(VoxelTypes, type) == std::end(VoxelTypes))
        throw Error("voxels of type " + std::to_string(type) +
                    " cannot be read; one integer, float or double per voxel is needed");
}

std::array<std::int64_t, 3> Size(vtkNIFTIImageHeader& header) {
    std::array<std::int64_t, 3> size = {1, 1, 1};
    for (int i = 1; i <= header.GetDim(0); ++i) {
        if (i <= 3)
            size[static_cast<std::size_t>(i - 1)] = header.GetDim(i);
        else if (header.GetDim(i) != 1)
            throw Error("the image has " + std::to_string(header.GetDim(i)) +
                        " values for each voxel; one is needed");
    }
    return size;
}

void PlaceBySform(vtkNIFTIImageHeader& header, ImageGrid& grid) {
    double const* const rows[3] = {header.GetSRowX(), header.GetSRowY(), header.GetSRowZ()};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        Vector3 const step = {rows[0][axis], rows[1][axis], rows[2][axis]};
        double const length = std::hypot(step[0], step[1], step[2]);
        if (!(length > 0.0))
            throw Error("the header is damaged: its sform has a column of zeros");
        grid.spacing[axis] = length;
        for (std::size_t i = 0; i < 3; ++i)
            grid.axes[axis][i] = step[i] / length;
        grid.origin[axis] = rows[axis][3];
    }
}

// The reader makes a rotation of any quaternion, and a right-handed one of a left-handed one: then it
// turns the slices round.
void PlaceByQform(vtkNIFTIImageReader& reader, ImageGrid& grid) {
    vtkNIFTIImageHeader& header = *reader.GetNIFTIHeader();
    double const length = std::hypot(header.GetQuaternB(), header.GetQuaternC(), header.GetQuaternD());
    if (!(length <= 1.0005))
        throw Error("the header is damaged: the rotation of its qform is none");
    for (int axis = 0; axis < 3; ++axis)
        for (int i = 0; i < 3; ++i)
            grid.axes[static_cast<std::size_t>(axis)][static_cast<std::size_t>(i)] =
                reader.GetQFormMatrix()->GetElement(i, axis) * (axis == 2 ? reader.GetQFac() : 1.0);
    grid.origin = {header.GetQOffsetX(), header.GetQOffsetY(), header.GetQOffsetZ()};
}

// Millimetres in the unit of the header; an unknown unit is taken for millimetres.
double UnitOf(vtkNIFTIImageHeader& header) {
    switch (header.GetXYZTUnits() & 7) {
    case vtkNIFTIImageHeader::UnitsMeter:
        return 1000.0;
    case vtkNIFTIImageHeader::UnitsMicron:
        return 0.001;
    default:
        return 1.0;
    }
}

ImageGrid Place(vtkNIFTIImageReader& reader, ImageFileReport& report) {
    vtkNIFTIImageHeader& header = *reader.GetNIFTIHeader();
    ImageGrid grid;
    grid.size = Size(header);
    for (std::size_t i = 0; i < 3; ++i)
        grid.spacing[i] = std::fabs(header.GetPixDim(static_cast<int>(i) + 1));
    if (header.GetSFormCode() > 0)
        PlaceBySform(header, grid);
    else if (reader.GetQFormMatrix())
        PlaceByQform(reader, grid);
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

void ReverseSlices(vtkDataArray& values, ImageGrid const& grid) {
    std::int64_t const bytes = grid.size[0] * grid.size[1] * values.GetDataTypeSize();
    auto* const begin = static_cast<char*>(values.GetVoidPointer(0));
    for (std::int64_t k = 0; k < grid.size[2] / 2; ++k)
        std::swap_ranges(begin + k * bytes, begin + (k + 1) * bytes, begin + (grid.size[2] - 1 - k) * bytes);
}

} // namespace

vtkSmartPointer<vtkImageData> ReadNiftiFile(std::filesystem::path const& path,
                                            std::shared_ptr<Common::IProgressDelegate> const& progress,
                                            ImageFileReport& report) {
    Content const content = LookThrough(path, progress);
    CheckHeader(content.first);
    VtkSession session(progress, "Reading file");
    vtkNew<vtkNIFTIImageReader> reader;
    reader->SetFileName(path.c_str());
    reader->UpdateInformation();
    vtkNIFTIImageHeader& header = *reader->GetNIFTIHeader();
    ImageGrid const grid = Place(*reader, report);
    CheckGrid(grid);
    session.Check("its header cannot be read");
    std::int64_t const begin = header.GetVoxOffset();
    if (begin < (header.GetMagic()[2] == '2' ? 544 : 352))
        throw Error("the header is damaged: the voxels cannot begin at byte " + std::to_string(begin));
    auto const offset = static_cast<std::uint64_t>(begin);
    CheckVoxelBytes(content.size - std::min(content.size, offset), grid,
                    vtkDataArray::GetDataTypeSize(reader->GetDataScalarType()));

    session.Run(*reader, "it cannot be read");
    vtkSmartPointer<vtkDataArray> const values = reader->GetOutput()->GetPointData()->GetScalars();
    if (reader->GetQFac() < 0.0)
        ReverseSlices(*values, grid);
    // Zero stands for no scaling, and so does what is no number.
    double const slope = header.GetSclSlope();
    double const intercept = header.GetSclInter();
    bool const scaled = slope != 0.0 && std::isfinite(slope) && std::isfinite(intercept);
    return MakeImage(grid, *(scaled ? Rescale(values, slope, intercept) : values));
}

} // namespace KetSDK::MeshVTK::Detail
