// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <host/terminal/Output.h>

#include <cstdint>
#include <iosfwd>
#include <string>

namespace ketmesh {

// What reports say, as their note, when so many ten-node tetrahedra were taken by their corners; nothing when
// none was. For programs ...
void AddCornersNote(Json& report, std::uint64_t elements);
// ... and for people, on a line of its own, with what would keep them behind it.
void PrintCornersNote(std::ostream& out, std::uint64_t elements, std::string const& remedy = {});

} // namespace ketmesh
