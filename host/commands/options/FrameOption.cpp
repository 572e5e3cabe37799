// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/options/FrameOption.h>

namespace ketmesh {

CLI::Option* FrameOption::Declare(CLI::App& command, std::string const& name,
                                  std::string const& description) {
    return command.add_option(name, m_word, description)->check(CLI::IsMember({"RAS", "LPS"}));
}

std::optional<KetSDK::Mesh::CoordinateFrame> FrameOption::Get() const {
    return KetSDK::Mesh::FindFrame(m_word);
}

} // namespace ketmesh
