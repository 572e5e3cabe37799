#include <host/MeshOutput.h>

#include <KetSDK/MeshVTK/GridFile.h>
#include <host/FileError.h>

#include <vtkUnstructuredGrid.h>

namespace ketmesh {

CLI::Option* MeshOutput::Declare(CLI::App& command, std::string const& description) {
    return command.add_option("-o,--output", m_file, description + ": .vtu or .vtk");
}

void MeshOutput::Open() {
    if (!IsGiven())
        return;
    ForFile(m_file, [this] {
        KetSDK::MeshVTK::CheckGridFileName(m_file);
        m_output.emplace(m_file);
    });
}

void MeshOutput::Write(MMeshBase const&, vtkUnstructuredGrid& grid, Progress const& progress) {
    ForFile(m_file, [&] { KetSDK::MeshVTK::WriteGridFile(grid, *m_output, progress); });
}

} // namespace ketmesh
