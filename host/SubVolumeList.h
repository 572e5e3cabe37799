#pragma once

#include <host/Output.h>

class MMeshBase;

namespace ketmesh {

// The sub-volumes of a mesh in their order: number, name, elements and volume [mm3] of each.
Json SubVolumesOf(MMeshBase const& mesh);

// Prints such a list as a table, with what all of them hold together in the last row.
void PrintSubVolumes(Json const& list);

} // namespace ketmesh
