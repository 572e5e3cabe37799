// SPDX-License-Identifier: BSD-3-Clause
#pragma once

class MMeshBase;
class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK::Detail {

// The arrays of points that carry the named scalar fields of a mesh.

// Adds an array of points for each named scalar field of the mesh, under its identifier: of two with one
// identifier the later one, and none that has no identifier.
void AddPointFields(vtkUnstructuredGrid& grid, MMeshBase const& mesh);
// Removes arrays of points with these names.
void RemovePointFields(vtkUnstructuredGrid& grid, MMeshBase const& mesh);

} // namespace KetSDK::MeshVTK::Detail
