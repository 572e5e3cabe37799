// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/SurfaceFile.h>

#include <KetSDK/Common/Progress/BranchingProgressReporter.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/Frames.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/OutputTransaction.h>
#include <KetSDK/MeshVTK/PolyDataFromSurface.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>
#include <KetSDK/MeshVTK/detail/FrameText.h>
#include <KetSDK/MeshVTK/detail/RowsOfArrays.h>
#include <KetSDK/MeshVTK/detail/VtkSession.h>
#include <KetSDK/MeshVTK/surfaces/ObjFile.h>
#include <KetSDK/MeshVTK/surfaces/PlyFile.h>
#include <KetSDK/MeshVTK/surfaces/StlFile.h>
#include <KetSDK/MeshVTK/surfaces/VtpFile.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkCellData.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace KetSDK::MeshVTK {

namespace {

// VTK's readers of these simple formats leave out what they do not understand, follow the locale of the
// program and read files by name.

vtkSmartPointer<vtkPolyData> ReadObj(Detail::FileBytes const& file, Detail::VtkSession&) {
    return Detail::ReadObjFile(file.View());
}

void WriteObj(vtkPolyData& data, OutputFile& file, Detail::VtkSession&) {
    file.Write(Detail::ObjText(data).GetText());
}

vtkSmartPointer<vtkPolyData> ReadPly(Detail::FileBytes const& file, Detail::VtkSession&) {
    std::string_view const bytes = file.View();
    auto data = Detail::ReadPlyFile(bytes);
    SetFrame(*data, Detail::FindFrameText(bytes.substr(0, bytes.find("end_header"))));
    return data;
}

void WritePly(vtkPolyData& data, OutputFile& file, Detail::VtkSession&) {
    file.Write(Detail::PlyBytes(data));
}

vtkSmartPointer<vtkPolyData> ReadStl(Detail::FileBytes const& file, Detail::VtkSession&) {
    std::string_view const bytes = file.View();
    auto data = Detail::ReadStlFile(bytes);
    constexpr std::size_t header = 80; // of a binary file
    bool const is_text = bytes.starts_with("solid");
    SetFrame(*data, Detail::FindFrameText(bytes.substr(0, is_text ? bytes.find('\n') : header)));
    return data;
}

struct SurfaceFormat {
    char const* ending;
    vtkSmartPointer<vtkPolyData> (*read)(Detail::FileBytes const& file, Detail::VtkSession& session);
    void (*write)(vtkPolyData& data, OutputFile& file, Detail::VtkSession& session);
};

constexpr SurfaceFormat Formats[] = {{".vtp", Detail::ReadVtpFile, Detail::WriteVtpFile},
                                     {".stl", ReadStl, Detail::WriteBinaryStlFile},
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
    file.Write(Detail::StlText(data).GetText());
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
    Detail::WriteVtpFile(data, file, session);
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
