#pragma once

#include <KetSDK/Mesh/materials/MMaterialCatalog.h>
#include <KetSDK/MeshVTK/OutputFile.h>
#include <host/Command.h>

#include <optional>
#include <string>

namespace ketmesh {

// The option with which a command writes a catalog of materials beside a mesh, and the writing.
class CatalogOutput {
public:
    void Declare(CLI::App& command);
    // To be called before there is work that would be for nothing. Without a name the file goes beside the
    // mesh, as <its name without the ending>.materials.xml. Throws FileError for a place that cannot be
    // written to, and for a name that does not end with .xml.
    void Open(std::string const& mesh_file);
    // Writes all of it, not yet under its name. Throws FileError.
    void Write(MMaterialCatalog const& catalog);
    // Gives the file its name. Throws FileError.
    void Commit();

    std::string const& GetFileName() const noexcept { return m_file; }

private:
    std::string m_file;
    std::optional<KetSDK::MeshVTK::OutputFile> m_output;
};

} // namespace ketmesh
