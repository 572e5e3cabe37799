#include <KetSDK/MeshVTK/images/MetaImageFile.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/checks/TextLines.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>
#include <KetSDK/MeshVTK/detail/VtkSession.h>
#include <KetSDK/MeshVTK/images/ImageParts.h>

#include <vtkDataArray.h>
#include <vtkImageData.h>
#include <vtkMetaImageReader.h>
#include <vtkNew.h>
#include <vtkPointData.h>

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

namespace {

// VTK's reader leaves out the directions of the axes, and does not notice voxels that are cut off, damaged
// or of a type that it does not know. So the header is looked at here as well.

constexpr std::size_t LongestHeader = 1u << 16;
constexpr std::size_t LongestLine = 1000; // the reader's lines are of limited length

// The lines "key = value" up to the one that says where the voxels are, which ends the header.
class Header {
public:
    explicit Header(std::string_view text) {
        TextLines lines(text);
        while (!Has("ElementDataFile") && lines.Next()) {
            std::string_view const line = lines.Line();
            std::size_t const equals = line.find('=');
            if (equals == std::string_view::npos)
                break;
            std::string const key(Trim(line.substr(0, equals)));
            if (line.size() > LongestLine || !m_values.emplace(key, Trim(line.substr(equals + 1))).second)
                throw Error("the header is damaged: there is a line too long or twice");
            m_size = lines.Position();
        }
        if (!Has("ElementDataFile"))
            throw Error(Has("DimSize")
                            ? "the file is cut off in its header: it does not say where the voxels are"
                            : "this is no MetaImage, though its name says so");
    }

    // Bytes up to the end of the header.
    std::size_t Size() const noexcept { return m_size; }
    bool Has(std::string const& key) const { return m_values.contains(key); }

    // The value of the first of these keys that there is; empty for none.
    std::string Text(std::initializer_list<char const*> keys) const {
        for (char const* const key : keys)
            if (auto const found = m_values.find(key); found != m_values.end())
                return found->second;
        return "";
    }
    bool IsTrue(std::initializer_list<char const*> keys) const {
        std::string const text = LowerCase(Text(keys));
        return text.starts_with('t') || text.starts_with('1');
    }
    // The numbers of a value; none when there is no such key.
    std::vector<double> Numbers(std::initializer_list<char const*> keys) const {
        std::string const text = Text(keys);
        TextLines line(text);
        std::vector<double> numbers;
        if (line.Next())
            for (std::string_view const word : line.Words()) {
                auto const number = AsNumber(word);
                if (!number)
                    throw Error("the header is damaged: \"" + text + "\" should be numbers");
                numbers.push_back(*number);
            }
        return numbers;
    }
    double Number(std::initializer_list<char const*> keys, double otherwise) const {
        std::vector<double> const numbers = Numbers(keys);
        return numbers.empty() ? otherwise : numbers[0];
    }

private:
    static std::string_view Trim(std::string_view text) {
        constexpr char const* space = " \t\r";
        std::size_t const begin = text.find_first_not_of(space);
        return begin == std::string_view::npos ? std::string_view()
                                               : text.substr(begin, text.find_last_not_of(space) - begin + 1);
    }

