// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/surfaces/PlyFile.h>

#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/Frames.h>
#include <KetSDK/MeshVTK/checks/TextLines.h>
#include <KetSDK/MeshVTK/detail/FrameText.h>
#include <KetSDK/MeshVTK/detail/NumberOfBytes.h>
#include <KetSDK/MeshVTK/surfaces/Polygons.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkIdList.h>
#include <vtkNew.h>
#include <vtkPolyData.h>
#include <vtkUnsignedCharArray.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

namespace {

// Longer ones are hardly those of a surface, and other readers cut them.
constexpr double LongestList = 255;
constexpr std::size_t LongestLine = 4000;

enum class Kind { Signed, Unsigned, Real };

struct Type {
    std::size_t bytes;
    Kind kind;
};

std::optional<Type> FindType(std::string_view name) {
    static std::map<std::string, Type, std::less<>> const types = {
        {"char", {1, Kind::Signed}},     {"int8", {1, Kind::Signed}},     {"uchar", {1, Kind::Unsigned}},
        {"uint8", {1, Kind::Unsigned}},  {"short", {2, Kind::Signed}},    {"int16", {2, Kind::Signed}},
        {"ushort", {2, Kind::Unsigned}}, {"uint16", {2, Kind::Unsigned}}, {"int", {4, Kind::Signed}},
        {"int32", {4, Kind::Signed}},    {"uint", {4, Kind::Unsigned}},   {"uint32", {4, Kind::Unsigned}},
        {"float", {4, Kind::Real}},      {"float32", {4, Kind::Real}},    {"double", {8, Kind::Real}},
        {"float64", {8, Kind::Real}}};
    auto const found = types.find(name);
    return found == types.end() ? std::nullopt : std::optional(found->second);
}

struct Property {
    std::string name;
    Type type;
    std::optional<Type> length; // of a list; none for a single value
};

struct Element {
    std::string name;
    std::uint64_t count = 0;
    std::vector<Property> properties;

    Property const* Find(std::string_view wanted) const {
        auto const found = std::ranges::find(properties, wanted, &Property::name);
        return found == properties.end() ? nullptr : &*found;
    }
};

bool IsCorners(Property const& property) {
    return property.name == "vertex_indices" || property.name == "vertex_index";
}

class PlyFile {
public:
    explicit PlyFile(std::string_view content)
        : m_content(content)
        , m_lines(content) {}

    vtkSmartPointer<vtkPolyData> Read() {
        Header();
        CheckElements();
        m_at = m_lines.Position();
        for (Element const& element : m_elements)
            Body(element);
        if (m_text ? NextLine() : m_at != m_content.size())
            throw Error("the file is longer than its header announces");
        return m_faces.Get();
    }

private:
    [[noreturn]] static void CutOff() { throw Error("the file is cut off: it announces more than it holds"); }

    // Header

    void Header() {
        if (!m_lines.Next() || m_lines.Line() != "ply")
            throw Error("this is no PLY file, though its name ends with .ply");
        while (m_lines.Next()) {
            auto const& words = m_lines.Words();
            if (words.empty() || m_lines.Line().size() > LongestLine)
                m_lines.Refuse("is empty or too long");
            if (words[0] == "comment" || words[0] == "obj_info")
                continue;
            if (words[0] == "end_header" && m_lines.IsComplete())
                return;
            if (words[0] == "format" && words.size() == 3)
                Format(words[1]);
            else if (words[0] == "element" && words.size() == 3)
                ElementLine(words);
            else if (words[0] == "property" && words.size() > 2 && !m_elements.empty())
                PropertyLine(words);
            else
                m_lines.Refuse("does not belong into the header of a PLY file");
        }
        throw Error("the file is cut off within its header");
    }

    void Format(std::string_view name) {
        m_text = name == "ascii";
        m_big_endian = name == "binary_big_endian";
        if (!m_text && !m_big_endian && name != "binary_little_endian")
            m_lines.Refuse("names an unknown format");
        m_has_format = true;
    }

    void ElementLine(std::vector<std::string_view> const& words) {
        long long const count = AsWholeNumber(words[2]).value_or(-1);
        if (count < 0 || static_cast<std::uint64_t>(count) > m_content.size())
            m_lines.Refuse("has a count that cannot be right for a file of this size");
        m_elements.push_back({std::string(words[1]), static_cast<std::uint64_t>(count), {}});
    }

