#include <KetSDK/MeshVTK/GridFile.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/LegacyFileCheck.h>
#include <KetSDK/MeshVTK/VtkSession.h>
#include <KetSDK/MeshVTK/XmlFileCheck.h>

#include <vtkUnstructuredGrid.h>
#include <vtkUnstructuredGridReader.h>
#include <vtkXMLFileReadTester.h>
#include <vtkXMLUnstructuredGridReader.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <ios>
#include <string>
#include <system_error>

namespace KetSDK::MeshVTK {

namespace {

constexpr char const* CannotRead = "it cannot be read";

void CheckFile(std::filesystem::path const& path) {
    std::error_code error;
    if (!std::filesystem::exists(path, error))
        throw Error("there is no such file");
    if (std::filesystem::is_directory(path, error))
        throw Error("it is a folder; a .vtu or .vtk file is needed");
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw Error("it cannot be opened for reading");
    if (file.peek() == std::ifstream::traits_type::eof())
        throw Error("the file is empty");
}

std::string FirstBytes(std::filesystem::path const& path, std::size_t count) {
    std::ifstream file(path, std::ios::binary);
    std::string bytes(count, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(count));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

std::string LastBytes(std::filesystem::path const& path, std::size_t count) {
    std::uintmax_t const size = std::filesystem::file_size(path);
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(size > count ? size - count : 0));
    return {std::istreambuf_iterator<char>(file), {}};
}

// The data type that an XML file declares ("UnstructuredGrid"); empty for a file that is not VTK's.
std::string DeclaredType(std::filesystem::path const& path) {
    vtkNew<vtkXMLFileReadTester> tester;
    tester->SetFileName(path.c_str());
    char const* const type = tester->TestReadFile() ? tester->GetFileDataType() : nullptr;
    return type ? type : "";
}

void CheckXmlEnd(std::filesystem::path const& path) {
    std::string end = LastBytes(path, 4096);
    while (!end.empty() && (std::isspace(static_cast<unsigned char>(end.back())) || end.back() == '\0'))
        end.pop_back();
    if (!end.ends_with("</VTKFile>"))
        throw Error("the file is cut off: it does not end with </VTKFile>");
}

vtkSmartPointer<vtkUnstructuredGrid> ReadXml(std::filesystem::path const& path,
                                             std::shared_ptr<Common::IProgressDelegate> const& progress) {
    VtkSession session(progress, "Reading file");
    std::string const type = DeclaredType(path);
    if (type.empty())
        throw Error("this is no VTK XML file, though its name ends with .vtu");
    if (type != "UnstructuredGrid")
        throw Error("the file holds " + type + "; an UnstructuredGrid is needed");
    CheckXmlEnd(path);
    CheckXmlFile(path);
    vtkNew<vtkXMLUnstructuredGridReader> reader;
    reader->SetFileName(path.c_str());
    session.Run(*reader, CannotRead);
    return reader->GetOutput();
}

vtkSmartPointer<vtkUnstructuredGrid> ReadLegacy(std::filesystem::path const& path,
                                                std::shared_ptr<Common::IProgressDelegate> const& progress) {
    if (!FirstBytes(path, 64).starts_with("# vtk DataFile Version"))
        throw Error("this is no VTK file, though its name ends with .vtk");
    CheckLegacyFile(path);
    VtkSession session(progress, "Reading file");
    vtkNew<vtkUnstructuredGridReader> reader;
    reader->SetFileName(path.c_str());
    reader->ReadAllScalarsOn();
    reader->ReadAllVectorsOn();
    reader->ReadAllNormalsOn();
    reader->ReadAllTensorsOn();
    reader->ReadAllTCoordsOn();
    reader->ReadAllFieldsOn();
    session.Run(*reader, CannotRead);
    return reader->GetOutput();
}

} // namespace

vtkSmartPointer<vtkUnstructuredGrid>
ReadGridFile(std::filesystem::path const& path, std::shared_ptr<Common::IProgressDelegate> const& progress) {
    CheckFile(path);
    std::string ending = path.extension().string();
    std::ranges::transform(ending, ending.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (ending == ".vtu")
        return ReadXml(path, progress);
    if (ending == ".vtk")
        return ReadLegacy(path, progress);
    throw Error("volume meshes are read from .vtu and .vtk files only");
}

} // namespace KetSDK::MeshVTK
