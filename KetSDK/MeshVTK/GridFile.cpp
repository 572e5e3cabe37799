// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/GridFile.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/Frames.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <KetSDK/MeshVTK/checks/LegacyFileCheck.h>
#include <KetSDK/MeshVTK/checks/XmlFileCheck.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>
#include <KetSDK/MeshVTK/detail/FrameText.h>
#include <KetSDK/MeshVTK/detail/NamesInFiles.h>
#include <KetSDK/MeshVTK/detail/VtkSession.h>
#include <KetSDK/MeshVTK/detail/XmlReader.h>

#include <vtkCallbackCommand.h>
#include <vtkCellData.h>
#include <vtkCellTypes.h>
#include <vtkCommand.h>
#include <vtkDataArray.h>
#include <vtkNew.h>
#include <vtkObjectFactory.h>
#include <vtkPointData.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>
#include <vtkUnstructuredGridReader.h>
#include <vtkUnstructuredGridWriter.h>
#include <vtkXMLUnstructuredGridReader.h>
#include <vtkXMLUnstructuredGridWriter.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <ios>
#include <limits>
#include <string>
#include <string_view>

namespace KetSDK::MeshVTK {

namespace {

constexpr char const* CannotRead = "it cannot be read";
constexpr std::size_t BlockSize = std::size_t{1} << 20; // that VTK writes at a time
constexpr char const* CannotWrite = "it cannot be written";

vtkSmartPointer<vtkUnstructuredGrid> ReadXml(Detail::OpenFile const& file,
                                             std::shared_ptr<Common::IProgressDelegate> const& progress,
                                             bool parallel) {
    Detail::FileBytes const bytes = file.ForXml(progress, parallel);
    Detail::VtkSession session(progress, "Reading file");
    Detail::XmlCounts const counts = Detail::CheckXmlFile(bytes, "UnstructuredGrid");
    vtkNew<Detail::XmlReader<vtkXMLUnstructuredGridReader>> reader;
    reader->SetBytes(bytes);
    reader->Run(session);
    Detail::CheckCounts(*reader->GetOutput(), counts);
    return reader->GetOutput();
}

vtkSmartPointer<vtkUnstructuredGrid>
ReadLegacy(Detail::OpenFile const& file, std::shared_ptr<Common::IProgressDelegate> const& progress, bool) {
    Detail::MemoryFile const copy(file, progress);
    std::string_view const bytes = copy.View();
    if (!bytes.starts_with("# vtk DataFile Version"))
        throw Error("this is no VTK file, though its name ends with .vtk");
    Detail::CheckLegacyFile(bytes);
    Detail::VtkSession session(progress, "Reading file");
    vtkNew<vtkUnstructuredGridReader> reader; // which would copy an array of bytes twice
    reader->SetFileName(copy.Path().c_str());
    reader->ReadAllScalarsOn();
    reader->ReadAllVectorsOn();
    reader->ReadAllNormalsOn();
    reader->ReadAllTensorsOn();
    reader->ReadAllTCoordsOn();
    reader->ReadAllFieldsOn();
    session.Run(*reader, CannotRead);
    vtkSmartPointer<vtkUnstructuredGrid> grid = reader->GetOutput();
    if (auto const frame = Detail::FindFrameText(reader->GetHeader() ? reader->GetHeader() : ""))
        SetFrame(*grid, frame);
    return grid;
}

// VTK's writer asks which types of cells there are, which takes a grid as long as to write a tenth of it.
class GridToWrite : public vtkUnstructuredGrid {
public:
    static GridToWrite* New() { VTK_STANDARD_NEW_BODY(GridToWrite); }
    void GetCellTypes(vtkCellTypes* types) override {
        types->Reset();
        unsigned char const* const all = GetCellTypesArray()->GetPointer(0);
        auto const count = static_cast<std::size_t>(GetCellTypesArray()->GetNumberOfValues());
        std::array<bool, 256> is_there{};
        if (count > 0 && std::memcmp(all, all + 1, count - 1) == 0)
            is_there[all[0]] = true;
        else
            std::for_each(all, all + count, [&is_there](unsigned char type) { is_there[type] = true; });
        for (std::size_t type = 0; type < is_there.size(); ++type)
            if (is_there[type])
                types->InsertNextType(static_cast<unsigned char>(type));
    }
};

void WriteXml(vtkUnstructuredGrid& grid, OutputFile& file, Detail::VtkSession& session) {
    vtkNew<GridToWrite> shown;
    shown->ShallowCopy(&grid);
    Detail::EscapeNamesForXml(*shown);
    vtkNew<vtkXMLUnstructuredGridWriter> writer;
    writer->SetDataModeToAppended();
    writer->EncodeAppendedDataOff();
    writer->SetCompressorTypeToNone();
    writer->SetBlockSize(BlockSize);
    writer->SetHeaderTypeToUInt64(); // 32 bits would limit each array to 4 GB
    writer->SetFileName(file.GetTemporaryPath().c_str());
    writer->SetInputData(shown);
    // While VTK writes an array, the disk takes those before it.
    vtkNew<vtkCallbackCommand> on_progress;
    on_progress->SetClientData(&file);
    on_progress->SetCallback([](vtkObject*, unsigned long, void* client, void*) {
        static_cast<OutputFile*>(client)->StartStoring();
    });
    writer->AddObserver(vtkCommand::ProgressEvent, on_progress);
    session.Run(*writer, CannotWrite);
}

// A file that says when it is closed whether everything went into it.
class WatchedFile : public std::ofstream {
public:
    WatchedFile(char const* path, bool& complete)
        : std::ofstream(path, std::ios::binary)
        , m_complete(complete) {}
    ~WatchedFile() override {
        close();
        m_complete = good();
    }

private:
    bool& m_complete;
};

// VTK's writer does not look whether the disk took what it wrote.
class LegacyWriter : public vtkUnstructuredGridWriter {
public:
    static LegacyWriter* New();
    std::ostream* OpenVTKFile() override { return new WatchedFile(GetFileName(), m_complete); }
    bool IsComplete() const noexcept { return m_complete; }

private:
    bool m_complete = false;
};

vtkStandardNewMacro(LegacyWriter);

// Arrays of vtkIdType go into these files with 32 bits a number.
void CheckIdentifiers(vtkDataSetAttributes& arrays) {
    constexpr double largest = std::numeric_limits<std::int32_t>::max();
    for (int i = 0; i < arrays.GetNumberOfArrays(); ++i) {
        vtkDataArray* const array = arrays.GetArray(i);
        if (!array || array->GetDataType() != VTK_ID_TYPE)
            continue;
        for (int component = 0; component < array->GetNumberOfComponents(); ++component)
            if (array->GetRange(component)[0] < -largest || array->GetRange(component)[1] > largest)
                throw Error(
                    std::string("the array \"") + (array->GetName() ? array->GetName() : "") +
                    "\" holds identifiers beyond 32 bits; .vtu files can hold them, .vtk files cannot");
    }
}

void WriteLegacy(vtkUnstructuredGrid& grid, OutputFile& file, Detail::VtkSession& session) {
    CheckIdentifiers(*grid.GetCellData());
    CheckIdentifiers(*grid.GetPointData());
    Detail::CheckNamesForLegacyFile(grid);
    vtkNew<LegacyWriter> writer;
    writer->SetFileTypeToBinary();
    writer->SetFileName(file.GetTemporaryPath().c_str());
    vtkNew<vtkUnstructuredGrid> shown; // without what the header says
    shown->ShallowCopy(&grid);
    if (auto const frame = FrameOf(grid)) {
        writer->SetHeader((std::string(writer->GetHeader()) + " " + Detail::FrameText(*frame)).c_str());
        SetFrame(*shown, std::nullopt);
    }
    writer->SetInputData(shown);
    session.Run(*writer, CannotWrite);
    if (!writer->IsComplete())
        throw Error(std::string(CannotWrite) + ": the disk is full");
}

struct GridFormat {
    char const* ending;
    vtkSmartPointer<vtkUnstructuredGrid> (*read)(Detail::OpenFile const& file,
                                                 std::shared_ptr<Common::IProgressDelegate> const& progress,
                                                 bool parallel);
    void (*write)(vtkUnstructuredGrid& grid, OutputFile& file, Detail::VtkSession& session);
};

constexpr GridFormat Formats[] = {{".vtu", ReadXml, WriteXml}, {".vtk", ReadLegacy, WriteLegacy}};

// `use` is what the file is for: "read from" or "written to".
GridFormat const& FormatOf(std::filesystem::path const& path, char const* use) {
    std::string const ending = LowerCaseEnding(path);
    for (GridFormat const& format : Formats)
        if (ending == format.ending)
            return format;
    throw Error(std::string("volume meshes are ") + use + " .vtu and .vtk files only");
}

} // namespace

vtkSmartPointer<vtkUnstructuredGrid> ReadGridFile(std::filesystem::path const& path,
                                                  std::shared_ptr<Common::IProgressDelegate> const& progress,
                                                  bool parallel) {
    Detail::OpenFile const file(path, ".vtu or .vtk");
    return FormatOf(path, "read from").read(file, progress, parallel);
}

void CheckGridFileName(std::filesystem::path const& path) {
    FormatOf(path, "written to");
}

void WriteGridFile(vtkUnstructuredGrid& grid, OutputFile& file,
                   std::shared_ptr<Common::IProgressDelegate> const& progress) {
    CheckGridFileName(file.GetPath());
    if (grid.GetNumberOfCells() == 0)
        throw Error("there are no cells to write");
    Detail::VtkSession session(progress, "Writing file");
    FormatOf(file.GetPath(), "written to").write(grid, file, session);
    file.Commit();
}

} // namespace KetSDK::MeshVTK
