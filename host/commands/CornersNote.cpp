// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/CornersNote.h>

#include <ostream>

namespace ketmesh {

namespace {

std::string Note(std::uint64_t elements) {
    return std::to_string(elements) + " ten-node tetrahedra were taken by their corners, with straight edges";
}

} // namespace

void AddCornersNote(Json& report, std::uint64_t elements) {
    if (elements > 0)
        report["note"] = Note(elements);
}

void PrintCornersNote(std::ostream& out, std::uint64_t elements, std::string const& remedy) {
    if (elements > 0)
        out << "\nnote: " << Note(elements) << remedy << '\n';
}

} // namespace ketmesh
