// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/options/CaseInput.h>

namespace ketmesh {

CLI::Option* CaseInput::Declare(Command& owner, CLI::App& command) {
    owner.DeclareInput(m_file);
    CLI::Option* const file =
        command.add_option("--case", m_file, "Case to read: what holds and loads the model; see below")
            ->type_name("CASE.toml");
    m_materials.Declare(
        command, "--materials",
        "Moduli: one for each material (bins, the default), each element's own (elements), or "
        "varying linearly inside elements between the means at their corners (nodes)");
    return file;
}

std::optional<KetSDK::MeshJobs::CaseFile> CaseInput::Read() const {
    if (m_file.empty())
        return std::nullopt;
    return KetSDK::MeshJobs::ReadCaseFile(m_file);
}

} // namespace ketmesh
