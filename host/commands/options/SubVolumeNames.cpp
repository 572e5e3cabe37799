// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/options/SubVolumeNames.h>

namespace ketmesh {

CLI::Option* DeclareSubVolumeNames(CLI::App& command, std::vector<std::string>& names,
                                   std::string const& description) {
    return command.add_option("--name", names, description)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

} // namespace ketmesh
