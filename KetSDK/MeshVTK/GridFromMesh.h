#pragma once

#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <vtkSmartPointer.h>

class MMeshBase;
class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK {

// Makes a grid of a mesh: a point for each node, a cell for each element, in their order, with points
// as doubles in the unit. Cells carry `subvolume` (with the names as field data `subvolume_names`) and,
// where the mesh has them, `grey` and `original_id`; points carry `original_id` where the mesh has it.
// Wedges are written in VTK's winding, in which their volume and their faces' normals come out right.
//
// With `source`, a grid that the mesh was made of and whose cells and points are still the mesh's
// elements and nodes, every other array of it comes along (shared, not copied); source may be null.
// Throws Error when source has other numbers of cells or points, and for an element of unknown kind.
KETSDK_MESHVTK_API vtkSmartPointer<vtkUnstructuredGrid> GridFromMesh(MMeshBase const& mesh, LengthUnit unit,
                                                                     vtkUnstructuredGrid* source);

} // namespace KetSDK::MeshVTK
