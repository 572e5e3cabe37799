#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <host/terminal/Output.h>

#include <cstdint>
#include <string>
#include <vector>

namespace ketmesh {

// A kind of element as reports name it, and how many there are.
struct ElementKind {
    char const* name;
    unsigned int nodes;
    std::uint64_t elements;
};

// All kinds, those without elements too.
std::vector<ElementKind> CountKinds(MMeshBase const& mesh);

// Throws FileError unless all elements are tetrahedra; it says what else there is and what to do.
void RequireTetrahedra(MMeshBase const& mesh, std::string const& file);

// Adds to a report, as its note, that ten-node tetrahedra were taken by their corners, where there are some.
void AddNoteOnCorners(Json& report, MMeshBase const& mesh);

} // namespace ketmesh
