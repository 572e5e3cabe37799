// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/options/CatalogOutput.h>

namespace ketmesh {

void CatalogOutput::Declare(Command& owner, CLI::App& command) {
    m_owner = &owner;
    owner.DeclareOutput();
    command
        .add_option("--catalog", m_file,
                    "File for the catalog of materials: .xml (default: <name>.materials.xml beside the mesh)")
        ->type_name("FILE");
}

void CatalogOutput::Open(std::string const& mesh_file) {
    if (m_file.empty())
        m_file = KetSDK::MeshJobs::CatalogFileName(mesh_file);
    m_output.emplace(KetSDK::MeshJobs::OpenCatalogFile(m_file));
}

void CatalogOutput::Write(MMaterialCatalog const& catalog) {
    KetSDK::MeshJobs::WriteCatalog(catalog, *m_output);
}

void CatalogOutput::Commit() {
    KetSDK::MeshJobs::CommitCatalog(*m_output);
    m_owner->AddFile(m_file);
}

} // namespace ketmesh
