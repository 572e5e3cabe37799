// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/images/DicomFile.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/checks/TextLines.h>
#include <KetSDK/MeshVTK/detail/NumberOfBytes.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <limits>

namespace KetSDK::MeshVTK::Detail {

namespace {

constexpr std::size_t PreambleSize = 132; // with the magic bytes at its end
constexpr std::uint32_t Undefined = 0xFFFFFFFF;
constexpr int DeepestSequence = 64;
constexpr std::int64_t MostRows = 65535; // and columns: what their two bytes hold

// An element is named by its group and its number in the group.
constexpr std::uint32_t Tag(unsigned int group, unsigned int number) {
    return group << 16 | number;
}
constexpr std::uint32_t StorageClass = Tag(0x0002, 0x0002);
constexpr std::uint32_t TransferSyntax = Tag(0x0002, 0x0010);
constexpr std::uint32_t Series = Tag(0x0020, 0x000E);
constexpr std::uint32_t Position = Tag(0x0020, 0x0032);
constexpr std::uint32_t Orientation = Tag(0x0020, 0x0037);
constexpr std::uint32_t SamplesPerPixel = Tag(0x0028, 0x0002);
constexpr std::uint32_t NumberOfFrames = Tag(0x0028, 0x0008);
constexpr std::uint32_t Rows = Tag(0x0028, 0x0010);
constexpr std::uint32_t Columns = Tag(0x0028, 0x0011);
constexpr std::uint32_t PixelSpacing = Tag(0x0028, 0x0030);
constexpr std::uint32_t BitsAllocated = Tag(0x0028, 0x0100);
constexpr std::uint32_t BitsStored = Tag(0x0028, 0x0101);
constexpr std::uint32_t HighBit = Tag(0x0028, 0x0102);
constexpr std::uint32_t PixelRepresentation = Tag(0x0028, 0x0103);
constexpr std::uint32_t RescaleIntercept = Tag(0x0028, 0x1052);
constexpr std::uint32_t RescaleSlope = Tag(0x0028, 0x1053);
constexpr std::uint32_t PixelData = Tag(0x7FE0, 0x0010);
constexpr std::uint32_t Item = Tag(0xFFFE, 0xE000);
constexpr std::uint32_t ItemEnd = Tag(0xFFFE, 0xE00D);
constexpr std::uint32_t SequenceEnd = Tag(0xFFFE, 0xE0DD);

struct Element {
    std::uint32_t tag;
    std::uint32_t length;
    std::string_view value; // empty for one of undefined length
};

[[noreturn]] void Refuse(char const* what) {
    throw Error(std::string("the file is damaged: ") + what);
}

// Walks through the elements of a file.
class Elements {
public:
    explicit Elements(std::string_view bytes)
        : m_bytes(bytes) {}

    void SetEncoding(bool explicit_types, bool big_endian) {
        m_explicit = explicit_types;
        m_big_endian = big_endian;
    }
    bool AtEnd() const noexcept { return m_at == m_bytes.size(); }
    // Where the next element begins.
    std::size_t Position() const noexcept { return m_at; }
    // The group of the next element, which says whether it still describes the file.
    std::uint32_t NextGroup() const { return Number(m_bytes.substr(m_at, 2)); }
    bool IsBigEndian() const noexcept { return m_big_endian; }

    // The next element; goes past it. What is in a sequence of undefined length is passed over.
    Element Next() {
        Element element = Header();
        if (element.length != Undefined) {
            element.value = Take(element.length);
            return element;
        }
        if (element.tag != PixelData)
            PassSequence(m_unknown_type, 0);
        return element;
    }

    std::uint32_t Number(std::string_view value) const {
        return static_cast<std::uint32_t>(UnsignedOfBytes(value, m_big_endian));
    }

private:
    std::string_view Take(std::size_t count) {
        if (count > m_bytes.size() - m_at)
            throw Error("the file is cut off");
        m_at += count;
        return m_bytes.substr(m_at - count, count);
    }

    Element Header() {
        std::uint32_t const group = Number(Take(2));
        std::uint32_t const tag = Tag(group, Number(Take(2)));
        m_unknown_type = false;
        if (!m_explicit || group == 0xFFFE)
            return {tag, Number(Take(4)), {}};
        std::string_view const type = Take(2);
        if (!std::ranges::all_of(type, [](char c) { return c >= 'A' && c <= 'Z'; }))
            Refuse("an element has no valid type");
        m_unknown_type = type == "UN";
        constexpr std::array<std::string_view, 13> long_types = {"OB", "OD", "OF", "OL", "OV", "OW", "SQ",
                                                                 "SV", "UC", "UN", "UR", "UT", "UV"};
        bool const is_long = std::ranges::find(long_types, type) != long_types.end();
        if (is_long)
            Take(2);
        return {tag, Number(Take(is_long ? 4 : 2)), {}};
    }