    void PropertyLine(std::vector<std::string_view> const& words) {
        bool const list = words[1] == "list";
        if (words.size() != (list ? 5u : 3u))
            m_lines.Refuse("has another number of words than a property");
        std::optional<Type> const type = FindType(words[list ? 3 : 1]);
        std::optional<Type> const length = list ? FindType(words[2]) : std::nullopt;
        if (!type || (list && (!length || length->kind == Kind::Real)))
            m_lines.Refuse("has a property of unknown type");
        m_elements.back().properties.push_back({std::string(words.back()), *type, length});
    }

    // Vertices and faces come first; what comes behind is passed over.
    void CheckElements() {
        if (!m_has_format)
            throw Error("the header does not tell the format");
        bool const in_order =
            m_elements.size() >= 2 && m_elements[0].name == "vertex" && m_elements[1].name == "face";
        if (!in_order)
            throw Error("the file does not begin with the elements \"vertex\" and \"face\"");
        for (char const* const name : {"x", "y", "z"})
            if (Property const* const found = m_elements[0].Find(name); !found || found->length)
                throw Error(std::string("the vertices have no ") + name);
        auto const corners = std::ranges::find_if(m_elements[1].properties, IsCorners);
        if (corners == m_elements[1].properties.end() || !corners->length || corners->type.kind == Kind::Real)
            throw Error("the faces have no list of vertex_indices");
        for (Property const& property : m_elements[1].properties)
            if (property.length && !IsCorners(property) && property.name != "texcoord")
                throw Error("the faces have the list \"" + property.name + "\", which cannot be read");
        for (Property const& property : m_elements[0].properties)
            if (property.length)
                throw Error("the vertices have the list \"" + property.name + "\", which cannot be read");
        for (std::size_t i = 0; i < m_elements.size(); ++i)
            for (std::size_t k = 0; k < i; ++k)
                if (m_elements[i].name == m_elements[k].name)
                    throw Error("the header has the element \"" + m_elements[i].name + "\" twice");
    }

    // Body

    void Body(Element const& element) {
        if (element.properties.empty())
            throw Error("the element \"" + element.name + "\" has no properties");
        bool const vertices = &element == &m_elements[0];
        bool const faces = &element == &m_elements[1];
        for (std::uint64_t i = 0; i < element.count; ++i) {
            if (m_text && !(NextLine() && m_lines.IsComplete()))
                CutOff();
            if (m_text && m_lines.Line().size() > LongestLine)
                m_lines.Refuse("is too long");
            m_corners.clear();
            std::array<double, 3> position{};
            for (Property const& property : element.properties) {
                double const value = Value(property, faces);
                if (property.name.size() == 1 && property.name[0] >= 'x' && property.name[0] <= 'z')
                    position[static_cast<std::size_t>(property.name[0] - 'x')] = value;
            }
            if (vertices)
                m_faces.AddPoint(position);
            if (faces)
                m_faces.AddPolygon(m_corners);
            if (m_text && m_word != m_lines.Words().size())
                m_lines.Refuse("has more values than there are properties");
        }
    }

    // Returns a single value, and 0 for a list.
    double Value(Property const& property, bool of_face) {
        if (!property.length)
            return Number(property.type);
        double const length = Number(*property.length);
        if (!(length >= 0 && length <= LongestList))
            throw Error("there is a list of " + std::to_string(static_cast<long long>(length)) +
                        " values; at most 255 are read");
        bool const corners = of_face && IsCorners(property);
        if (of_face && property.name == "texcoord" && length != 2.0 * static_cast<double>(m_corners.size()))
            throw Error("there are texture coordinates for another number of corners");
        for (double i = 0; i < length; ++i) {
            double const value = Number(property.type);
            if (corners && !(value >= 0 && value < static_cast<double>(m_elements[0].count)))
                throw Error("a face uses vertex " + std::to_string(static_cast<long long>(value)) +
                            ", but there are " + std::to_string(m_elements[0].count) + " (from 0)");
            if (corners)
                m_corners.push_back(static_cast<vtkIdType>(value));
        }
        return 0.0;
    }

