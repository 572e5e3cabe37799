// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/surfaces/StlFile.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/Frames.h>
#include <KetSDK/MeshVTK/checks/TextLines.h>
#include <KetSDK/MeshVTK/detail/FrameText.h>
#include <KetSDK/MeshVTK/detail/NumberOfBytes.h>
#include <KetSDK/MeshVTK/surfaces/Polygons.h>
#include <KetSDK/MeshVTK/surfaces/SurfaceNames.h>

#include <vtkCellArray.h>
#include <vtkIdList.h>
#include <vtkNew.h>
#include <vtkPolyData.h>
#include <vtkSTLWriter.h>
#include <vtkTriangle.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <utility>

namespace KetSDK::MeshVTK::Detail {

namespace {

// What a line of a file in text has to say, and how many numbers follow.
struct FacetLine {
    char const* words;
    std::size_t numbers;
};
constexpr FacetLine FacetLines[] = {{"facet normal", 3}, {"outer loop", 0}, {"vertex", 3},  {"vertex", 3},
                                    {"vertex", 3},       {"endloop", 0},    {"endfacet", 0}};

// Whether a line says that; `numbers` are those that follow.
bool Says(TextLines const& lines, FacetLine const& expected, std::array<double, 3>& numbers) {
    auto const& words = lines.Words();
    if (words.size() < expected.numbers)
        return false;
    std::string said;
    for (std::size_t i = 0; i < words.size() - expected.numbers; ++i)
        said += (i == 0 ? "" : " ") + LowerCase(words[i]);
    for (std::size_t i = 0; i < expected.numbers; ++i) {
        auto const number = AsNumber(words[words.size() - expected.numbers + i]);
        if (!number)
            return false;
        numbers[i] = *number;
    }
    return said == expected.words;
}

bool NextWithWords(TextLines& lines) {
    while (lines.Next())
        if (!lines.Words().empty())
            return true;
    return false;
}

// A facet, whose first line is the current one.
void ReadFacet(TextLines& lines, Polygons& triangles) {
    std::array<vtkIdType, 3> corners{};
    std::size_t corner = 0;
    for (std::size_t i = 0; i < std::size(FacetLines); ++i) {
        FacetLine const& expected = FacetLines[i];
        std::array<double, 3> numbers{};
        if (i > 0 && !NextWithWords(lines))
            throw Error("the file is cut off within a facet");
        if (!Says(lines, expected, numbers))
            lines.Refuse(std::string("should be \"") + expected.words + "\"" +
                         (expected.numbers > 0 ? " and three numbers" : ""));
        if (i > 0 && expected.numbers > 0)
            corners[corner++] = triangles.AddPoint(numbers);
    }
    triangles.AddPolygon(corners);
}

vtkSmartPointer<vtkPolyData> ReadText(std::string_view bytes) {
    TextLines lines(bytes);
    Polygons triangles;
    bool open = false;
    while (NextWithWords(lines)) {
        std::string const keyword = LowerCase(lines.Words()[0]);
        if (keyword == (open ? "endsolid" : "solid")) {
            open = !open;
            if (open)
                triangles.BeginSurface(WithoutFrameText(lines.Rest()), true);
            continue;
        }
        if (!open || keyword != "facet")
            lines.Refuse(open ? "is neither a facet nor \"endsolid\"" : "is no \"solid\"");
        ReadFacet(lines, triangles);
    }
    if (open)
        throw Error("the file is cut off: \"endsolid\" is missing");
    // Programs call a single solid anything.
    return triangles.NumberOfSurfaces() > 1 ? triangles.GetWithSurfaces() : triangles.Get();
}

// A binary file is a header, the number of its triangles, and for each of them a normal, three corners and
// two bytes; numbers have four bytes, the least significant one first.
constexpr std::size_t HeaderSize = 80;
constexpr std::size_t NumberSize = 4;
constexpr std::size_t TriangleSize = 12 * NumberSize + 2;

vtkSmartPointer<vtkPolyData> ReadBinary(std::string_view bytes) {
    Polygons triangles;
    for (std::size_t at = HeaderSize + NumberSize; at < bytes.size(); at += TriangleSize) {
        std::array<vtkIdType, 3> corners{};
        for (std::size_t corner = 0; corner < 3; ++corner) {
            std::array<double, 3> position{};
            for (std::size_t axis = 0; axis < 3; ++axis)
                position[axis] = RealOfBytes( // behind the normal
                    bytes.substr(at + NumberSize * (3 * (corner + 1) + axis), NumberSize), false);
            corners[corner] = triangles.AddPoint(position);
        }
        triangles.AddPolygon(corners);
    }
    return triangles.Get();
}

// "solid " and "endsolid " of a surface.
void AddSolidLine(Support::TextBuffer& out, char const* word, std::string const& name,
                  std::string const& rest) {
    out << word << (name.empty() ? "" : " ") << name << rest << "\n";
}

} // namespace

vtkSmartPointer<vtkPolyData> ReadStlFile(std::string_view bytes) {
    bool const has_header = bytes.size() >= HeaderSize + NumberSize;
    std::uint64_t const triangles =
        has_header ? UnsignedOfBytes(bytes.substr(HeaderSize, NumberSize), false) : 0;
    std::uint64_t const expected = HeaderSize + NumberSize + TriangleSize * triangles;
    if (has_header && bytes.size() == expected)
        return ReadBinary(bytes);
    std::size_t const begin = bytes.find_first_not_of(" \t\r\n");
    if (begin != std::string_view::npos && LowerCase(bytes.substr(begin, 5)) == "solid" &&
        bytes.find('\0') == std::string_view::npos)
        return ReadText(bytes);
    throw Error("the file has " + std::to_string(bytes.size()) + " bytes instead of " +
                (has_header ? "the " + std::to_string(expected) + " that its number of triangles needs"
                            : "at least 84") +
                "; it is cut off or no .stl file");
}

void WriteBinaryStlFile(vtkPolyData& data, OutputFile& file, VtkSession& session) {
    vtkNew<vtkSTLWriter> writer;
    writer->SetFileTypeToBinary();
    if (auto const frame = FrameOf(data)) // may not begin with "solid"
        writer->SetHeader((std::string(writer->GetHeader()) + " " + FrameText(*frame)).c_str());
    writer->SetFileName(file.GetTemporaryPath().c_str());
    writer->SetInputData(&data);
    session.Run(*writer, "it cannot be written");
    // It does not notice a full disk.
    std::ifstream written(file.GetTemporaryPath(), std::ios::binary | std::ios::ate);
    if (written.tellg() != std::streamoff{84} + std::streamoff{50} * data.GetNumberOfPolys())
        throw Error("it cannot be written: the disk is full or the file came out too short");
}

Support::TextBuffer StlText(vtkPolyData& data) {
    Support::TextBuffer out;
    SurfaceNames names(data);
    std::optional<std::string> open;
    std::string frame; // in the first line
    if (auto const said = FrameOf(data))
        frame = " " + FrameText(*said);
    vtkNew<vtkIdList> corners;
    for (vtkIdType i = 0; i < data.GetNumberOfPolys(); ++i) {
        auto const name = names.Before(i);
        if (name || !open) {
            if (open)
                AddSolidLine(out, "endsolid", *open, "");
            open = name.value_or("");
            AddSolidLine(out, "solid", *open, std::exchange(frame, ""));
        }
        data.GetPolys()->GetCellAtId(i, corners);
        double point[3][3];
        for (vtkIdType corner = 0; corner < 3; ++corner)
            data.GetPoint(corners->GetId(corner), point[corner]);
        double normal[3];
        vtkTriangle::ComputeNormal(point[0], point[1], point[2], normal);
        out << "facet normal";
        for (double const component : normal)
            (out << " ").Shortest(component);
        out << "\nouter loop\n";
        for (auto const& position : point) {
            out << "vertex";
            for (double const coordinate : position)
                (out << " ").Shortest(coordinate);
            out << "\n";
        }
        out << "endloop\nendfacet\n";
    }
    if (!open)
        AddSolidLine(out, "solid", open.emplace(), frame);
    AddSolidLine(out, "endsolid", *open, "");
    return out;
}

} // namespace KetSDK::MeshVTK::Detail
