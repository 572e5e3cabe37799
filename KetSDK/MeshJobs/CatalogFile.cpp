// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/CatalogFile.h>

#include <KetSDK/FileIO/FileSystem/MFile.h>
#include <KetSDK/FileIO/SAX/MSAXTextWriter.h>
#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshVTK/InputFile.h>

#include <filesystem>

namespace KetSDK::MeshJobs {

std::string CatalogFileName(std::string const& mesh_file) {
    std::filesystem::path const mesh(mesh_file);
    return (mesh.parent_path() / (mesh.stem().string() + ".materials.xml")).string();
}

MeshVTK::OutputFile OpenCatalogFile(std::string const& path) {
    return Detail::ForFile(path, [&path] {
        // No mesh and no image has this ending, so that none can be overwritten by mistake.
        if (MeshVTK::LowerCaseEnding(path) != ".xml")
            throw MeshVTK::Error("catalogs of materials are written to .xml files only");
        return MeshVTK::OutputFile(path);
    });
}

void WriteCatalog(MMaterialCatalog const& catalog, MeshVTK::OutputFile& file) {
    MFile content(file.GetTemporaryPath(), MFile::Mode::Write);
    MSAXTextWriter writer(content);
    bool const written = catalog.Write(writer) && writer.IsGood();
    if (!content.Close() || !written)
        throw FileError(file.GetPath().string(), "it could not be written; is the disk full?");
}

void CommitCatalog(MeshVTK::OutputFile& file) {
    Detail::ForFile(file.GetPath().string(), [&file] { file.Commit(); });
}

void WriteCatalog(MMaterialCatalog const& catalog, std::string const& path) {
    MeshVTK::OutputFile file = OpenCatalogFile(path);
    WriteCatalog(catalog, file);
    CommitCatalog(file);
}

} // namespace KetSDK::MeshJobs
