// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/checks/XmlFileCheck.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/checks/TextLines.h>
#include <KetSDK/MeshVTK/checks/XmlMarkup.h>
#include <KetSDK/MeshVTK/detail/ArrayValues.h>
#include <KetSDK/MeshVTK/detail/MemoryStream.h>
#include <KetSDK/MeshVTK/detail/NumberOfBytes.h>

#include <vtkBase64Utilities.h>
#include <vtkDataCompressor.h>
#include <vtkDataSet.h>
#include <vtkLZ4DataCompressor.h>
#include <vtkLZMADataCompressor.h>
#include <vtkNew.h>
#include <vtkSmartPointer.h>
#include <vtkXMLDataElement.h>
#include <vtkXMLDataParser.h>
#include <vtkZLibDataCompressor.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

namespace {

using Count = std::uint64_t;

// Larger blocks and counts than these are no file's: products of two stay below 64 bits.
constexpr Count LargestBlock = Count{1} << 32;
constexpr Count LargestCount = Count{1} << 31;
// All names in one array together.
constexpr Count LargestNames = Count{1} << 26;
// How many times as large as the file all of its arrays together may be, before they are unpacked: arrays can
// have their data at one place.
constexpr Count MostSharing = 16;

std::string Attribute(vtkXMLDataElement& element, char const* name) {
    char const* const value = element.GetAttribute(name);
    return value ? value : "";
}

// A count in an attribute; nothing when there is none or it is no count.
std::optional<Count> CountAttribute(vtkXMLDataElement& element, char const* name) {
    std::string const text = Attribute(element, name);
    long long value = 0;
    if (text.empty() || !element.GetScalarAttribute(name, value) || value < 0 ||
        static_cast<Count>(value) >= LargestCount)
        return std::nullopt;
    return static_cast<Count>(value);
}

// Whether so short a word with such an exponent is out of range because it is too close to 0.
bool IsTiny(std::string_view word) {
    return word.size() < 64 && (word.find("e-") != word.npos || word.find("E-") != word.npos);
}

// Whether VTK's reader takes a word, whole and nothing else, for a number of that type. It drops the sign of
// an infinite one.
template <typename T>
bool IsNumberOf(std::string_view word) {
    if (word.size() > 1 && word[0] == '+' && word[1] != '-')
        word.remove_prefix(1);
    std::conditional_t<std::is_integral_v<T>, T, double> value{};
    auto const [end, fault] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (end != word.data() + word.size())
        return false;
    if constexpr (std::is_integral_v<T>)
        return fault == std::errc();
    else if (fault != std::errc())
        return fault == std::errc::result_out_of_range && IsTiny(word);
    else if (std::isfinite(value))
        return std::abs(value) <= static_cast<double>(std::numeric_limits<T>::max());
    else
        return word.size() <= std::string_view("-nan").size() && !(value < 0);
}

struct NumberType {
    Count bytes;
    bool (*is_number)(std::string_view word);
};

// Null for types whose values have no fixed size.
NumberType const* FindType(std::string const& name) {
    static std::map<std::string, NumberType> const types = {
        {"Int8", {1, IsNumberOf<std::int8_t>}},   {"UInt8", {1, IsNumberOf<std::uint8_t>}},
        {"Int16", {2, IsNumberOf<std::int16_t>}}, {"UInt16", {2, IsNumberOf<std::uint16_t>}},
        {"Int32", {4, IsNumberOf<std::int32_t>}}, {"UInt32", {4, IsNumberOf<std::uint32_t>}},
        {"Int64", {8, IsNumberOf<std::int64_t>}}, {"UInt64", {8, IsNumberOf<std::uint64_t>}},
        {"Float32", {4, IsNumberOf<float>}},      {"Float64", {8, IsNumberOf<double>}}};
    auto const found = types.find(name);
    return found == types.end() ? nullptr : &found->second;
}

Count BytesOfType(std::string const& name) {
    NumberType const* const type = FindType(name);
    return type ? type->bytes : 0;
}

bool IsBase64Digit(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '+' || character == '/';
}

// Where a surface has its cells, by sort.
constexpr char const* CellSections[] = {"Verts", "Lines", "Strips", "Polys"};

bool IsCellSection(std::string const& section) {
    return std::ranges::find(CellSections, section) != std::end(CellSections);
}

// Whether VTK's reader takes whatever stands in a section for an array, by any name.
bool HoldsArraysOnly(std::string const& section) {
    return section == "FieldData" || section == "PointData" || section == "CellData" || section == "Points" ||
           section == "Cells" || IsCellSection(section);
}

// How the data of a file is packed.
struct Packing {
    vtkSmartPointer<vtkDataCompressor> compressor; // null for data that is not packed
    Count most_per_byte = 0;                       // bytes that one packed byte can stand for
};

Packing MakePacking(std::string const& name) {
    if (name.empty())
        return {};
    if (name == "vtkZLibDataCompressor")
        return {vtkSmartPointer<vtkZLibDataCompressor>::New(), 1032};
    if (name == "vtkLZ4DataCompressor")
        return {vtkSmartPointer<vtkLZ4DataCompressor>::New(), 255};
    if (name == "vtkLZMADataCompressor")
        return {vtkSmartPointer<vtkLZMADataCompressor>::New(), 16384};
    throw Error("the file is packed in the unknown way \"" + name + "\"");
}

// A stretch of the file with the data of an array, raw or as base64.
struct Stretch {
    std::string_view text;
    bool base64;

