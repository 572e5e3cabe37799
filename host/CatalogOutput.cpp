#include <host/CatalogOutput.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/SAX/MSAXTextWriter.h>
#include <host/FileError.h>

#include <filesystem>

namespace ketmesh {

void CatalogOutput::Declare(CLI::App& command) {
    command
        .add_option("--catalog", m_file,
                    "File for the catalog of materials: .xml (unless given, beside the mesh: "
                    "<name>.materials.xml)")
        ->type_name("FILE");
}

void CatalogOutput::Open(std::string const& mesh_file) {
    std::filesystem::path const mesh(mesh_file);
    if (m_file.empty())
        m_file = (mesh.parent_path() / (mesh.stem().string() + ".materials.xml")).string();
    // No mesh and no image has this ending, so that none can be overwritten by mistake.
    if (std::filesystem::path(m_file).extension() != ".xml")
        throw FileError(m_file, "catalogs of materials are written to .xml files only");
    ForFile(m_file, [this] { m_output.emplace(m_file); });
}

void CatalogOutput::Write(MMaterialCatalog const& catalog) {
    MFile file(m_output->GetTemporaryPath(), MFile::Mode::Write);
    MSAXTextWriter writer(file);
    bool const written = catalog.Write(writer) && writer.IsGood();
    if (!file.Close() || !written)
        throw FileError(m_file, "it could not be written; is the disk full?");
}

void CatalogOutput::Commit() {
    ForFile(m_file, [this] { m_output->Commit(); });
}

} // namespace ketmesh
