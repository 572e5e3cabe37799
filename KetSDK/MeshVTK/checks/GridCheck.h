#pragma once

class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK::Detail {

// Throws Error unless every cell of the grid can become an element: there are cells, all of kinds that
// meshes have, offsets and counts agree with the kinds, and all points exist. VTK's readers check none
// of this, and its filters crash on what does not hold.
void CheckGrid(vtkUnstructuredGrid& grid);

} // namespace KetSDK::MeshVTK::Detail