    // Upper limit of the bytes that it can hold.
    Count Capacity() const { return base64 ? (text.size() + 3) / 4 * 3 : text.size(); }

    // How many of the first `count` bytes can be read. VTK's reader takes base64 in whole groups of four
    // characters.
    Count Readable(Count count) const {
        if (!base64)
            return std::min<Count>(count, text.size());
        Count bytes = 0;
        for (std::size_t at = 0; at + 4 <= text.size() && bytes < count; at += 4) {
            std::string_view const group = text.substr(at, 4);
            std::size_t const digits = std::min(group.find('='), group.size());
            if (digits < 2 || group.find_first_not_of('=', digits) != group.npos ||
                !std::ranges::all_of(group.substr(0, digits), IsBase64Digit))
                break;
            bytes += digits - 1;
            if (digits < 4)
                break;
        }
        return std::min(bytes, count);
    }

    // The first `count` bytes, or fewer when it ends before.
    std::string First(Count count) const {
        count = Readable(count);
        if (!base64)
            return std::string(text.substr(0, static_cast<std::size_t>(count)));
        std::string bytes(static_cast<std::size_t>(count), '\0');
        vtkBase64Utilities::DecodeSafely(reinterpret_cast<unsigned char const*>(text.data()), text.size(),
                                         reinterpret_cast<unsigned char*>(bytes.data()), bytes.size());
        return bytes;
    }
};

class XmlFile {
public:
    explicit XmlFile(FileBytes const& file)
        : m_file(file)
        , m_content(file.View()) {}

    XmlCounts Check(vtkXMLDataParser& parser) {
        vtkXMLDataElement& root = *parser.GetRootElement();
        m_word_bytes = Attribute(root, "header_type") == "UInt64" ? 8 : 4;
        m_big_endian = Attribute(root, "byte_order") == "BigEndian";
        m_packing = MakePacking(Attribute(root, "compressor"));
        m_compressed = m_packing.compressor != nullptr;
        if (vtkXMLDataElement* const appended = root.FindNestedElementWithName("AppendedData")) {
            m_appended = static_cast<std::size_t>(parser.GetAppendedDataPosition());
            m_file.Load(m_content.substr(std::min(m_appended, m_content.size() - 1), 1));
            if (m_appended < m_content.size() && m_content[m_appended - 1] != '_' &&
                m_content[m_appended] == '_')
                ++m_appended;
            m_appended_base64 = Attribute(*appended, "encoding") != "raw";
        }
        if (m_compressed || m_appended_base64)
            m_file.Load(m_content);
        if (vtkXMLDataElement* const image = root.FindNestedElementWithName("ImageData"))
            CheckPiecesOfImage(*image);
        CheckBelow(root, root);
        return m_counts;
    }

private:
    // Looks at the arrays in `parent` and below; `piece` is the Piece around them.
    void CheckBelow(vtkXMLDataElement& parent, vtkXMLDataElement& piece) {
        for (int i = 0; i < parent.GetNumberOfNestedElements(); ++i) {
            vtkXMLDataElement& element = *parent.GetNestedElement(i);
            std::string const name = element.GetName();
            if (name == "Piece") {
                m_counts.points += Points(element);
                m_counts.cells += Cells(element);
            }
            if (name == "DataArray" || name == "Array" || HoldsArraysOnly(parent.GetName()))
                CheckArray(element, parent.GetName(), piece);
            else
                CheckBelow(element, name == "Piece" ? element : piece);
        }
        if (std::string const section = parent.GetName(); section == "Cells" || IsCellSection(section))
            CheckCellList(parent);
    }

