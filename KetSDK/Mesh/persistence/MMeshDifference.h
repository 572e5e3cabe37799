// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>

#include <optional>
#include <string>

class MMeshBase;

// Where two meshes differ first, in words ("node 12: x is 1.5 mm and 1.75 mm": numbers from 0, the value of
// `a` first), or nothing when they are equal. What is looked at, in this order:
// - positions of the nodes; nodes of the elements;
// - of the elements: sub-volume, grey value, material, volume list, original identifier, surface triangles,
//   visibility; original identifiers of the nodes. Values that a mesh does not hold are the default ones;
// - the catalog with every property; number, name, material number and count of each sub-volume;
// - flags, type, state and box;
// - the named scalar fields in the order of their registration: identifier, label, default, values.
// Doubles are compared bit for bit. Mask indices, unique identities of sub-volumes, user masks, the density
// index, neighbour information and the correspondence mapper do not count. Both meshes may be used by other
// readers meanwhile.
// Nodes may lie apart by the tolerance, in model units, and the box counts without one only.
KETSDK_MESH_API std::optional<std::string> FindMeshDifference(MMeshBase const& a, MMeshBase const& b,
                                                              double tolerance = 0.0);