    std::map<std::string, std::string> m_values;
    std::size_t m_size = 0;
};

int VoxelType(Header const& header) {
    struct Type {
        char const* name;
        int vtk;
    };
    constexpr Type types[] = {{"MET_CHAR", VTK_SIGNED_CHAR}, {"MET_UCHAR", VTK_UNSIGNED_CHAR},
                              {"MET_SHORT", VTK_SHORT},      {"MET_USHORT", VTK_UNSIGNED_SHORT},
                              {"MET_INT", VTK_INT},          {"MET_UINT", VTK_UNSIGNED_INT},
                              {"MET_FLOAT", VTK_FLOAT},      {"MET_DOUBLE", VTK_DOUBLE}};
    std::string const name = header.Text({"ElementType"});
    for (Type const& type : types)
        if (name == type.name)
            return type.vtk;
    throw Error("voxels of type \"" + name +
                "\" cannot be read; an integer of up to 32 bits, float or double is needed");
}

ImageGrid Place(Header const& header) {
    std::vector<double> const size = header.Numbers({"DimSize"});
    std::size_t const dimensions = size.size();
    double const stated = header.Number({"NDims"}, static_cast<double>(dimensions));
    if (dimensions < 2 || dimensions > 3 || stated != static_cast<double>(dimensions))
        throw Error("an image of two or three dimensions is needed; DimSize has " +
                    std::to_string(dimensions) + " numbers");
    // So many numbers, or none of them.
    auto const list = [&](std::initializer_list<char const*> keys, std::size_t count) {
        std::vector<double> const numbers = header.Numbers(keys);
        if (!numbers.empty() && numbers.size() != count)
            throw Error(std::string("the header is damaged: ") + *keys.begin() + " should be " +
                        std::to_string(count) + " numbers");
        return numbers;
    };
    std::vector<double> const origin = list({"Offset", "Origin", "Position"}, dimensions);
    std::vector<double> const spacing = list({"ElementSpacing", "ElementSize"}, dimensions);
    std::vector<double> const matrix =
        list({"TransformMatrix", "Rotation", "Orientation"}, dimensions * dimensions);
    ImageGrid grid;
    for (std::size_t i = 0; i < dimensions; ++i) {
        bool const in_range = size[i] >= 1.0 && size[i] <= 9e15 && std::floor(size[i]) == size[i];
        grid.size[i] = in_range ? static_cast<std::int64_t>(size[i]) : 0;
        if (!origin.empty())
            grid.origin[i] = origin[i];
        if (!spacing.empty())
            grid.spacing[i] = spacing[i];
        // The direction of one axis after the other.
        for (std::size_t k = 0; k < dimensions && !matrix.empty(); ++k)
            grid.axes[i][k] = matrix[dimensions * i + k];
    }
    return grid;
}

void CheckKind(Header const& header) {
    if (header.Has("BinaryData") && !header.IsTrue({"BinaryData"}))
        throw Error("voxels as text cannot be read; binary ones are needed");
    if (header.Number({"ElementNumberOfChannels"}, 1.0) != 1.0)
        throw Error("the image has " + header.Text({"ElementNumberOfChannels"}) +
                    " values for each voxel; one is needed");
}

// The file with the voxels and where in it they begin.
struct Voxels {
    std::filesystem::path path;
    std::uint64_t offset = 0;
    std::uint64_t size = 0; // bytes from there on
};

Voxels FindVoxels(std::filesystem::path const& path, Header const& header, std::uint64_t bytes) {
    std::string const name = header.Text({"ElementDataFile"});
    double const skipped = header.Number({"HeaderSize"}, 0.0);
    Voxels voxels{path, header.Size(), 0};
    bool const local = name == "LOCAL";
    if (local && skipped != 0.0)
        throw Error("the header is damaged: HeaderSize is for voxels in a file of their own");
    if (LowerCase(name).starts_with("list") || name.find('%') != std::string::npos)
        throw Error("voxels in several files cannot be read; one data file is needed");
    if (!local)
        voxels = {path.parent_path() / name, 0, 0};
    std::error_code error;
    std::uintmax_t const size = std::filesystem::file_size(voxels.path, error);
    if (name.empty() || error)
        throw Error("its voxels should be in the file \"" + name + "\", which cannot be opened");
    if (skipped == -1.0) // the voxels are what the file ends with
        voxels.offset = size - std::min<std::uint64_t>(size, bytes);
    else if (!(skipped >= 0.0 && skipped <= 1e15))
        throw Error("the header is damaged: HeaderSize must be a number of bytes, or -1");
    else
        voxels.offset += static_cast<std::uint64_t>(skipped);
    voxels.size = size - std::min<std::uint64_t>(size, voxels.offset);
    return voxels;
}

// How many bytes there are in packed voxels; stops beyond `most`. Throws Error when they are cut off or
// damaged; throws Cancelled.
std::uint64_t UnpackedSize(Voxels const& voxels, std::uint64_t most,
                           std::shared_ptr<Common::IProgressDelegate> const& progress) {
    std::ifstream file(voxels.path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(voxels.offset));
    std::vector<char> packed(std::size_t{1} << 16);
    std::vector<char> unpacked(std::size_t{1} << 18);
    z_stream stream{};
    if (inflateInit2(&stream, 15 + 32) != Z_OK) // largest window, zlib or gzip
        throw std::bad_alloc();
    std::unique_ptr<z_stream, int (*)(z_stream*)> const end(&stream, inflateEnd);
    Common::IncrementalProgressReporter reporter(progress, "Checking file", voxels.size, true);
    std::uint64_t rest = voxels.size;
    int result = Z_OK;
    while (result == Z_OK && stream.total_out <= most) {
        if (stream.avail_in == 0) {
            file.read(packed.data(),
                      static_cast<std::streamsize>(std::min<std::uint64_t>(rest, packed.size())));
            stream.next_in = reinterpret_cast<Bytef*>(packed.data());
            stream.avail_in = static_cast<uInt>(file.gcount());
            rest -= stream.avail_in;
        }
        stream.next_out = reinterpret_cast<Bytef*>(unpacked.data());
        stream.avail_out = static_cast<uInt>(unpacked.size());
        result = inflate(&stream, Z_NO_FLUSH);
        reporter = stream.total_in;
        if (reporter.IsCancelled())
            throw Cancelled();
    }
    if (result == Z_BUF_ERROR)
        throw Error("the file is cut off: its packed data has no end");
    if (result != Z_OK && result != Z_STREAM_END)
        throw Error(std::string("its packed data is damaged") +
                    (stream.msg ? std::string(": ") + stream.msg : ""));
    return stream.total_out;
}

// Packed voxels must be where the reader takes them from: as long as the header says, else the whole file.
void CheckPacked(Header const& header, Voxels voxels, ImageGrid const& grid, int bytes_per_voxel,
                 std::shared_ptr<Common::IProgressDelegate> const& progress) {
    double const size = header.Number({"CompressedDataSize"}, 0.0);
    if (size == 0.0 && (header.Text({"ElementDataFile"}) == "LOCAL" || voxels.offset != 0))
        throw Error("the header does not say how long its packed voxels are (CompressedDataSize)");
    if (header.Number({"HeaderSize"}, 0.0) == -1.0)
        throw Error("HeaderSize must be a number of bytes where voxels are packed");
    if (!(size >= 0.0 && size <= static_cast<double>(voxels.size)) || std::floor(size) != size)
        throw Error("the file is cut off: it holds " + std::to_string(voxels.size) +
                    " bytes of packed voxels and not as many as its header says");
    if (size > 0.0)
        voxels.size = static_cast<std::uint64_t>(size);
    std::uint64_t const needed = NumberOfVoxels(grid) * static_cast<std::uint64_t>(bytes_per_voxel);
    std::uint64_t const present = UnpackedSize(voxels, needed, progress);
    CheckVoxelBytes(present, grid, bytes_per_voxel);
    if (present != needed)
        throw Error("the file holds more voxels than its header says");
}

} // namespace

