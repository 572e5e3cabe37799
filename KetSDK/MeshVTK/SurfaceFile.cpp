#include <KetSDK/MeshVTK/SurfaceFile.h>

#include <KetSDK/Common/Progress/BranchingProgressReporter.h>
#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/PolyDataFromSurface.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/MeshVTK/checks/XmlFileCheck.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>
#include <KetSDK/MeshVTK/detail/RowsOfArrays.h>
#include <KetSDK/MeshVTK/detail/VtkSession.h>
#include <KetSDK/MeshVTK/detail/XmlReader.h>
#include <KetSDK/MeshVTK/surfaces/ObjFile.h>
#include <KetSDK/MeshVTK/surfaces/PlyFile.h>
#include <KetSDK/MeshVTK/surfaces/StlFile.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkIdList.h>
#include <vtkNew.h>
#include <vtkOBJWriter.h>
#include <vtkPointData.h>
#include <vtkPolyData.h>
#include <vtkSTLWriter.h>
#include <vtkUnsignedCharArray.h>
#include <vtkXMLPolyDataReader.h>
#include <vtkXMLPolyDataWriter.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <fstream>
#include <numeric>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>

namespace KetSDK::MeshVTK {

namespace {

constexpr char const* CannotWrite = "it cannot be written";

void WriteVtp(vtkPolyData& data, OutputFile& file, Detail::VtkSession& session) {
    vtkNew<vtkXMLPolyDataWriter> writer;
    writer->SetDataModeToAppended();
    writer->EncodeAppendedDataOff();
    writer->SetCompressorTypeToNone(); // which crashes where there is no memory left
    writer->SetHeaderTypeToUInt64();
    writer->SetFileName(file.GetTemporaryPath().c_str());
    writer->SetInputData(&data);
    session.Run(*writer, CannotWrite);
}

void WriteStl(vtkPolyData& data, OutputFile& file, Detail::VtkSession& session) {
    vtkNew<vtkSTLWriter> writer;
    writer->SetFileTypeToBinary();
    writer->SetFileName(file.GetTemporaryPath().c_str());
    writer->SetInputData(&data);
    session.Run(*writer, CannotWrite);
}

// VTK's writer of these files takes names with their ending only, and gives nothing when asked for a string.
class PlyBytes {
public:
    PlyBytes(vtkPolyData& data, vtkUnsignedCharArray* colors) {
        Header(data.GetNumberOfPoints(), data.GetNumberOfPolys(), colors != nullptr);
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
    void Header(vtkIdType points, vtkIdType faces, bool has_colors) {
        m_bytes = "ply\nformat binary_little_endian 1.0\ncomment VTK generated PLY File\n"
                  "obj_info vtkPolyData points and polygons: vtk4.0\nelement vertex " +
                  std::to_string(points) +
                  "\nproperty float x\nproperty float y\nproperty float z\nelement face " +
                  std::to_string(faces) + "\nproperty list uchar int vertex_indices\n";
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

void WriteObj(vtkPolyData& data, OutputFile& file, Detail::VtkSession& session) {
    vtkNew<vtkOBJWriter> writer;
    writer->SetFileName(file.GetTemporaryPath().c_str());
    writer->SetInputData(&data);
    session.Run(*writer, CannotWrite);
}

// VTK's writers for the older formats do not notice a full disk. These say whether all of a file of
// `triangles` and `points` is there.

bool IsComplete(std::ifstream&, std::uint64_t, std::uint64_t) {
    return true; // what writes these notices
}

bool IsCompleteStl(std::ifstream& file, std::uint64_t triangles, std::uint64_t) {
    file.seekg(0, std::ios::end);
    return static_cast<std::uint64_t>(file.tellg()) == 84 + 50 * triangles;
}

bool IsCompleteObj(std::ifstream& file, std::uint64_t triangles, std::uint64_t points) {
    std::uint64_t faces = 0;
    std::uint64_t vertices = 0;
    for (std::string line; std::getline(file, line) && !file.eof();) {
        faces += line.starts_with("f ");
        vertices += line.starts_with("v ");
    }
    return faces == triangles && vertices == points;
}

constexpr char const* CannotRead = "it cannot be read";

vtkSmartPointer<vtkPolyData> ReadVtp(std::string_view bytes, Detail::VtkSession& session) {
    Detail::XmlCounts const counts = Detail::CheckXmlFile(bytes, "PolyData");
    vtkNew<Detail::XmlReader<vtkXMLPolyDataReader>> reader;
    reader->SetBytes(bytes);
    session.Run(*reader, CannotRead);
    Detail::CheckCounts(*reader->GetOutput(), counts);
    return reader->GetOutput();
}

// The other formats are simple, and VTK's readers of them leave out what they do not understand, follow the
// locale of the program and read files by name.

vtkSmartPointer<vtkPolyData> ReadStl(std::string_view bytes, Detail::VtkSession&) {
    return Detail::ReadStlFile(bytes);
}

vtkSmartPointer<vtkPolyData> ReadPly(std::string_view bytes, Detail::VtkSession&) {
    return Detail::ReadPlyFile(bytes);
}

vtkSmartPointer<vtkPolyData> ReadObj(std::string_view bytes, Detail::VtkSession&) {
    return Detail::ReadObjFile(bytes);
}

struct SurfaceFormat {
    char const* ending;
    vtkSmartPointer<vtkPolyData> (*read)(std::string_view bytes, Detail::VtkSession& session);
    void (*write)(vtkPolyData& data, OutputFile& file, Detail::VtkSession& session);
    bool (*is_complete)(std::ifstream& file, std::uint64_t triangles, std::uint64_t points);
};

constexpr SurfaceFormat Formats[] = {{".vtp", ReadVtp, WriteVtp, IsComplete},
                                     {".stl", ReadStl, WriteStl, IsCompleteStl},
                                     {".ply", ReadPly, WritePly, IsComplete},
                                     {".obj", ReadObj, WriteObj, IsCompleteObj}};

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
    std::ifstream written(file.GetTemporaryPath(), std::ios::binary);
    if (!format.is_complete(written, static_cast<std::uint64_t>(data.GetNumberOfPolys()),
                            static_cast<std::uint64_t>(data.GetNumberOfPoints())))
        throw Error("it cannot be written: the disk is full or the file came out too short");
}

// Of the name of a file that is split into several; what the name of a surface adds has room behind it.
constexpr std::size_t LongestStem = 100;
constexpr std::size_t LongestPart = 140;

std::string FileNamePart(std::wstring const& name) {
    std::string part = ToUtf8(name);
    for (char& character : part)
        if (static_cast<unsigned char>(character) < ' ' ||
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
    return format.read(bytes.View(), session);
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
    return WriteSurfaceFiles(stl, {}, unit, path, progress);
}

std::vector<std::filesystem::path>
WriteSurfaceFiles(MStlBase const& stl, std::vector<MMeshArray> const& arrays, LengthUnit unit,
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
    std::vector<OutputFile> files;
    std::set<std::string> taken;
    for (MStlSurface const& surface : stl.Surfaces()) {
        if (surface.NumberOfTriangles() == 0)
            continue;
        auto const data = PolyDataFromSurface(surface, unit);
        if (all)
            AddArraysOfSurface(*data, surface, *all, next_triangle);
        next_triangle += data->GetNumberOfPolys();
        std::string const stem = path.stem().string() + "-" + FileNamePart(surface.GetName());
        std::string name = stem;
        for (int number = 2; !taken.insert(name).second; ++number)
            name = stem + "-" + std::to_string(number);
        files.emplace_back(path.parent_path() / (name + path.extension().string()));
        Write(*data, files.back(),
              reporter.CreateNestedDelegate(1.0 / static_cast<double>(stl.NumberOfSurfaces())));
    }
    std::vector<std::filesystem::path> paths;
    for (OutputFile& file : files) {
        file.Commit();
        paths.push_back(file.GetPath());
    }
    return paths;
}

} // namespace KetSDK::MeshVTK
