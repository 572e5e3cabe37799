// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/options/ModelOutput.h>

namespace ketmesh {

CLI::Option* ModelOutput::Declare(Command& owner, CLI::App& command, std::string const& description) {
    m_owner = &owner;
    owner.DeclareOutput();
    return command.add_option("-o,--output", m_file, description + ": .kmesh, .vtu or .vtk");
}

void ModelOutput::Open(KetSDK::MeshJobs::WriteOptions const& options) {
    m_options = options;
    if (IsGiven())
        m_output.emplace(KetSDK::MeshJobs::OpenModelFile(m_file, options));
}

void ModelOutput::Write(KetSDK::MeshJobs::Model const& model, KetSDK::MeshJobs::Context const& context) {
    if (!IsGiven())
        return;
    KetSDK::MeshJobs::WriteModel(model, *m_output, m_options, context);
    m_owner->AddFile(m_file);
}

} // namespace ketmesh
