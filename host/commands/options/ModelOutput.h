// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/ModelFile.h>
#include <host/commands/Command.h>

#include <cstdint>
#include <optional>
#include <string>

namespace ketmesh {

// The option with which a command writes a volume mesh.
class ModelOutput {
public:
    // Declares -o, --output; `description` says what is written.
    CLI::Option* Declare(Command& owner, CLI::App& command, std::string const& description);

    bool IsGiven() const noexcept { return !m_file.empty(); }
    std::string const& GetFileName() const noexcept { return m_file; }
    // To be called before the mesh is read, which would be for nothing when the file cannot be written.
    // Nothing without a file name.
    void Open(KetSDK::MeshJobs::WriteOptions const& options);
    // How many bytes were written; the file has its name only when the command is through.
    std::uint64_t GetSize() const noexcept { return m_output->GetSize(); }
    // Writes the model into the file that was opened; nothing without a file name.
    void Write(KetSDK::MeshJobs::Model const& model, KetSDK::MeshJobs::Context const& context);

private:
    Command* m_owner = nullptr;
    std::string m_file;
    KetSDK::MeshJobs::WriteOptions m_options;
    std::optional<KetSDK::MeshVTK::OutputFile> m_output;
};

} // namespace ketmesh
