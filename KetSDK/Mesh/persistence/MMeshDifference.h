#pragma once

#include <KetSDK/Mesh/MMeshExport.h>

#include <optional>
#include <string>

class MMeshBase;

// Where two meshes differ first, in words ("node 12: x is 65536 and 65537"), or nothing when they are
// equal: in nodes, elements, built-in values, materials and catalog, sub-volumes, flags, type and named
// scalar fields, each in its order. Doubles are compared bit for bit. Mask indices, neighbour information
// and the correspondence mapper do not count.
KETSDK_MESH_API std::optional<std::string> FindMeshDifference(MMeshBase const& a, MMeshBase const& b);
