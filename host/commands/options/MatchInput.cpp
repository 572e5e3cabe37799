// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/options/MatchInput.h>

#include <host/terminal/NumberCheck.h>

namespace ketmesh {

CLI::Option* MatchInput::Declare(Command& owner, CLI::App& command) {
    CLI::Option* const file = m_surface.Declare(owner, command);
    command
        .add_option("--tolerance", m_tolerance,
                    "How far in mm a triangle may lie from its face (default: 0.001); for a surface "
                    "that was remeshed, how far that has moved it")
        ->type_name("MM")
        ->check(PositiveNumber());
    return file;
}

} // namespace ketmesh
