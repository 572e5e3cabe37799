// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <host/terminal/Output.h>

#include <iosfwd>

namespace ketmesh {

// All presets of laws and moduli: for people, as the table of docs/materials.md, and for programs.
void PrintPresetList(std::ostream& out);
void PrintPresetTable(std::ostream& out);
Json PresetListJson();

} // namespace ketmesh