    // VTK's reader makes room for as many point numbers as the last offset says.
    void CheckCellList(vtkXMLDataElement& section) const {
        vtkXMLDataElement* const offsets = FindArray(section, "offsets");
        vtkXMLDataElement* const points = FindArray(section, "connectivity");
        if (!offsets || !points)
            return; // it says that itself
        if (LastNumber(*offsets) != ValuesIn(*points))
            throw Error(std::string("the offsets of the ") +
                        (IsCellSection(section.GetName()) ? "polygons" : "cells") +
                        " do not fit the list of their points");
        for (char const* const name : {"faces", "faceoffsets"})
            if (vtkXMLDataElement* const faces = FindArray(section, name); faces && ValuesIn(*faces) > 0)
                throw Error("there are polyhedra; meshes are made of tetrahedra, hexahedra and wedges");
    }

    // The array that VTK's reader takes.
    static vtkXMLDataElement* FindArray(vtkXMLDataElement& section, std::string const& name) {
        for (int i = 0; i < section.GetNumberOfNestedElements(); ++i)
            if (vtkXMLDataElement& array = *section.GetNestedElement(i); Attribute(array, "Name") == name)
                return &array;
        return nullptr;
    }

    void CheckArray(vtkXMLDataElement& array, std::string const& section, vtkXMLDataElement& piece) {
        Count const components =
            Attribute(array, "NumberOfComponents").empty() ? 1 : Required(array, "NumberOfComponents");
        std::optional<Count> tuples;
        std::string const name = Attribute(array, "Name");
        if (section == "Points" || section == "PointData")
            tuples = Points(piece);
        else if (section == "CellData")
            tuples = Cells(piece);
        else if (section == "Cells" && (name == "offsets" || name == "types"))
            tuples = Required(piece, "NumberOfCells");
        else if (name == "offsets" && IsCellSection(section))
            tuples = CountAttribute(piece, ("NumberOf" + section).c_str()).value_or(0);
        else if (section == "FieldData")
            tuples = Required(array, "NumberOfTuples");

        Count const values = ValuesIn(array);
        if (IsText(array))
            CheckNumbers(array, name);
        else
            AddStored(BytesOfData(DataOf(array), name).stored);
        if (section == "CellData" && !IsText(array))
            CheckReadable(array, name);
        CheckComponents(name, components, values);
        bool const is_bits = Attribute(array, "type") == "Bit"; // up to eight of them are one value
        if (tuples && is_bits && *tuples > 8 * values / std::max<Count>(components, 1))
            throw Error("the array \"" + name + "\" holds less than it announces");
        if (tuples && !is_bits && values != *tuples * components)
            throw Error("the array \"" + name + "\" has " + std::to_string(values) + " values instead of " +
                        std::to_string(*tuples * components));
    }

    // VTK's reader crashes on an array of cells that it cannot read: its message names an array of points,
    // which need not be there.
    void CheckReadable(vtkXMLDataElement& array, std::string const& name) const {
        Stretch const data = DataOf(array);
        Count const bytes = BytesOfData(data, name).unpacked;
        if (m_compressed)
            Unpacked(data, bytes, name);
        else if (data.Readable(m_word_bytes + bytes) < m_word_bytes + bytes)
            Damaged(name);
    }