vtkSmartPointer<vtkImageData> ReadMetaImageFile(std::filesystem::path const& path,
                                                std::shared_ptr<Common::IProgressDelegate> const& progress,
                                                ImageFileReport&) {
    std::string const text = FirstBytes(path, LongestHeader);
    Header const header(text);
    CheckKind(header);
    int const type = VoxelType(header);
    int const bytes = vtkDataArray::GetDataTypeSize(type);
    ImageGrid const grid = Place(header);
    CheckGrid(grid);
    Voxels const voxels = FindVoxels(path, header, NumberOfVoxels(grid) * static_cast<std::uint64_t>(bytes));
    if (header.IsTrue({"CompressedData"}))
        CheckPacked(header, voxels, grid, bytes, progress);
    else
        CheckVoxelBytes(voxels.size, grid, bytes);

    VtkSession session(progress, "Reading file");
    vtkNew<vtkMetaImageReader> reader;
    reader->SetFileName(path.c_str());
    reader->UpdateInformation();
    session.Check("its header cannot be read");
    int const* const extent = reader->GetDataExtent();
    for (std::size_t i = 0; i < 3; ++i)
        if (extent[2 * i] != 0 || extent[2 * i + 1] + 1 != grid.size[i])
            throw Error("the header is damaged: its lines contradict each other");
    if (reader->GetDataScalarType() != type || reader->GetNumberOfScalarComponents() != 1)
        throw Error("the header is damaged: its lines contradict each other");
    session.Run(*reader, "it cannot be read");
    vtkSmartPointer<vtkDataArray> const values = reader->GetOutput()->GetPointData()->GetScalars();
    return MakeImage(grid, *Rescale(values, header.Number({"ElementToIntensityFunctionSlope"}, 1.0),
                                    header.Number({"ElementToIntensityFunctionOffset"}, 0.0)));
}

} // namespace KetSDK::MeshVTK::Detail
