// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/SurfaceFile.h>

#include <KetSDK/Common/Progress/BranchingProgressReporter.h>
#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/Frames.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/OutputTransaction.h>
#include <KetSDK/MeshVTK/PolyDataFromSurface.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/MeshVTK/checks/XmlFileCheck.h>
#include <KetSDK/MeshVTK/detail/ArrayNames.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>
#include <KetSDK/MeshVTK/detail/FrameText.h>
#include <KetSDK/MeshVTK/detail/RowsOfArrays.h>
#include <KetSDK/MeshVTK/detail/VtkSession.h>
#include <KetSDK/MeshVTK/detail/XmlReader.h>
#include <KetSDK/MeshVTK/surfaces/ObjFile.h>
#include <KetSDK/MeshVTK/surfaces/PlyFile.h>
#include <KetSDK/MeshVTK/surfaces/StlFile.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkFieldData.h>
#include <vtkIdList.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkSTLWriter.h>
#include <vtkStringArray.h>
#include <vtkTriangle.h>
#include <vtkUnsignedCharArray.h>
#include <vtkXMLPolyDataReader.h>
#include <vtkXMLPolyDataWriter.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <numeric>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace KetSDK::MeshVTK {

namespace {

constexpr char const* CannotWrite = "it cannot be written";

void WriteVtp(vtkPolyData& data, OutputFile& file, Detail::VtkSession& session) {
    vtkNew<vtkPolyData> shown;
    shown->ShallowCopy(&data);
    Detail::EscapeNamesForXml(*shown);
    vtkNew<vtkXMLPolyDataWriter> writer;
    writer->SetDataModeToAppended();
    writer->EncodeAppendedDataOff();
    writer->SetCompressorTypeToNone(); // which crashes where there is no memory left
    writer->SetHeaderTypeToUInt64();
    writer->SetFileName(file.GetTemporaryPath().c_str());
    writer->SetInputData(shown);
    session.Run(*writer, CannotWrite);
}

void WriteStl(vtkPolyData& data, OutputFile& file, Detail::VtkSession& session) {
    vtkNew<vtkSTLWriter> writer;
    writer->SetFileTypeToBinary();
    if (auto const frame = FrameOf(data)) // may not begin with "solid"
        writer->SetHeader((std::string(writer->GetHeader()) + " " + Detail::FrameText(*frame)).c_str());
    writer->SetFileName(file.GetTemporaryPath().c_str());
    writer->SetInputData(&data);
    session.Run(*writer, CannotWrite);
    // It does not notice a full disk.
    std::ifstream written(file.GetTemporaryPath(), std::ios::binary | std::ios::ate);
    if (written.tellg() != std::streamoff{84} + std::streamoff{50} * data.GetNumberOfPolys())
        throw Error("it cannot be written: the disk is full or the file came out too short");
}

// VTK's writer of these files takes names with their ending only, and gives nothing when asked for a string.
class PlyBytes {
public:
    PlyBytes(vtkPolyData& data, vtkUnsignedCharArray* colors) {
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
            m_bytes += "comment " + Detail::FrameText(*frame) + "\n";
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

void WritePly(vtkPolyData& data, OutputFile& file, Detail::VtkSession&) {
    auto* const colors =
        vtkUnsignedCharArray::SafeDownCast(data.GetCellData()->GetAbstractArray(ArrayNames::Color));
    file.Write(PlyBytes(data, colors && colors->GetNumberOfComponents() == 3 ? colors : nullptr).Get());
}

// VTK's writers know neither groups, solids nor comments.
class NumberText {
public:
    NumberText& operator<<(std::string_view text) {
        m_text += text;
        return *this;
    }
    // The shortest text that reads back as the same number.
    template <typename Number>
    NumberText& Add(Number number) {
        char digits[32];
        return *this << std::string_view(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
    }
    std::string const& Get() const noexcept { return m_text; }

private:
    std::string m_text;
};

// The name of the surface of each triangle, where it changes.
class SurfaceNames {
public:
    explicit SurfaceNames(vtkPolyData& data)
        : m_numbers(vtkDataArray::SafeDownCast(data.GetCellData()->GetAbstractArray(ArrayNames::Surface)))
        , m_names(
              vtkStringArray::SafeDownCast(data.GetFieldData()->GetAbstractArray(ArrayNames::SurfaceNames))) {
    }

    // Nothing where the surface goes on or its name is not known.
    std::optional<std::string> Before(vtkIdType triangle) {
        if (!m_numbers || !m_names)
            return {};
        auto const number = static_cast<vtkIdType>(m_numbers->GetComponent(triangle, 0));
        if (number == std::exchange(m_last, number) || number < 0 || number >= m_names->GetNumberOfValues())
            return {};
        std::string name = m_names->GetValue(number);
        std::ranges::replace_if(
            name, [](unsigned char c) { return c < ' '; }, '_');
        return name;
    }

private:
    vtkDataArray* m_numbers;
    vtkStringArray* m_names;
    vtkIdType m_last = -1;
};

void WriteObj(vtkPolyData& data, OutputFile& file, Detail::VtkSession&) {
    NumberText out;
    if (auto const frame = FrameOf(data))
        out << "# " << Detail::FrameText(*frame) << "\n";
    for (vtkIdType i = 0; i < data.GetNumberOfPoints(); ++i) {
        double point[3];
        data.GetPoint(i, point);
        out << "v";
        for (double const coordinate : point)
            (out << " ").Add(coordinate);
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
            (out << " ").Add(corner + 1);
        out << "\n";
    }
    file.Write(out.Get());
}

// "solid " and "endsolid " of a surface.
void AddSolidLine(NumberText& out, char const* word, std::string const& name, std::string const& rest) {
    out << word << (name.empty() ? "" : " ") << name << rest << "\n";
}

std::string StlText(vtkPolyData& data) {
    NumberText out;
    SurfaceNames names(data);
    std::optional<std::string> open;
    std::string frame; // in the first line
    if (auto const said = FrameOf(data))
        frame = " " + Detail::FrameText(*said);
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
            (out << " ").Add(component);
        out << "\nouter loop\n";
        for (auto const& position : point) {
            out << "vertex";
            for (double const coordinate : position)
                (out << " ").Add(coordinate);
            out << "\n";
        }
        out << "endloop\nendfacet\n";
    }
    if (!open)
        AddSolidLine(out, "solid", open.emplace(), frame);
    AddSolidLine(out, "endsolid", *open, "");
    return out.Get();
}

vtkSmartPointer<vtkPolyData> ReadVtp(Detail::FileBytes const& file, Detail::VtkSession& session) {
    Detail::XmlCounts const counts = Detail::CheckXmlFile(file, "PolyData");
    vtkNew<Detail::XmlReader<vtkXMLPolyDataReader>> reader;
    reader->SetBytes(file);
    reader->Run(session);
    Detail::CheckCounts(*reader->GetOutput(), counts);
    return reader->GetOutput();
}

// The other formats are simple, and VTK's readers of them leave out what they do not understand, follow the
// locale of the program and read files by name.

vtkSmartPointer<vtkPolyData> ReadStl(Detail::FileBytes const& file, Detail::VtkSession&) {
    std::string_view const bytes = file.View();
    auto data = Detail::ReadStlFile(bytes);
    constexpr std::size_t header = 80; // of a binary file
    bool const is_text = bytes.starts_with("solid");
    SetFrame(*data, Detail::FindFrameText(bytes.substr(0, is_text ? bytes.find('\n') : header)));
    return data;
}

vtkSmartPointer<vtkPolyData> ReadPly(Detail::FileBytes const& file, Detail::VtkSession&) {
    std::string_view const bytes = file.View();
    auto data = Detail::ReadPlyFile(bytes);
    SetFrame(*data, Detail::FindFrameText(bytes.substr(0, bytes.find("end_header"))));
    return data;
}

vtkSmartPointer<vtkPolyData> ReadObj(Detail::FileBytes const& file, Detail::VtkSession&) {
    return Detail::ReadObjFile(file.View());
}

struct SurfaceFormat {
    char const* ending;
    vtkSmartPointer<vtkPolyData> (*read)(Detail::FileBytes const& file, Detail::VtkSession& session);
    void (*write)(vtkPolyData& data, OutputFile& file, Detail::VtkSession& session);
};

constexpr SurfaceFormat Formats[] = {{".vtp", ReadVtp, WriteVtp},
                                     {".stl", ReadStl, WriteStl},
                                     {".ply", ReadPly, WritePly},
                                     {".obj", ReadObj, WriteObj}};

// `use` is what the file is for: "read from" or "written to".
SurfaceFormat const& FormatOf(std::filesystem::path const& path, char const* use) {
    std::string const ending = LowerCaseEnding(path);
    for (SurfaceFormat const& format : Formats)
        if (ending == format.ending)
            return format;
    throw Error(std::string("surfaces are ") + use + " .vtp, .stl, .ply and .obj files only");
}

void Write(vtkPolyData& data, OutputFile& file, std::shared_ptr<Common::IProgressDelegate> const& progress) {
    SurfaceFormat const& format = FormatOf(file.GetPath(), "written to");
    Detail::VtkSession session(progress, "Writing file");
    format.write(data, file, session);
}

// Of the name of a file that is split into several; what the name of a surface adds has room behind it.
constexpr std::size_t LongestStem = 100;
constexpr std::size_t LongestPart = 140;

std::string FileNamePart(std::wstring const& name) {
    std::string part = ToUtf8(name);
    for (char& character : part)
        if (static_cast<unsigned char>(character) <= ' ' ||
            std::string("/\\:*?\"<>|\x7F").find(character) != std::string::npos)
            character = '_';
    if (part.size() <= LongestPart)
        return part;
    std::size_t end = LongestPart;
    while ((static_cast<unsigned char>(part[end]) & 0xC0u) == 0x80u) // not within a character
        --end;
    return part.substr(0, end);
}

void CheckTriangles(std::uint64_t count, EmptySurface empty) {
    if (count == 0 && empty == EmptySurface::Refused)
        throw Error("there are no triangles to write");
}

// Adds to what PolyDataFromSurface made of a surface the arrays of its triangles and points.
void AddArraysOfSurface(vtkPolyData& data, MStlSurface const& surface, vtkPolyData& arrays,
                        vtkIdType first_triangle) {
    std::vector<vtkIdType> triangles(surface.NumberOfTriangles());
    std::iota(triangles.begin(), triangles.end(), first_triangle);
    std::vector<vtkIdType> points;
    std::unordered_set<MStlPoint const*> entered; // in order of their first use, as there
    for (MStlTriangle const& triangle : surface.Triangles())
        for (unsigned int i = 0; i < 3; ++i)
            if (entered.insert(triangle.GetPoint(i)).second)
                points.push_back(triangle.GetPoint(i)->GetIndex());
    Detail::AddRows(*arrays.GetCellData(), triangles, *data.GetCellData());
    Detail::AddRows(*arrays.GetPointData(), points, *data.GetPointData());
}

vtkSmartPointer<vtkPolyData> ReadPolyData(std::filesystem::path const& path,
                                          std::shared_ptr<Common::IProgressDelegate> const& progress) {
    Detail::OpenFile const file(path, ".vtp, .stl, .ply or .obj");
    SurfaceFormat const& format = FormatOf(path, "read from");
    Detail::VtkSession session(progress, "Reading file");
    Detail::FileBytes const bytes = file.All(progress);
    return format.read(bytes, session);
}

} // namespace

std::unique_ptr<MStlBase> ReadSurfaceFile(std::filesystem::path const& path,
                                          SurfaceFromPolyDataOptions const& options,
                                          std::shared_ptr<Common::IProgressDelegate> const& progress,
                                          SurfaceReport* report) {
    return SurfaceFromPolyData(*ReadPolyData(path, progress), options, report);
}

std::unique_ptr<MStlBase> ReadSurfaceFile(std::filesystem::path const& path,
                                          SurfaceFromPolyDataOptions const& options,
                                          std::shared_ptr<Common::IProgressDelegate> const& progress,
                                          SurfaceReport* report, std::vector<MMeshArray>& arrays) {
    return SurfaceFromPolyData(*ReadPolyData(path, progress), options, report, arrays);
}

void CheckSurfaceFileName(std::filesystem::path const& path) {
    FormatOf(path, "written to");
}

void WriteSurfaceFile(MStlBase const& stl, LengthUnit unit, OutputFile& file,
                      std::shared_ptr<Common::IProgressDelegate> const& progress, EmptySurface empty) {
    WriteSurfaceFile(stl, {}, unit, file, progress, empty);
}

void WriteSurfaceFile(MStlBase const& stl, std::vector<MMeshArray> const& arrays, LengthUnit unit,
                      OutputFile& file, std::shared_ptr<Common::IProgressDelegate> const& progress,
                      EmptySurface empty) {
    auto const data = PolyDataFromSurfaces(stl, unit);
    AddArrays(*data, arrays);
    WriteSurfaceFile(*data, file, progress, empty);
}

void WriteSurfaceFile(vtkPolyData& data, OutputFile& file,
                      std::shared_ptr<Common::IProgressDelegate> const& progress, EmptySurface empty) {
    CheckTriangles(static_cast<std::uint64_t>(data.GetNumberOfPolys()), empty);
    Write(data, file, progress);
    file.Commit();
}

void WriteStlTextFile(vtkPolyData& data, OutputFile& file,
                      std::shared_ptr<Common::IProgressDelegate> const& progress, EmptySurface empty) {
    if (LowerCaseEnding(file.GetPath()) != ".stl")
        throw Error("surfaces are written in text to .stl files only");
    CheckTriangles(static_cast<std::uint64_t>(data.GetNumberOfPolys()), empty);
    Detail::VtkSession const session(progress, "Writing file");
    file.Write(StlText(data));
    file.Commit();
}

void CheckSurfaceFileNames(std::filesystem::path const& path) {
    CheckSurfaceFileName(path);
    if (path.stem().native().size() > LongestStem)
        throw Error("its name has more than " + std::to_string(LongestStem) +
                    " bytes before its ending, which leaves no room for the names of surfaces");
}

void CheckGraphFileName(std::filesystem::path const& path) {
    if (LowerCaseEnding(path) != ".vtp")
        throw Error("lines are written to .vtp files only");
}

void WriteGraphFile(vtkPolyData& data, OutputFile& file,
                    std::shared_ptr<Common::IProgressDelegate> const& progress) {
    if (data.GetNumberOfLines() == 0)
        throw Error("there are no edges to write");
    Detail::VtkSession session(progress, "Writing file");
    WriteVtp(data, file, session);
    file.Commit();
}

std::vector<std::filesystem::path>
WriteSurfaceFiles(MStlBase const& stl, LengthUnit unit, std::filesystem::path const& path,
                  std::shared_ptr<Common::IProgressDelegate> const& progress) {
    return WriteSurfaceFiles(stl, {}, std::nullopt, unit, path, progress);
}

std::vector<std::filesystem::path>
WriteSurfaceFiles(MStlBase const& stl, std::vector<MMeshArray> const& arrays, LengthUnit unit,
                  std::filesystem::path const& path,
                  std::shared_ptr<Common::IProgressDelegate> const& progress) {
    return WriteSurfaceFiles(stl, arrays, std::nullopt, unit, path, progress);
}

std::vector<std::filesystem::path>
WriteSurfaceFiles(MStlBase const& stl, std::vector<MMeshArray> const& arrays,
                  std::optional<Mesh::CoordinateFrame> frame, LengthUnit unit,
                  std::filesystem::path const& path,
                  std::shared_ptr<Common::IProgressDelegate> const& progress) {
    CheckSurfaceFileNames(path);
    CheckTriangles(stl.NumberOfTriangles(), EmptySurface::Refused);
    vtkSmartPointer<vtkPolyData> all; // with the arrays of all
    if (!arrays.empty()) {
        all = PolyDataFromSurfaces(stl, unit);
        AddArrays(*all, arrays);
    }
    vtkIdType next_triangle = 0;
    Common::BranchingProgressReporter reporter(progress, "Writing files", true);
    OutputTransaction transaction;
    std::vector<std::filesystem::path> paths;
    std::set<std::string> taken;
    for (MStlSurface const& surface : stl.Surfaces()) {
        if (surface.NumberOfTriangles() == 0)
            continue;
        auto const data = PolyDataFromSurface(surface, unit);
        if (frame)
            SetFrame(*data, frame);
        if (all)
            AddArraysOfSurface(*data, surface, *all, next_triangle);
        next_triangle += data->GetNumberOfPolys();
        std::string const stem = path.stem().string() + "-" + FileNamePart(surface.GetName());
        std::string name = stem;
        for (int number = 2; !taken.insert(name).second; ++number)
            name = stem + "-" + std::to_string(number);
        OutputFile file(path.parent_path() / (name + path.extension().string()));
        paths.push_back(file.GetPath());
        Write(*data, file, reporter.CreateNestedDelegate(1.0 / static_cast<double>(stl.NumberOfSurfaces())));
        file.Commit();
    }
    transaction.Commit();
    return paths;
}

} // namespace KetSDK::MeshVTK