    double Number(Type const& type) {
        if (!m_text)
            return BinaryNumber(type);
        auto const& words = m_lines.Words();
        if (m_word == words.size())
            m_lines.Refuse("has fewer values than there are properties");
        std::string_view const word = words[m_word++];
        std::optional<double> const number = AsNumber(word);
        if (!number || (type.kind != Kind::Real && !AsWholeNumber(word)))
            m_lines.Refuse("has a value that is no number of its type");
        return *number;
    }

    double BinaryNumber(Type const& type) {
        if (type.bytes > m_content.size() - m_at)
            CutOff();
        std::string_view const bytes = m_content.substr(m_at, type.bytes);
        m_at += type.bytes;
        if (type.kind == Kind::Real)
            return RealOfBytes(bytes, m_big_endian);
        if (type.kind == Kind::Signed)
            return static_cast<double>(SignedOfBytes(bytes, m_big_endian));
        return static_cast<double>(UnsignedOfBytes(bytes, m_big_endian));
    }

    bool NextLine() {
        m_word = 0;
        return m_lines.Next();
    }

    std::string_view m_content;
    TextLines m_lines;
    bool m_has_format = false;
    bool m_text = false;
    bool m_big_endian = false;
    std::vector<Element> m_elements;
    std::size_t m_at = 0;             // in a binary body
    std::size_t m_word = 0;           // in the line of a body in text
    std::vector<vtkIdType> m_corners; // of the current face
    Polygons m_faces;
};

// VTK's writer of these files takes names with their ending only, and gives nothing when asked for a string.
class PlyWriter {
public:
    PlyWriter(vtkPolyData& data, vtkUnsignedCharArray* colors) {
        Header(data, colors != nullptr);
        for (vtkIdType i = 0; i < data.GetNumberOfPoints(); ++i)
            for (double const coordinate : std::span(data.GetPoint(i), 3))
                Add(static_cast<float>(coordinate));
        vtkNew<vtkIdList> corners;
        for (vtkIdType i = 0; i < data.GetNumberOfPolys(); ++i) {
            data.GetPolys()->GetCellAtId(i, corners);
            Add(static_cast<std::uint8_t>(corners->GetNumberOfIds()));
            for (vtkIdType const corner : *corners)
                Add(static_cast<std::int32_t>(corner));
            for (int channel = 0; colors && channel < 3; ++channel)
                Add(colors->GetTypedComponent(i, channel));
        }
    }
    std::string const& Get() const noexcept { return m_bytes; }

private:
    void Header(vtkPolyData& data, bool has_colors) {
        m_bytes = "ply\nformat binary_little_endian 1.0\ncomment VTK generated PLY File\n";
        if (auto const frame = FrameOf(data))
            m_bytes += "comment " + FrameText(*frame) + "\n";
        m_bytes += "obj_info vtkPolyData points and polygons: vtk4.0\nelement vertex " +
                   std::to_string(data.GetNumberOfPoints()) +
                   "\nproperty float x\nproperty float y\nproperty float z\nelement face " +
                   std::to_string(data.GetNumberOfPolys()) + "\nproperty list uchar int vertex_indices\n";
        if (has_colors)
            m_bytes += "property uchar red\nproperty uchar green\nproperty uchar blue\n";
        m_bytes += "end_header\n";
    }
    // Least significant byte first.
    template <typename T>
    void Add(T value) {
        auto bytes = std::bit_cast<std::array<char, sizeof(T)>>(value);
        if constexpr (std::endian::native == std::endian::big)
            std::ranges::reverse(bytes);
        m_bytes.append(bytes.data(), bytes.size());
    }

    std::string m_bytes;
};

} // namespace

vtkSmartPointer<vtkPolyData> ReadPlyFile(std::string_view bytes) {
    return PlyFile(bytes).Read();
}

std::string PlyBytes(vtkPolyData& data) {
    auto* const colors =
        vtkUnsignedCharArray::SafeDownCast(data.GetCellData()->GetAbstractArray(ArrayNames::Color));
    return PlyWriter(data, colors && colors->GetNumberOfComponents() == 3 ? colors : nullptr).Get();
}

} // namespace KetSDK::MeshVTK::Detail
