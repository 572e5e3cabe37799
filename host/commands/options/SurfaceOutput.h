// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/SurfaceModel.h>
#include <host/commands/Command.h>

#include <optional>
#include <string>

namespace ketmesh {

// The option with which a command writes a surface.
class SurfaceOutput {
public:
    // One file for all surfaces, or one for each, named after it.
    enum class Files { One, OneForEachSurface };

    // Declares -o, --output; `description` says what is written.
    CLI::Option* Declare(Command& owner, CLI::App& command, std::string const& description);

    bool IsGiven() const noexcept { return !m_file.empty(); }
    std::string const& GetFileName() const noexcept { return m_file; }
    // To be called before the mesh is read, which would be for nothing when the file cannot be written.
    // Nothing without a file name.
    void Open(Files files = Files::One);
    // Writes the surfaces; nothing without a file name.
    void Write(KetSDK::MeshJobs::SurfaceModel const& surface,
               KetSDK::MeshJobs::SurfaceWriteOptions const& options,
               KetSDK::MeshJobs::Context const& context);

private:
    Command* m_owner = nullptr;
    std::string m_file;
    Files m_files = Files::One;
    std::optional<KetSDK::MeshVTK::OutputFile> m_output;
};

} // namespace ketmesh
