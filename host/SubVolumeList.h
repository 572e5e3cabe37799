#pragma once

#include <host/terminal/Output.h>

#include <set>
#include <string>
#include <vector>

class MMeshBase;
class MMeshSubVolume;

namespace ketmesh {

// The sub-volumes of a mesh in their order: number, name, elements and volume [mm3] of each.
Json SubVolumesOf(MMeshBase const& mesh);

// Prints such a list as a table, with what all of them hold together in the last row.
void PrintSubVolumes(Json const& list);

// The sub-volumes of a mesh with these names, all where several have one. Throws FileError, of the file that
// the mesh came from, for a name that none has.
std::set<MMeshSubVolume*> FindSubVolumes(MMeshBase& mesh, std::vector<std::string> const& names,
                                         std::string const& file);

} // namespace ketmesh
