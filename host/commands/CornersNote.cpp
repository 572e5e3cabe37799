// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/CornersNote.h>

namespace ketmesh {

std::string CornersNote(std::uint64_t elements) {
    return std::to_string(elements) + " ten-node tetrahedra were taken by their corners, with straight edges";
}

} // namespace ketmesh
