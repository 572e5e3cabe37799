// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/surfaces/ObjFile.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/Frames.h>
#include <KetSDK/MeshVTK/checks/TextLines.h>
#include <KetSDK/MeshVTK/detail/FrameText.h>
#include <KetSDK/MeshVTK/surfaces/Polygons.h>
#include <KetSDK/MeshVTK/surfaces/SurfaceNames.h>

#include <vtkCellArray.h>
#include <vtkIdList.h>
#include <vtkNew.h>
#include <vtkPolyData.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

namespace {

// Longer lines are hardly those of a surface, and other readers cut them.
constexpr std::size_t LongestLine = 1000;

class ObjFile {
public:
    explicit ObjFile(std::string_view content)
        : m_lines(content) {}

    vtkSmartPointer<vtkPolyData> Read() {
        while (m_lines.Next()) {
            if (std::ranges::any_of(m_lines.Line(), [](unsigned char c) { return c < ' ' && c != '\t'; }))
                m_lines.Refuse("is no text");
            if (m_lines.Line().starts_with('#') && !m_frame)
                m_frame = FindFrameText(m_lines.Line());
            if (m_lines.Line().starts_with('#') || m_lines.Words().empty())
                continue;
            if (!m_lines.IsComplete())
                throw Error("the file is cut off: its last line does not end");
            if (m_lines.Line().size() > LongestLine || m_lines.Line().ends_with('\\'))
                m_lines.Refuse("is too long or goes on in the next one; at most " +
                               std::to_string(LongestLine) + " characters are read");
            ReadLine(m_lines.Words()[0]);
        }
        for (std::size_t kind = 0; kind < m_counts.size(); ++kind)
            if (m_largest[kind] > m_counts[kind])
                throw Error("a corner has the " + std::string(Names[kind]) + " " +
                            std::to_string(m_largest[kind]) + ", but there are " +
                            std::to_string(m_counts[kind]) + " (from 1)");
        auto data = m_faces.GetWithSurfaces();
        SetFrame(*data, m_frame);
        return data;
    }

private:
    void ReadLine(std::string_view keyword) {
        if (keyword == "v")
            Values(0, 3);
        else if (keyword == "vt")
            Values(1, 1);
        else if (keyword == "vn")
            Values(2, 3);
        else if (keyword == "f")
            Corners(3);
        else if (keyword == "l")
            Corners(2);
        else if (keyword == "p")
            Corners(1);
        else if (keyword == "g" || keyword == "o")
            m_group = m_lines.Rest();
    }

    void Values(std::size_t kind, std::size_t least) {
        auto const& words = m_lines.Words();
        if (words.size() < 1 + least || !std::all_of(words.begin() + 1, words.end(), AsNumber))
            m_lines.Refuse("needs " + std::to_string(least) + " numbers");
        ++m_counts[kind];
        if (kind == 0)
            m_faces.AddPoint(std::array{*AsNumber(words[1]), *AsNumber(words[2]), *AsNumber(words[3])});
    }

    void Corners(std::size_t least) {
        auto const& words = m_lines.Words();
        if (words.size() < 1 + least)
            m_lines.Refuse("needs " + std::to_string(least) + " corners");
        m_corners.clear();
        for (std::size_t i = 1; i < words.size(); ++i)
            Corner(words[i]);
        if (least != 3) // lines and points are left out
            return;
        if (m_faces.NumberOfSurfaces() == 0 || m_group != m_last_group)
            m_faces.BeginSurface(m_group);
        m_last_group = m_group;
        m_faces.AddPolygon(m_corners);
    }

    // "vertex", "vertex/texture", "vertex//normal" or "vertex/texture/normal"
    void Corner(std::string_view word) {
        if (word.ends_with('/'))
            m_lines.Refuse("has a corner that ends with \"/\"");
        for (std::size_t kind = 0; kind < m_counts.size(); ++kind) {
            std::size_t const end = std::min(word.find('/'), word.size());
            std::string_view const number = word.substr(0, end);
            if (!number.empty() || kind == 0)
                Number(kind, number);
            if (end == word.size())
                return;
            word.remove_prefix(end + 1);
        }
        m_lines.Refuse("has a corner with more than three numbers");
    }

    // Numbers count from 1 or, below 0, back from what has been read.
    void Number(std::size_t kind, std::string_view word) {
        long long const number = AsWholeNumber(word).value_or(0);
        if (number == 0 || number < -m_counts[kind])
            m_lines.Refuse("has a corner \"" + std::string(word.substr(0, 30)) + "\" that does not exist");
        m_largest[kind] = std::max(m_largest[kind], number);
        if (kind == 0)
            m_corners.push_back(number > 0 ? number - 1 : m_counts[kind] + number);
    }

    static constexpr std::array<char const*, 3> Names = {"vertex", "texture coordinate", "normal"};

    TextLines m_lines;
    Polygons m_faces;
    std::string m_group;      // of the faces that follow
    std::string m_last_group; // of the last face
    std::optional<Mesh::CoordinateFrame> m_frame;
    std::vector<vtkIdType> m_corners; // of the current face
    std::array<long long, 3> m_counts{};
    std::array<long long, 3> m_largest{};
};

} // namespace

vtkSmartPointer<vtkPolyData> ReadObjFile(std::string_view bytes) {
    return ObjFile(bytes).Read();
}

Support::TextBuffer ObjText(vtkPolyData& data) {
    Support::TextBuffer out;
    if (auto const frame = FrameOf(data))
        out << "# " << FrameText(*frame) << "\n";
    for (vtkIdType i = 0; i < data.GetNumberOfPoints(); ++i) {
        double point[3];
        data.GetPoint(i, point);
        out << "v";
        for (double const coordinate : point)
            (out << " ").Shortest(coordinate);
        out << "\n";
    }
    SurfaceNames names(data);
    vtkNew<vtkIdList> corners;
    for (vtkIdType i = 0; i < data.GetNumberOfPolys(); ++i) {
        if (auto const name = names.Before(i); name && (i > 0 || !name->empty()))
            out << "g " << *name << "\n";
        out << "f";
        data.GetPolys()->GetCellAtId(i, corners);
        for (vtkIdType const corner : *corners)
            out << " " << corner + 1;
        out << "\n";
    }
    return out;
}

} // namespace KetSDK::MeshVTK::Detail
