// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/detail/ArrayRoom.h>

#include <string>

class MMeshBase;
class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK::Detail {

// The arrays that carry what a mesh itself knows beyond geometry; see GridFromMesh.

// Adds them all to the attributes of a grid, in the order in which files have them; one that is there already
// is replaced. The grid needs no points or cells. Long ones lie in the room. On several threads when
// parallel.
void AddOwnArrays(vtkUnstructuredGrid& grid, MMeshBase const& mesh, ArrayRoom& room, bool parallel);
// Adds those of that name. Others may come along.
void AddOwnArrays(vtkUnstructuredGrid& grid, MMeshBase const& mesh, std::string const& name);
// Removes arrays of those names as far as the mesh itself has what they hold.
void RemoveOwnArrays(vtkUnstructuredGrid& grid, MMeshBase const& mesh);

} // namespace KetSDK::MeshVTK::Detail
