#pragma once

#include <KetSDK/Mesh/persistence/MMeshFile.h>
#include <KetSDK/MeshVTK/OutputFile.h>
#include <host/Command.h>
#include <host/MeshInput.h>
#include <host/terminal/Output.h>

#include <optional>
#include <string>

class MMeshBase;
class vtkUnstructuredGrid;

namespace ketmesh {

// The option with which a command writes a volume mesh, and the writing.
class MeshOutput {
public:
    // Declares -o, --output; `description` says what is written.
    CLI::Option* Declare(CLI::App& command, std::string const& description);

    bool IsGiven() const noexcept { return !m_file.empty(); }
    std::string const& GetFileName() const noexcept { return m_file; }
    // How a .kmesh file is written, in binary unless set to text. To be set before Open.
    void SetEncoding(MMeshFile::Encoding encoding) noexcept { m_encoding = encoding; }
    // To be called before the mesh is read, which would be for nothing when the file cannot be written.
    // Throws FileError for another ending and for a place that cannot be written to. Nothing without a
    // file name.
    void Open();
    // Writes the mesh. `grid` was made of it (GridFromMesh) and may have further arrays, which go along; a
    // .kmesh file holds all else that the mesh knows, too. The file appears under its name when it is whole.
    // Throws FileError.
    void Write(MMeshBase const& mesh, vtkUnstructuredGrid& grid, Progress const& progress);
    // Writes a mesh that was read and still has its nodes and elements, with all arrays that came with it.
    // Nothing without a file name.
    void Write(MeshInput::Loaded const& loaded, KetSDK::MeshVTK::LengthUnit unit, Progress const& progress);

    // A list of the file, for reports; empty without a file name.
    Json GetFiles() const;

private:
    std::string m_file;
    MMeshFile::Encoding m_encoding = MMeshFile::Binary;
    std::optional<KetSDK::MeshVTK::OutputFile> m_output;
};

} // namespace ketmesh