    // Bits are written as bytes, and strings as the numbers of their characters, with sign or without.
    void CheckNumbers(vtkXMLDataElement& array, std::string const& name) const {
        std::string const type_name = Attribute(array, "type");
        NumberType const* const type = FindType(type_name);
        auto const is_number = type ? type->is_number : IsNumberOf<std::int16_t>;
        std::string_view const text = Inline(array).text;
        ForEachWord(text, [&](std::string_view word) {
            if (!is_number(word))
                throw Error("the array \"" + name + "\" has the value \"" + std::string(word.substr(0, 40)) +
                            "\", which cannot be read as " + type_name);
            if (word.end() == text.end() && std::isalpha(static_cast<unsigned char>(word.back())))
                throw Error("the array \"" + name + "\" ends with \"" + std::string(word) +
                            "\", which can be read only with a space behind it");
        });
    }

    void AddStored(Count bytes) {
        m_stored += bytes;
        if (m_stored > MostSharing * m_content.size())
            throw Error("its arrays share their data so often that they are " + std::to_string(MostSharing) +
                        " times as large as the file");
    }

    // Whether the values of an array stand in its tag as text.
    static bool IsText(vtkXMLDataElement& array) {
        return Attribute(array, "format") != "binary" && !Offset(array); // as VTK's reader decides
    }

    Stretch DataOf(vtkXMLDataElement& array) const {
        std::optional<Count> const offset = Offset(array);
        return offset ? Appended(*offset) : Inline(array);
    }

    Count ValuesIn(vtkXMLDataElement& array) const {
        std::string const name = Attribute(array, "Name");
        std::string const type = Attribute(array, "type");
        Count const value_bytes = BytesOfType(type);
        if (value_bytes == 0 && type != "String" && type != "Bit") // VTK's reader crashes
            throw Error("the array \"" + name + "\" is of the unknown type \"" + type + "\"");
        if (IsText(array))
            return type == "String" ? TerminatorsInline(array) : WordsInline(array);
        Stretch const data = DataOf(array);
        Count const bytes = BytesOfData(data, name).unpacked;
        if (type != "String")
            return bytes / std::max<Count>(value_bytes, 1);
        if (bytes > LargestNames)
            Damaged(name);
        return Terminators(Unpacked(data, bytes, name));
    }

    // The last value of an array of whole numbers, 0 for an empty one; a negative one becomes too large for
    // any use.
    Count LastNumber(vtkXMLDataElement& array) const {
        std::string const name = Attribute(array, "Name");
        std::string const type = Attribute(array, "type");
        if (type.find("Int") == std::string::npos)
            throw Error("the array \"" + name + "\" holds no whole numbers");
        if (ValuesIn(array) == 0)
            return 0;
        if (IsText(array)) {
            std::string_view const text = Inline(array).text;
            std::size_t const end = text.find_last_not_of(" \t\r\n\v\f") + 1;
            std::size_t const begin = text.find_last_of(" \t\r\n\v\f", end - 1) + 1;
            return static_cast<Count>(AsWholeNumber(text.substr(begin, end - begin)).value_or(-1));
        }
        Stretch const data = DataOf(array);
        Count const bytes = BytesOfData(data, name).unpacked;
        auto const value_bytes = static_cast<std::size_t>(BytesOfType(type));
        Count const size = bytes - bytes % value_bytes;
        if (!m_compressed && !data.base64) { // where it stands, without a copy
            std::size_t const at = m_word_bytes + static_cast<std::size_t>(size) - value_bytes;
            if (at + value_bytes > data.text.size())
                Damaged(name);
            m_file.Load(data.text.substr(at, value_bytes));
            return Word(data.text.substr(at, value_bytes));
        }
        std::string const end = Unpacked(data, size, name, 2);
        if (end.size() < value_bytes)
            Damaged(name);
        return Word(std::string_view(end).substr(end.size() - value_bytes));
    }

    static Count Required(vtkXMLDataElement& element, char const* name) {
        std::optional<Count> const count = CountAttribute(element, name);
        if (!count)
            throw Error(std::string("the file has no valid ") + name + " for " + element.GetName());
        return *count;
    }