    // Sequences of unknown type are written without types inside.
    void PassSequence(bool untyped, int depth) {
        if (depth > DeepestSequence)
            Refuse("its sequences are nested too deeply");
        bool const was_explicit = m_explicit;
        m_explicit = m_explicit && !untyped;
        for (Element item = Header(); item.tag != SequenceEnd; item = Header()) {
            if (item.tag != Item)
                Refuse("a sequence holds something that is no item");
            if (item.length != Undefined)
                Take(item.length);
            else
                PassItem(depth);
        }
        m_explicit = was_explicit;
    }

    void PassItem(int depth) {
        for (Element element = Header(); element.tag != ItemEnd; element = Header()) {
            if (element.length == Undefined)
                PassSequence(m_unknown_type, depth + 1);
            else
                Take(element.length);
        }
    }

    std::string_view m_bytes;
    std::size_t m_at = PreambleSize;
    bool m_explicit = true;
    bool m_big_endian = false;
    bool m_unknown_type = false; // of the last header
};

// Text without the padding at its end.
std::string Text(std::string_view value) {
    while (!value.empty() && (value.back() == '\0' || value.back() == ' '))
        value.remove_suffix(1);
    return std::string(value);
}

// The numbers of a text with backslashes between them.
std::vector<double> Numbers(std::string_view value) {
    std::string text = Text(value);
    std::ranges::replace(text, '\\', ' ');
    TextLines line(text);
    std::vector<double> numbers;
    if (line.Next())
        for (std::string_view word : line.Words()) {
            word.remove_prefix(word.starts_with('+') ? 1 : 0);
            auto const number = AsNumber(word);
            if (!number || !std::isfinite(*number))
                Refuse("there is text where numbers should be");
            numbers.push_back(*number);
        }
    return numbers;
}

// What one in the last digit of such numbers is worth: 0.01 for 2.5 and 1.25.
double LastDigit(std::string_view value) {
    double most = -std::numeric_limits<double>::infinity(); // digits behind the point
    while (!value.empty()) {
        std::string_view const number = value.substr(0, value.find('\\'));
        value.remove_prefix(std::min(number.size() + 1, value.size()));
        std::string_view const mantissa = number.substr(0, number.find_first_of("eE"));
        std::string_view power = number.substr(std::min(mantissa.size() + 1, number.size()));
        power.remove_prefix(power.starts_with('+') ? 1 : 0);
        double const exponent = std::clamp(AsNumber(Text(power)).value_or(0.0), -400.0, 400.0);
        auto const digits =
            std::ranges::count_if(mantissa.substr(std::min(mantissa.find('.'), mantissa.size())),
                                  [](char c) { return c >= '0' && c <= '9'; });
        most = std::max(most, static_cast<double>(digits) - exponent);
    }
    return std::pow(10.0, -most);
}

double Number(std::string_view value, double otherwise) {
    std::vector<double> const numbers = Numbers(value);
    return numbers.empty() ? otherwise : numbers[0];
}

// How the elements behind those of the file itself are written.
void SetEncoding(Elements& elements, std::string const& syntax) {
    if (syntax == "1.2.840.10008.1.2")
        elements.SetEncoding(false, false);
    else if (syntax == "1.2.840.10008.1.2.2")
        elements.SetEncoding(true, true);
    else if (syntax != "1.2.840.10008.1.2.1") {
        bool const valid = !syntax.empty() && syntax.find_first_not_of(".0123456789") == std::string::npos;
        throw Error("its voxels are compressed (" + (valid ? syntax : "in an unknown way") +
                    "); uncompressed slices are needed");
    }
}

// Reads the elements that describe file and encoding. False for a directory of files.
bool ReadFileElements(Elements& elements) {
    std::string syntax;
    while (!elements.AtEnd() && elements.NextGroup() == 2) { // what follows is in the encoding of the syntax
        Element const element = elements.Next();
        if (element.tag == StorageClass && Text(element.value) == "1.2.840.10008.1.3.10")
            return false;
        if (element.tag == TransferSyntax)
            syntax = Text(element.value);
    }
    SetEncoding(elements, syntax);
    return true;
}

// The elements of a slice that are numbers, by their names.
struct Layout {
    unsigned int samples = 1;
    unsigned int frames = 1;
    unsigned int bits_allocated = 0;
    unsigned int bits_stored = 0;
    unsigned int high_bit = 0;
    std::size_t pixel_bytes = 0;
};

// An element, and what is filled with it.
struct Said {
    Elements const& elements;
    Element const& element;
    DicomSlice& slice;
    Layout& layout;

