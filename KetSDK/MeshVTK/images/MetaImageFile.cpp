// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/images/MetaImageFile.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/checks/TextLines.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>
#include <KetSDK/MeshVTK/images/ByteSource.h>
#include <KetSDK/MeshVTK/images/ImageParts.h>

#include <vtkDataArray.h>
#include <vtkImageData.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

namespace {

// VTK's reader leaves out the directions of the axes, does not notice voxels that are cut off, damaged or of
// a type that it does not know, and reads files by name. So these files are read here.

constexpr std::size_t LongestHeader = 1u << 16;
constexpr std::size_t LongestLine = 1000; // as of other readers

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

ImageGrid GridOf(Header const& header) {
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

// The file with the voxels and where in it they are.
struct Voxels {
    std::unique_ptr<OpenFile> own; // null when they are behind the header
    OpenFile const* file;
    std::uint64_t offset = 0;
    std::uint64_t size = 0; // bytes from there on
};

// Opens a data file that is named in a header.
std::unique_ptr<OpenFile> OpenDataFile(std::filesystem::path const& folder, std::string const& name) {
    try {
        return std::make_unique<OpenFile>(folder / name, "data");
    } catch (Error const& error) {
        throw Error("its voxels should be in the file \"" + name + "\", which cannot be opened (" +
                    error.what() + ")");
    }
}

Voxels FindVoxels(std::filesystem::path const& path, OpenFile const& file, Header const& header,
                  std::uint64_t bytes) {
    std::string const name = header.Text({"ElementDataFile"});
    double const skipped = header.Number({"HeaderSize"}, 0.0);
    Voxels voxels{nullptr, &file, header.Size(), 0};
    bool const local = name == "LOCAL";
    if (local && skipped != 0.0)
        throw Error("the header is damaged: HeaderSize is for voxels in a file of their own");
    if (LowerCase(name).starts_with("list") || name.find('%') != std::string::npos)
        throw Error("voxels in several files cannot be read; one data file is needed");
    if (!local) {
        auto own = OpenDataFile(path.parent_path(), name);
        OpenFile const* const opened = own.get();
        voxels = {std::move(own), opened, 0, 0};
    }
    std::uint64_t const size = voxels.file->Size();
    if (skipped == -1.0) // the voxels are what the file ends with
        voxels.offset = size - std::min(size, bytes);
    else if (!(skipped >= 0.0 && skipped <= 1e15))
        throw Error("the header is damaged: HeaderSize must be a number of bytes, or -1");
    else
        voxels.offset += static_cast<std::uint64_t>(skipped);
    voxels.size = size - std::min(size, voxels.offset);
    return voxels;
}

// Packed voxels are as long as the header says, else they are the whole file.
void LimitToPacked(Header const& header, Voxels& voxels, std::uint64_t needed) {
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
    ByteSource::CheckPacked(voxels.size, needed);
}

} // namespace

vtkSmartPointer<vtkImageData> ReadMetaImageFile(std::filesystem::path const& path, OpenFile const& file,
                                                std::shared_ptr<Common::IProgressDelegate> const& progress,
                                                ImageFileReport&) {
    std::string const text = file.First(LongestHeader);
    Header const header(text);
    CheckKind(header);
    int const type = VoxelType(header);
    int const bytes = vtkDataArray::GetDataTypeSize(type);
    ImageGrid const grid = GridOf(header);
    CheckGrid(grid);
    std::uint64_t const needed = NumberOfVoxels(grid) * static_cast<std::uint64_t>(bytes);
    Voxels voxels = FindVoxels(path, file, header, needed);
    bool const packed = header.IsTrue({"CompressedData"});
    if (packed)
        LimitToPacked(header, voxels, needed);
    else
        CheckVoxelBytes(voxels.size, grid, bytes);
    Common::IncrementalProgressReporter reporter(progress, "Reading file", voxels.size, true);
    ByteSource source(*voxels.file, voxels.offset, voxels.size,
                      packed ? ByteSource::Packing::Zlib : ByteSource::Packing::None);
    bool const big_endian = header.IsTrue({"BinaryDataByteOrderMSB", "ElementByteOrderMSB"});
    auto const values = ReadVoxels(source, grid, type, big_endian, reporter);
    return MakeImage(grid, *Rescale(values, header.Number({"ElementToIntensityFunctionSlope"}, 1.0),
                                    header.Number({"ElementToIntensityFunctionOffset"}, 0.0)));
}

} // namespace KetSDK::MeshVTK::Detail