    using Extent = std::array<int, 6>; // first and last index along each axis

    static Extent ExtentOf(vtkXMLDataElement& element, char const* name) {
        Extent extent{};
        if (element.GetVectorAttribute(name, 6, extent.data()) != 6)
            throw Error(std::string("the file has no valid ") + name + " for " + element.GetName());
        return extent;
    }

    // How much a piece of an image holds: `ends` is 1 for its points and 0 for its cells, of which a flat
    // one has a layer.
    static Count InExtent(vtkXMLDataElement& piece, int ends) {
        Extent const extent = ExtentOf(piece, "Extent");
        Count count = 1;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            long long const length = static_cast<long long>(extent[2 * axis + 1]) - extent[2 * axis];
            count *= static_cast<Count>(std::max(length + ends, 1ll));
            if (length < 0 || count >= LargestCount)
                throw Error("the file has no valid Extent for Piece");
        }
        return count;
    }

    static Count Points(vtkXMLDataElement& piece) {
        return piece.GetAttribute("Extent") ? InExtent(piece, 1) : Required(piece, "NumberOfPoints");
    }

    // VTK's reader makes an image as large as its whole extent, whatever the pieces hold.
    static void CheckPiecesOfImage(vtkXMLDataElement& image) {
        vtkXMLDataElement* piece = nullptr; // beside it there may be field data
        int pieces = 0;
        for (int i = 0; i < image.GetNumberOfNestedElements(); ++i)
            if (vtkXMLDataElement* const nested = image.GetNestedElement(i);
                std::string_view(nested->GetName()) != "FieldData") {
                piece = nested;
                ++pieces;
            }
        if (pieces != 1 || ExtentOf(*piece, "Extent") != ExtentOf(image, "WholeExtent"))
            throw Error("the file does not hold the whole image in one piece");
    }

    // A piece of a surface has a count for each sort of cell that it may have.
    static Count Cells(vtkXMLDataElement& piece) {
        if (piece.GetAttribute("Extent"))
            return InExtent(piece, 0);
        if (piece.GetAttribute("NumberOfCells"))
            return Required(piece, "NumberOfCells");
        Count cells = 0;
        for (char const* const section : CellSections)
            cells += CountAttribute(piece, (std::string("NumberOf") + section).c_str()).value_or(0);
        return cells;
    }

    static std::optional<Count> Offset(vtkXMLDataElement& array) {
        if (!array.GetAttribute("offset"))
            return std::nullopt;
        long long offset = -1;
        array.GetScalarAttribute("offset", offset);
        return static_cast<Count>(offset); // a negative one is beyond every file
    }

    Stretch Appended(Count offset) const {
        if (m_appended == 0 || offset >= m_content.size() - std::min(m_appended, m_content.size()))
            throw Error("the file is cut off: there is no data where it should be");
        return {m_content.substr(m_appended + static_cast<std::size_t>(offset)), m_appended_base64};
    }

    Stretch Inline(vtkXMLDataElement& array) const {
        std::size_t begin = std::min(EndOfTag(m_content, static_cast<std::size_t>(array.GetXMLByteIndex())),
                                     m_content.size());
        while (begin < m_content.size() && std::isspace(static_cast<unsigned char>(m_content[begin])))
            ++begin;
        std::size_t const end = std::min(m_content.find('<', begin), m_content.size());
        return {m_content.substr(begin, end - begin), true};
    }

    template <typename Visit>
    static void ForEachWord(std::string_view text, Visit const& visit) {
        auto const is_space = [](char character) {
            return std::isspace(static_cast<unsigned char>(character)) != 0;
        };
        for (auto at = std::ranges::find_if_not(text, is_space); at != text.end();) {
            auto const end = std::find_if(at, text.end(), is_space);
            visit(std::string_view(at, end));
            at = std::find_if_not(end, text.end(), is_space);
        }
    }

    Count WordsInline(vtkXMLDataElement& array) const {
        Count words = 0;
        ForEachWord(Inline(array).text, [&words](std::string_view) { ++words; });
        return words;
    }