    std::uint32_t Whole() const { return elements.Number(element.value.substr(0, 4)); }
    double Real(double otherwise) const { return Number(element.value, otherwise); }
};

void TakePosition(Said const& said) {
    said.slice.position = Numbers(said.element.value);
    said.slice.position_digit = LastDigit(said.element.value);
}

void TakeOrientation(Said const& said) {
    said.slice.orientation = Numbers(said.element.value);
    said.slice.orientation_digit = LastDigit(said.element.value);
}

void TakePixels(Said const& said) {
    if (said.element.length == Undefined)
        throw Error("its voxels are compressed; uncompressed slices are needed");
    said.layout.pixel_bytes = said.element.length;
    said.slice.pixels = said.elements.Position() - said.element.length;
}

// The elements of a slice that are read.
struct Known {
    std::uint32_t tag;
    void (*take)(Said const& said);
};
constexpr Known KnownElements[] = {
    {Series, [](Said const& said) { said.slice.series = Text(said.element.value); }},
    {Position, TakePosition},
    {Orientation, TakeOrientation},
    {PixelSpacing, [](Said const& said) { said.slice.spacing = Numbers(said.element.value); }},
    {RescaleSlope, [](Said const& said) { said.slice.slope = said.Real(1.0); }},
    {RescaleIntercept, [](Said const& said) { said.slice.intercept = said.Real(0.0); }},
    {Rows, [](Said const& said) { said.slice.rows = said.Whole(); }},
    {Columns, [](Said const& said) { said.slice.columns = said.Whole(); }},
    {PixelRepresentation, [](Said const& said) { said.slice.has_sign = said.Whole() != 0; }},
    {SamplesPerPixel, [](Said const& said) { said.layout.samples = said.Whole(); }},
    {NumberOfFrames, [](Said const& said) { said.layout.frames = said.Real(1.0) == 1.0 ? 1 : 2; }},
    {BitsAllocated, [](Said const& said) { said.layout.bits_allocated = said.Whole(); }},
    {BitsStored, [](Said const& said) { said.layout.bits_stored = said.Whole(); }},
    {HighBit, [](Said const& said) { said.layout.high_bit = said.Whole(); }},
    {PixelData, TakePixels},
};

void TakeElement(Said const& said) {
    auto const* const known = std::ranges::find(KnownElements, said.element.tag, &Known::tag);
    if (known != std::end(KnownElements))
        known->take(said);
}

void CheckSlice(DicomSlice& slice, Layout const& layout) {
    if (slice.pixels == 0)
        throw Error("there is no image in it; is it cut off?");
    if (layout.samples != 1)
        throw Error("it has " + std::to_string(layout.samples) + " values for each voxel; one is needed");
    if (layout.frames != 1)
        throw Error("it holds several slices; one slice per file is needed");
    if (layout.bits_allocated != 8 && layout.bits_allocated != 16)
        throw Error("it has voxels of " + std::to_string(layout.bits_allocated) +
                    " bits; 8 or 16 bits are needed");
    if (layout.bits_stored < 1 || layout.high_bit >= layout.bits_allocated ||
        layout.bits_stored > layout.high_bit + 1)
        Refuse("its voxels have an impossible number of bits");
    slice.bytes = layout.bits_allocated / 8;
    slice.bits = layout.bits_stored;
    slice.shift = layout.high_bit + 1 - layout.bits_stored;
    if (slice.rows > MostRows || slice.columns > MostRows)
        Refuse("it has an impossible number of rows or columns");
    std::size_t const needed =
        static_cast<std::size_t>(slice.rows) * static_cast<std::size_t>(slice.columns) * slice.bytes;
    if (needed == 0 || layout.pixel_bytes < needed || layout.pixel_bytes > needed + 1)
        throw Error("it has " + std::to_string(layout.pixel_bytes) + " bytes of voxels instead of " +
                    std::to_string(needed));
    if (slice.position.size() != 3 || slice.orientation.size() != 6 || slice.spacing.size() != 2)
        throw Error("it does not say where its slice lies (position, orientation and pixel spacing)");
}

} // namespace

bool IsDicom(std::string_view bytes) {
    return bytes.substr(0, PreambleSize).ends_with("DICM") && bytes.size() >= PreambleSize;
}

std::optional<DicomSlice> ReadDicomFile(std::string_view bytes) {
    if (!IsDicom(bytes))
        throw Error("it is no DICOM file, or cut off");
    Elements elements(bytes);
    if (!ReadFileElements(elements))
        return std::nullopt;
    DicomSlice slice;
    Layout layout;
    while (!elements.AtEnd())
        TakeElement({elements, elements.Next(), slice, layout});
    slice.big_endian = elements.IsBigEndian();
    CheckSlice(slice, layout);
    return slice;
}

} // namespace KetSDK::MeshVTK::Detail
