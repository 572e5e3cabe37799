#include <KetSDK/MeshVTK/MetaImageFile.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/ImageParts.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <KetSDK/MeshVTK/PackedFile.h>
#include <KetSDK/MeshVTK/TextLines.h>

#include <vtkDataArray.h>
#include <vtkImageData.h>

#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshVTK {

namespace {

constexpr std::size_t LongestHeader = 1u << 16;

// The lines "key = value" up to the one that says where the voxels are, which ends the header.
class Header {
public:
    explicit Header(std::string_view text) {
        TextLines lines(text);
        while (lines.Next() && !Has("elementdatafile")) {
            std::string_view const line = lines.Line();
            std::size_t const equals = line.find('=');
            if (equals == std::string_view::npos)
                break;
            m_values[LowerCase(Trim(line.substr(0, equals)))] = Trim(line.substr(equals + 1));
            m_size = lines.Position();
        }
        if (!Has("elementdatafile"))
            throw Error(m_values.contains("dimsize")
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
        return text.starts_with('t') || text.starts_with('1') || text.starts_with('y');
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

    std::map<std::string, std::string> m_values; // by key in lower case
    std::size_t m_size = 0;
};

int VoxelType(Header const& header) {
    struct Type {
        char const* name;
        int vtk;
    };
    constexpr Type types[] = {{"met_char", VTK_SIGNED_CHAR},
                              {"met_uchar", VTK_UNSIGNED_CHAR},
                              {"met_short", VTK_SHORT},
                              {"met_ushort", VTK_UNSIGNED_SHORT},
                              {"met_int", VTK_INT},
                              {"met_uint", VTK_UNSIGNED_INT},
                              {"met_long", VTK_INT}, // 32 bits in this format
                              {"met_ulong", VTK_UNSIGNED_INT},
                              {"met_long_long", VTK_LONG_LONG},
                              {"met_ulong_long", VTK_UNSIGNED_LONG_LONG},
                              {"met_float", VTK_FLOAT},
                              {"met_double", VTK_DOUBLE}};
    std::string const name = header.Text({"elementtype"});
    for (Type const& type : types)
        if (LowerCase(name) == type.name)
            return type.vtk;
    throw Error("voxels of type \"" + name +
                "\" cannot be read; one integer, float or double per voxel is needed");
}

ImageGrid Place(Header const& header) {
    std::vector<double> const size = header.Numbers({"dimsize"});
    std::size_t const dimensions = size.size();
    double const stated = header.Number({"ndims"}, static_cast<double>(dimensions));
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
    std::vector<double> const origin = list({"offset", "origin", "position"}, dimensions);
    std::vector<double> const spacing = list({"elementspacing", "elementsize"}, dimensions);
    std::vector<double> const matrix =
        list({"transformmatrix", "rotation", "orientation"}, dimensions * dimensions);
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
    if (header.Has("binarydata") && !header.IsTrue({"binarydata"}))
        throw Error("voxels as text cannot be read; binary ones are needed");
    double const channels = header.Number({"elementnumberofchannels"}, 1.0);
    if (channels != 1.0)
        throw Error("the image has " + std::to_string(static_cast<int>(channels)) +
                    " values for each voxel; one is needed");
}

// The file with the voxels and where in it they begin.
struct Voxels {
    std::filesystem::path path;
    std::uint64_t offset;
};

Voxels FindVoxels(std::filesystem::path const& path, Header const& header, std::uint64_t bytes) {
    std::string const name = header.Text({"elementdatafile"});
    if (LowerCase(name) == "local")
        return {path, header.Size()};
    if (LowerCase(name).starts_with("list") || name.find('%') != std::string::npos)
        throw Error("voxels in several files cannot be read; one data file is needed");
    std::filesystem::path const data = path.parent_path() / name;
    std::error_code error;
    std::uintmax_t const size = std::filesystem::file_size(data, error);
    if (name.empty() || error)
        throw Error("its voxels should be in the file \"" + name + "\", which cannot be opened");
    double const skipped = header.Number({"headersize"}, 0.0);
    if (skipped == -1.0) // the voxels are what the file ends with
        return {data, size - std::min<std::uint64_t>(size, bytes)};
    if (!(skipped >= 0.0 && skipped <= 1e15))
        throw Error("the header is damaged: HeaderSize must be a number of bytes, or -1");
    return {data, static_cast<std::uint64_t>(skipped)};
}

} // namespace

vtkSmartPointer<vtkImageData> ReadMetaImageFile(std::filesystem::path const& path,
                                                std::shared_ptr<Common::IProgressDelegate> const& progress,
                                                ImageFileReport&) {
    std::string const text = FirstBytes(path, LongestHeader);
    Header const header(text);
    CheckKind(header);
    int const type = VoxelType(header);
    ImageGrid const grid = Place(header);
    CheckGrid(grid);
    std::uint64_t const voxels = NumberOfVoxels(grid);
    bool const packed = header.IsTrue({"compresseddata"});
    Voxels const where =
        FindVoxels(path, header, voxels * static_cast<std::uint64_t>(vtkDataArray::GetDataTypeSize(type)));
    PackedFile file(where.path, where.offset, packed);
    auto const values =
        ReadVoxels(file, voxels, static_cast<std::uint64_t>(grid.size[0] * grid.size[1]), type,
                   header.IsTrue({"binarydatabyteordermsb", "elementbyteordermsb"}), progress);
    return MakeImage(grid, *Rescale(values, header.Number({"elementtointensityfunctionslope"}, 1.0),
                                    header.Number({"elementtointensityfunctionoffset"}, 0.0)));
}

} // namespace KetSDK::MeshVTK
