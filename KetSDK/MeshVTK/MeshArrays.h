#pragma once

#include <KetSDK/Mesh/persistence/MMeshArray.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <vector>

class MMeshBase;
class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK {

// The arrays of a grid that the mesh does not carry itself (ArraysBesideMesh), as a mesh file keeps them
// beside the mesh: those of cells, points and field data, strings too. AddArrays makes arrays of the same
// names, places, types and values of them; an array that was VTK's active scalars, vectors or the like is so
// again. Throws Error for arrays that hold neither numbers nor strings.
KETSDK_MESHVTK_API std::vector<MMeshArray> ArraysFromGrid(MMeshBase const& mesh, vtkUnstructuredGrid& grid);

// Adds the arrays to a grid that was made of the mesh that they lay beside; one whose name the grid has at
// that place is left out. Throws Error for an array that does not fit the grid.
KETSDK_MESHVTK_API void AddArrays(vtkUnstructuredGrid& grid, std::vector<MMeshArray> const& arrays);

} // namespace KetSDK::MeshVTK
