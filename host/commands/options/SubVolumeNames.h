// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <host/terminal/CommandLine.h>

#include <string>
#include <vector>

namespace ketmesh {

// Declares --name, which can be given several times: names of sub-volumes. Returns its option.
CLI::Option* DeclareSubVolumeNames(CLI::App& command, std::vector<std::string>& names,
                                   std::string const& description);

} // namespace ketmesh
