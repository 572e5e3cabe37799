// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/options/FailOn.h>

#include <host/terminal/NumberCheck.h>

namespace ketmesh {

void FailOn::Declare(CLI::App& command, std::string const& description) {
    command.add_option("--fail-on", m_most, description)->type_name("N")->check(Count());
}

} // namespace ketmesh
