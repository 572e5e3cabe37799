// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/checks/LegacyFileCheck.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/checks/TextLines.h>
#include <KetSDK/MeshVTK/detail/ArrayValues.h>

#include <vtkCellType.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

namespace {

using Count = std::uint64_t;

constexpr Count Unknown = ~Count{0};
// VTK's reader has room for so much of a word or a line.
constexpr std::size_t LongestLine = 255;

bool IsSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

std::string Upper(std::string_view text) {
    std::string upper(text);
    std::ranges::transform(upper, upper.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return upper;
}

// A type of values, with the range in which VTK's reader takes whole numbers of it from text.
struct ValueType {
    Count bits; // that a value takes in a binary file
    long long least = 0;
    Count largest = 0; // 0 for real numbers
    double largest_real = 0.0;
};

template <typename T>
constexpr ValueType Whole(Count bits = 8 * sizeof(T)) {
    return {bits, static_cast<long long>(std::numeric_limits<T>::min()),
            Count{std::numeric_limits<T>::max()}};
}
template <typename T>
constexpr ValueType Real() {
    return {8 * sizeof(T), 0, 0, double{std::numeric_limits<T>::max()}};
}

// Null for an unknown type.
ValueType const* FindType(std::string_view type) {
    static std::map<std::string, ValueType, std::less<>> const types = {
        {"BIT", Whole<std::int32_t>(1)},
        {"CHAR", Whole<std::int32_t>(8)}, // bytes are read from text as these are
        {"SIGNED_CHAR", Whole<std::int32_t>(8)},
        {"UNSIGNED_CHAR", Whole<std::int32_t>(8)},
        {"SHORT", Whole<std::int16_t>()},
        {"UNSIGNED_SHORT", Whole<std::uint16_t>()},
        {"INT", Whole<std::int32_t>()},
        {"UNSIGNED_INT", Whole<std::uint32_t>()},
        {"VTKIDTYPE", Whole<std::int32_t>()},
        {"FLOAT", Real<float>()},
        {"LONG", Whole<std::int64_t>()},
        {"UNSIGNED_LONG", Whole<std::uint64_t>()},
        {"VTKTYPEINT32", Whole<std::int32_t>()},
        {"VTKTYPEUINT32", Whole<std::uint32_t>()},
        {"VTKTYPEINT64", Whole<std::int64_t>()},
        {"VTKTYPEUINT64", Whole<std::uint64_t>()},
        {"DOUBLE", Real<double>()}};
    auto const found = types.find(Upper(type));
    return found == types.end() ? nullptr : &found->second;
}

// Whether VTK's reader takes the whole word for a value of the type. It goes on in the middle of other words,
// and may then come upon some that it takes for keywords.
bool IsValue(std::string_view word, ValueType const& type) {
    if (word.starts_with('-') && type.largest > 0) {
        std::optional<long long> const value = AsWholeNumber(word);
        return value && *value >= type.least;
    }
    if (word.starts_with('-') || word.starts_with('+'))
        word.remove_prefix(1);
    if (word.empty() || (word.front() != '.' && (word.front() < '0' || word.front() > '9')))
        return false; // "nan" and "inf" among them
    char const* const end = word.data() + word.size();
    if (type.largest > 0) {
        Count value = 0;
        auto const result = std::from_chars(word.data(), end, value);
        return result.ec == std::errc() && result.ptr == end && value <= type.largest;
    }
    double value = 0.0;
    auto const result = std::from_chars(word.data(), end, value);
    bool const is_tiny = result.ec == std::errc::result_out_of_range &&
                         Upper(word).find("E-") != std::string::npos; // and read as 0
    bool const is_in_range = result.ec == std::errc() && value <= type.largest_real;
    return (is_in_range || is_tiny) && result.ptr == end;
}

class LegacyFile {
public:
    explicit LegacyFile(std::string_view content)
        : m_content(content) {}

    void Check() {
        Header();
        while (SkipSpace(), m_at < m_content.size())
            Section(Upper(Word()));
        if (m_attributes_announced)
            CutOff();
        if (m_cells != Unknown && m_types != m_cells)
            throw Error("the file has " + std::to_string(m_cells) + " cells, but no type for each");
    }

private:
    [[noreturn]] static void CutOff() { throw Error("the file is cut off: it announces more than it holds"); }

    // Words and numbers

    void SkipSpace() {
        while (m_at < m_content.size() && IsSpace(m_content[m_at]))
            ++m_at;
    }
    std::string_view Word() {
        SkipSpace();
        std::size_t const begin = m_at;
        while (m_at < m_content.size() && !IsSpace(m_content[m_at]))
            ++m_at;
        if (begin == m_at)
            CutOff();
        if (m_at - begin > LongestLine) // VTK's reader would go on behind the first part
            throw Error("the file holds a word of " + std::to_string(m_at - begin) + " characters");
        return m_content.substr(begin, m_at - begin);
    }
    std::string_view Line() {
        std::size_t const end = m_content.find('\n', m_at);
        if (end == std::string::npos)
            CutOff();
        std::string_view const line = m_content.substr(m_at, end - m_at);
        m_at = end + 1;
        return line;
    }
    Count Number() {
        std::string_view const word = Word();
        Count number = 0;
        auto const result = std::from_chars(word.data(), word.data() + word.size(), number);
        // A count that the file cannot hold in any encoding is as good as none.
        if (result.ec != std::errc() || result.ptr != word.data() + word.size() ||
            number > 8 * m_content.size())
            throw Error("the count \"" + std::string(word.substr(0, 30)) +
                        "\" cannot be right for a file of this size");
        return number;
    }

    // Blocks of values

    // `values` numbers of a type; in binary they begin behind the end of the current line.
    void Values(Count values, std::string_view type) {
        ValueType const* const known = FindType(type);
        if (!known)
            throw Error("the file holds values of the unknown type \"" + std::string(type.substr(0, 30)) +
                        "\"");
        if (m_binary)
            Bytes((values * known->bits + 7) / 8);
        else
            for (Count i = 0; i < values; ++i)
                Value(*known);
    }
    std::string_view Value(ValueType const& type) {
        std::string_view const word = Word();
        if (!IsValue(word, type))
            throw Error("\"" + std::string(word.substr(0, 30)) + "\" is no " +
                        (type.largest > 0 ? "whole " : "") + "number that can be read");
        return word;
    }
    void Tuples(Count tuples, Count components, std::string_view type) {
        CheckComponents("", components, tuples * components);
        m_components = components;
        Values(tuples * components, type);
    }
    void Bytes(Count bytes) {
        Line();
        if (bytes > m_content.size() - m_at)
            CutOff();
        m_at += static_cast<std::size_t>(bytes);
    }
    // One string a line; in binary each behind its length, which is 1, 2, 4 or 8 bytes long.
    void Strings(Count values) {
        Line();
        for (Count i = 0; i < values; ++i) {
            if (!m_binary) {
                Line();
                continue;
            }
            if (m_at >= m_content.size())
                CutOff();
            std::size_t const length_bytes =
                std::size_t{8} >> (static_cast<unsigned char>(m_content[m_at]) >> 6);
            Count length = static_cast<unsigned char>(m_content[m_at]) & 0x3Fu;
            for (std::size_t k = 1; k < length_bytes && m_at + k < m_content.size(); ++k)
                length = length << 8 | static_cast<unsigned char>(m_content[m_at + k]);
            if (length > m_content.size() || m_at + length_bytes + length > m_content.size())
                CutOff();
            m_at += length_bytes + static_cast<std::size_t>(length);
        }
    }

    // Sections

    void Header() {
        std::string_view first = Line();
        while (!first.empty() && IsSpace(first.back()))
            first.remove_suffix(1);
        // Nothing else may stand there: VTK's reader would find another version, and other blocks.
        constexpr std::string_view begin = "# vtk DataFile Version ";
        std::string const version(first.starts_with(begin) ? first.substr(begin.size()) : "");
        int major = 0;
        int minor = 0;
        if (version.find_first_not_of("0123456789.") != std::string::npos ||
            std::sscanf(version.c_str(), "%d.%d", &major, &minor) != 2)
            throw Error("the first line of the file does not end with its version");
        m_version_5 = major >= 5;
        Line(); // title
        m_binary = Upper(Word()) == "BINARY";
        if (Upper(Word()) != "DATASET" || Upper(Word()) != "UNSTRUCTURED_GRID")
            throw Error("the file holds another kind of data; an UNSTRUCTURED_GRID is needed");
    }

    // What comes twice would be counted once here and read twice.
    static void Once(Count known, std::string const& keyword) {
        if (known != Unknown)
            throw Error("the file has " + keyword + " twice");
    }

    void Section(std::string const& keyword) {
        if (keyword == "POINTS") {
            Once(m_points, keyword);
            m_points = Number();
            Tuples(m_points, 3, Word());
        } else if (keyword == "CELLS") {
            Cells();
        } else if (keyword == "CELL_TYPES") {
            Once(m_types, keyword);
            m_types = Number();
            if (std::ranges::count(Integers(m_types), VTK_POLYHEDRON) > 0) // VTK's reader trusts their faces
                throw Error("there are polyhedra; meshes are made of tetrahedra, hexahedra and wedges");
        } else if (keyword == "POINT_DATA" || keyword == "CELL_DATA") {
            Announce(keyword == "POINT_DATA" ? m_points : m_cells, keyword);
        } else if (keyword == "METADATA") {
            Metadata();
        } else {
            Attribute(keyword);
            m_attributes_announced = false;
        }
    }

    // What is known of the array before, to an empty line: names of its components, or facts under keys.
    void Metadata() {
        Line();
        while (m_at < m_content.size()) {
            std::string const line = Upper(TextLine());
            if (line.empty())
                return;
            if (line.starts_with("INFORMATION"))
                Facts(std::string_view(line).substr(std::size("INFORMATION") - 1));
            else if (line.starts_with("COMPONENT_NAMES"))
                for (Count i = 0; i < m_components; ++i)
                    TextLine();
        }
    }
    // A line of text, which VTK's reader takes for the same line.
    std::string_view TextLine() {
        std::string_view line = Line();
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        if (line.size() >= LongestLine || std::ranges::any_of(line, [](unsigned char c) { return c < ' '; }))
            throw Error("the metadata of an array is damaged");
        return line;
    }

    // "NAME key LOCATION class" and "DATA value", each on a line. VTK's reader waits forever for facts that
    // are not there, and for the rest of numbers that it cannot read, so these are the keys of arrays that it
    // writes: a vector of numbers behind their count, or a word.
    void Facts(std::string_view count) {
        static std::map<std::string, bool, std::less<>> const is_vector = {
            {"L2_NORM_RANGE", true}, {"L2_NORM_FINITE_RANGE", true}, {"UNITS_LABEL", false}};
        TextLines number(count);
        std::optional<long long> const facts =
            number.Next() && number.Words().size() == 1 ? AsWholeNumber(number.Words()[0]) : std::nullopt;
        if (!facts || *facts < 0)
            throw Error("the metadata of an array is damaged");
        for (long long i = 0; i < *facts; ++i) {
            std::vector<std::string_view> const name = WordsOfLine();
            std::vector<std::string_view> const data = WordsOfLine();
            if (name.size() != 4 || name[0] != "NAME" || name[2] != "LOCATION" || data.size() < 2 ||
                data[0] != "DATA")
                throw Error("the metadata of an array is damaged");
            auto const key = is_vector.find(name[1]);
            if (key == is_vector.end() || name[3] != "vtkDataArray")
                throw Error("the metadata of an array has the unknown key \"" +
                            std::string(name[1].substr(0, 30)) + "\"");
            bool const is_number = std::all_of(data.begin() + 1, data.end(), [](std::string_view word) {
                return std::isfinite(AsNumber(word).value_or(INFINITY));
            });
            if (key->second &&
                (!is_number || AsWholeNumber(data[1]) != static_cast<long long>(data.size()) - 2))
                throw Error("the metadata of an array is damaged");
        }
    }
    std::vector<std::string_view> WordsOfLine() {
        TextLines line(TextLine());
        line.Next();
        return line.Words();
    }

    void Announce(Count expected, std::string const& keyword) {
        m_tuples = Number();
        if (m_tuples != expected)
            throw Error(keyword + " is given for " + std::to_string(m_tuples) + " instead of " +
                        (expected == Unknown ? "none" : std::to_string(expected)));
        m_attributes_announced = m_tuples > 0;
    }

    void Cells() {
        Once(m_cells, "CELLS");
        Count const first = Number();
        Count const second = Number();
        if (m_version_5) { // offsets, one more than cells, and connectivity
            for (Count const values : {first, second}) {
                Word();
                Values(values, Word());
            }
            m_cells = first == 0 ? 0 : first - 1;
            return;
        }
        m_cells = first;
        std::vector<std::int64_t> const list = Integers(second);
        std::size_t at = 0;
        for (Count i = 0; i < m_cells; ++i) {
            if (at >= list.size() || list[at] < 0 || static_cast<Count>(list[at]) >= list.size() - at)
                throw Error("the list of cells does not add up at cell " + std::to_string(i));
            at += 1 + static_cast<std::size_t>(list[at]);
        }
        if (at != list.size())
            throw Error("the list of cells is longer than its cells");
    }

    std::vector<std::int64_t> Integers(Count values) {
        std::vector<std::int64_t> integers;
        if (m_binary) {
            Bytes(4 * values); // which are there
            integers.reserve(static_cast<std::size_t>(values));
            for (std::size_t at = m_at - static_cast<std::size_t>(4 * values); at < m_at; at += 4) {
                std::uint32_t bits = 0; // most significant byte first
                for (std::size_t k = 0; k < 4; ++k)
                    bits = bits << 8 | static_cast<unsigned char>(m_content[at + k]);
                integers.push_back(static_cast<std::int32_t>(bits));
            }
            return integers;
        }
        for (Count i = 0; i < values; ++i) {
            integers.push_back(*AsWholeNumber(Value(*FindType("INT"))));
        }
        return integers;
    }

    // The attributes that have a fixed number of values for each point or cell, behind name and type.
    void Attribute(std::string const& keyword) {
        static std::map<std::string, Count> const components = {
            {"VECTORS", 3},    {"NORMALS", 3},      {"TENSORS", 9},   {"TENSORS6", 6},
            {"GLOBAL_IDS", 1}, {"PEDIGREE_IDS", 1}, {"EDGE_FLAGS", 1}};
        if (keyword == "FIELD")
            return Field();
        std::string_view const name = Word();
        if (keyword == "SCALARS") {
            Scalars();
        } else if (keyword == "COLOR_SCALARS") {
            Count const values = m_tuples * Number();
            Values(values, m_binary ? "unsigned_char" : "float");
        } else if (keyword == "LOOKUP_TABLE") {
            Count const values = 4 * Number();
            Values(values, m_binary ? "unsigned_char" : "float");
        } else if (keyword == "TEXTURE_COORDINATES") {
            Count const per_tuple = Number();
            Tuples(m_tuples, per_tuple, Word());
        } else if (auto const found = components.find(keyword); found != components.end()) {
            Tuples(m_tuples, found->second, Word());
        } else {
            throw Error("the file holds the unknown section \"" + keyword.substr(0, 30) + " " +
                        std::string(name.substr(0, 30)) + "\"");
        }
    }

    // "SCALARS name type [components]", then "LOOKUP_TABLE name", then the values.
    void Scalars() {
        std::string const type(Word());
        Count per_tuple = 1;
        std::string_view word = Word();
        if (Upper(word) != "LOOKUP_TABLE") {
            m_at -= word.size();
            per_tuple = Number();
            word = Word();
        }
        if (Upper(word) != "LOOKUP_TABLE")
            throw Error("SCALARS are not followed by LOOKUP_TABLE");
        Word();
        Tuples(m_tuples, per_tuple, type);
    }

    // "FIELD name arrays", then for each array "name components tuples type" and the values.
    void Field() {
        Word();
        Count const arrays = Number();
        for (Count i = 0; i < arrays; ++i) {
            std::string name(Word());
            if (Upper(name) == "METADATA") { // of the array before
                m_at -= name.size();
                Section(Upper(Word()));
                name = Word();
            }
            if (name == "NULL_ARRAY")
                continue;
            Count const per_tuple = Number();
            Count const tuples = Number();
            std::string const type(Word());
            if (m_tuples != Unknown && tuples != m_tuples)
                throw Error("the array \"" + name + "\" has " + std::to_string(tuples) +
                            " values instead of " + std::to_string(m_tuples));
            CheckComponents(name, per_tuple, tuples * per_tuple);
            m_components = per_tuple;
            if (Upper(type) == "STRING" || Upper(type) == "UTF8_STRING")
                Strings(per_tuple * tuples);
            else
                Tuples(tuples, per_tuple, type);
        }
    }

    std::string_view m_content;
    std::size_t m_at = 0;
    bool m_binary = false;
    bool m_version_5 = false;
    Count m_points = Unknown;
    Count m_cells = Unknown;
    Count m_types = Unknown;
    Count m_components = 1;   // of the last array
    Count m_tuples = Unknown; // of the attributes; unknown before the first, for field data
    bool m_attributes_announced = false;
};

} // namespace

void CheckLegacyFile(std::string_view bytes) {
    LegacyFile(bytes).Check();
}

} // namespace KetSDK::MeshVTK::Detail
