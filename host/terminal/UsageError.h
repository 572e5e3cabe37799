// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <host/terminal/CommandLine.h>

#include <string>

namespace ketmesh {

// Says what is wrong with a command line that was refused: for an unknown command or option the nearest that
// there is, and in any case where help is. One line.
std::string DescribeUsageError(CLI::App const& app, CLI::Error const& error);

} // namespace ketmesh
