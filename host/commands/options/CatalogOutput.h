// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/CatalogFile.h>
#include <host/commands/Command.h>

#include <optional>
#include <string>

namespace ketmesh {

// The option with which a command writes a catalog of materials beside a mesh.
class CatalogOutput {
public:
    void Declare(Command& owner, CLI::App& command);
    // To be called before there is work that would be for nothing. Without a name the file goes beside the
    // mesh.
    void Open(std::string const& mesh_file);
    // Writes all of it, not yet under its name.
    void Write(MMaterialCatalog const& catalog);
    // Gives the file its name.
    void Commit();

private:
    Command* m_owner = nullptr;
    std::string m_file;
    std::optional<KetSDK::MeshVTK::OutputFile> m_output;
};

} // namespace ketmesh
