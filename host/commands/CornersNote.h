// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdint>
#include <string>

namespace ketmesh {

// What a report says, as its note, when so many ten-node tetrahedra were taken by their corners.
std::string CornersNote(std::uint64_t elements);

} // namespace ketmesh