    // Strings end with a byte of 0 each. What stands behind the last one counts as another.
    static Count Terminators(std::string_view bytes) {
        auto const ends = static_cast<Count>(std::ranges::count(bytes, '\0'));
        return ends + (!bytes.empty() && bytes.back() != '\0');
    }

    // The same where each byte is written as a number.
    Count TerminatorsInline(vtkXMLDataElement& array) const {
        std::string bytes;
        TextLines lines(Inline(array).text);
        while (lines.Next())
            for (std::string_view const word : lines.Words())
                bytes.push_back(AsWholeNumber(word).value_or(0) == 0 ? '\0' : 'x');
        return Terminators(bytes);
    }

    // What stands in front of packed data.
    struct BlockHeader {
        Count block_bytes;         // of a block, once unpacked
        Count last_bytes;          // of the last one; 0: as the others
        std::vector<Count> packed; // bytes of each block in the file

        Count UnpackedBytes(std::size_t block) const {
            return block + 1 == packed.size() && last_bytes != 0 ? last_bytes : block_bytes;
        }
        Count UnpackedBytes() const {
            return packed.empty() ? 0 : (packed.size() - 1) * block_bytes + UnpackedBytes(packed.size() - 1);
        }
        // Of the header itself, in words.
        std::size_t Words() const { return 3 + packed.size(); }
    };

    BlockHeader HeaderOf(Stretch const& data, std::string const& name) const {
        std::vector<Count> words = Words(data, 3);
        if (words.size() < 3 || words[0] > data.Capacity())
            Damaged(name);
        Count const blocks = words[0];
        if (words[1] > LargestBlock || words[2] > words[1] || (blocks == 0 && words[2] != 0))
            Damaged(name);
        words = Words(data, 3 + blocks);
        if (words.size() < 3 + blocks)
            Damaged(name);
        return {words[1], words[2], {words.begin() + 3, words.end()}};
    }

    // The packed bytes of all blocks; fewer when the file ends before.
    std::string PackedBytes(Stretch const& data, BlockHeader const& header) const {
        std::size_t const bytes = header.Words() * m_word_bytes;
        std::size_t const begin = data.base64 ? (bytes + 2) / 3 * 4 : bytes;
        return Stretch{data.text.substr(std::min(begin, data.text.size())), data.base64}.First(
            std::accumulate(header.packed.begin(), header.packed.end(), Count{0}));
    }

    void AppendUnpacked(std::string& bytes, std::string_view packed, Count count,
                        std::string const& name) const {
        auto const size = static_cast<std::size_t>(count);
        std::size_t const to = bytes.size();
        bytes.resize(to + size);
        auto const* const in = reinterpret_cast<unsigned char const*>(packed.data());
        auto* const out = reinterpret_cast<unsigned char*>(bytes.data()) + to;
        if (m_packing.compressor->Uncompress(in, packed.size(), out, size) != size)
            Damaged(name);
    }

    // The first `size` bytes of an array, once unpacked; of packed data only those in the last `blocks`
    // blocks of it, which are checked on the way.
    std::string Unpacked(Stretch const& data, Count size, std::string const& name,
                         std::size_t blocks = ~std::size_t{0}) const {
        if (!m_compressed) {
            std::string const bytes = First(data, m_word_bytes + size);
            return bytes.substr(std::min<std::size_t>(m_word_bytes, bytes.size()));
        }
        BlockHeader const header = HeaderOf(data, name);
        std::string const packed = PackedBytes(data, header);
        std::size_t const skipped = header.packed.size() - std::min(blocks, header.packed.size());
        std::string_view left = packed;
        std::string bytes;
        for (std::size_t i = 0; i < header.packed.size(); ++i) {
            auto const length = static_cast<std::size_t>(header.packed[i]);
            if (length > left.size())
                Damaged(name);
            if (i >= skipped)
                AppendUnpacked(bytes, left.substr(0, length), header.UnpackedBytes(i), name);
            left.remove_prefix(length);
        }
        Count const before = skipped * header.block_bytes;
        bytes.resize(static_cast<std::size_t>(std::min<Count>(bytes.size(), size - std::min(before, size))));
        return bytes;
    }

    struct Bytes {
        Count stored; // in the file
        Count unpacked;
    };

