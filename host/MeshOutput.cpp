#include <host/MeshOutput.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/GridFile.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <host/FileError.h>
#include <host/MeshFile.h>

#include <vtkUnstructuredGrid.h>

namespace ketmesh {

CLI::Option* MeshOutput::Declare(CLI::App& command, std::string const& description) {
    return command.add_option("-o,--output", m_file, description + ": .kmesh, .vtu or .vtk");
}

void MeshOutput::Open() {
    if (!IsGiven())
        return;
    ForFile(m_file, [this] {
        CheckVolumeMeshName(m_file, "written to");
        if (m_encoding == MMeshFile::Text && !IsMeshFileName(m_file))
            throw KetSDK::MeshVTK::Error("only .kmesh files are written as text");
        m_output.emplace(m_file);
    });
}

void MeshOutput::Write(MMeshBase const& mesh, vtkUnstructuredGrid& grid, Progress const& progress) {
    ForFile(m_file, [&] {
        if (IsMeshFileName(m_file))
            WriteMeshFile(mesh, KetSDK::MeshVTK::ArraysFromGrid(mesh, grid), m_encoding, *m_output, progress);
        else
            KetSDK::MeshVTK::WriteGridFile(grid, *m_output, progress);
    });
}

void MeshOutput::Write(MeshInput::Loaded const& loaded, KetSDK::MeshVTK::LengthUnit unit,
                       Progress const& progress) {
    if (IsGiven())
        Write(*loaded.mesh, *KetSDK::MeshVTK::GridFromMesh(*loaded.mesh, unit, loaded.grid), progress);
}

Json MeshOutput::GetFiles() const {
    return IsGiven() ? Json::array({m_file}) : Json::array();
}

} // namespace ketmesh