    // Bytes of an array by the header in front of its data.
    Bytes BytesOfData(Stretch const& data, std::string const& name) const {
        Count const capacity = data.Capacity();
        if (!m_compressed) {
            std::vector<Count> const bytes = Words(data, 1);
            if (bytes.empty() || bytes[0] > capacity)
                Damaged(name);
            return {bytes[0], bytes[0]};
        }
        BlockHeader const header = HeaderOf(data, name);
        // VTK's reader makes room for what a block claims to become.
        Count packed = header.Words() * m_word_bytes;
        for (std::size_t i = 0; i < header.packed.size(); ++i) {
            Count const length = header.packed[i];
            if (length > capacity || (packed += length) > capacity ||
                header.UnpackedBytes(i) > m_packing.most_per_byte * length)
                Damaged(name);
        }
        return {packed, header.UnpackedBytes()};
    }

    // The first bytes of raw data may have to come from the file.
    std::string First(Stretch const& data, Count count) const {
        if (!data.base64)
            m_file.Load(data.text.substr(0, static_cast<std::size_t>(count)));
        return data.First(count);
    }

    // The header words that data begins with; fewer when it ends before.
    std::vector<Count> Words(Stretch const& data, Count count) const {
        std::string const bytes = First(data, count * m_word_bytes);
        std::vector<Count> words;
        for (std::size_t at = 0; at + m_word_bytes <= bytes.size(); at += m_word_bytes)
            words.push_back(Word(std::string_view(bytes).substr(at, m_word_bytes)));
        return words;
    }

    Count Word(std::string_view bytes) const { return UnsignedOfBytes(bytes, m_big_endian); }

    [[noreturn]] static void Damaged(std::string const& name) {
        throw Error("the data of the array \"" + name + "\" is damaged or cut off");
    }

    FileBytes const& m_file;
    std::string_view m_content;
    Count m_stored = 0; // of all arrays
    XmlCounts m_counts;
    std::size_t m_word_bytes = 4;
    bool m_big_endian = false;
    bool m_compressed = false;
    Packing m_packing;
    std::size_t m_appended = 0; // where appended data begins; 0 for none
    bool m_appended_base64 = false;
};

void CheckXmlEnd(FileBytes const& file) {
    constexpr std::string_view end = "</VTKFile>";
    std::string_view bytes = file.View();
    auto const last = [&] {
        std::string_view const byte = bytes.substr(bytes.size() - 1);
        file.Load(byte);
        return byte.front();
    };
    while (!bytes.empty() && (std::isspace(static_cast<unsigned char>(last())) || last() == '\0'))
        bytes.remove_suffix(1);
    file.Load(bytes.substr(bytes.size() - std::min(bytes.size(), end.size())));
    if (!bytes.ends_with(end))
        throw Error("the file is cut off: it does not end with </VTKFile>");
}

} // namespace

XmlCounts CheckXmlFile(FileBytes const& file, std::string const& needed) {
    std::string const type = CheckMarkup(file);
    if (type.empty())
        throw Error("this is no VTK XML file, though its name says so");
    if (type != needed)
        throw Error("the file holds " + type + "; " + needed + " is needed");
    CheckXmlEnd(file);
    MemoryStream stream(file);
    vtkNew<vtkXMLDataParser> parser;
    parser->SetStream(&stream);
    bool const is_parsed = parser->Parse() && parser->GetRootElement();
    file.CheckComplete();
    if (!is_parsed)
        throw Error("it cannot be read: the XML in it is not well-formed");
    return XmlFile(file).Check(*parser);
}

void CheckCounts(vtkDataSet& data, XmlCounts const& counts) {
    auto const points = static_cast<Count>(data.GetNumberOfPoints());
    auto const cells = static_cast<Count>(data.GetNumberOfCells());
    if (points != counts.points || cells != counts.cells)
        throw Error("VTK could read only " + std::to_string(points) + " of " + std::to_string(counts.points) +
                    " points and " + std::to_string(cells) + " of " + std::to_string(counts.cells) +
                    " cells");
}

} // namespace KetSDK::MeshVTK::Detail
