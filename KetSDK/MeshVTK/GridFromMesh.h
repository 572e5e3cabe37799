// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <vtkSmartPointer.h>

class MMeshBase;
class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK {

// Makes a grid of a mesh: a point for each node, a cell for each element, in their order, with points as
// doubles in the unit. Cells carry `subvolume` (with the names as field data `subvolume_names`) and, where
// the mesh has them, `grey`, `original_id` and `material` (-1 for none). Of materials in its catalog they
// carry `density`, `emodulus` and `poisson` (NaN for none). Points carry `original_id` and every named scalar
// field, under its identifier. Wedges are written in VTK's winding, in which their volume and their faces'
// normals come out right.
//
// `source` is a grid that the mesh was made of and whose cells and points are still the mesh's elements and
// nodes. Every other array of it comes along (shared, not copied). It may be null. Throws Error when source
// has other numbers of cells or points, and for an element of unknown kind. When parallel, as many threads as
// the caller's task arena has make the grid, which is the same.
KETSDK_MESHVTK_API vtkSmartPointer<vtkUnstructuredGrid>
GridFromMesh(MMeshBase const& mesh, LengthUnit unit, vtkUnstructuredGrid* source, bool parallel = false);

// The arrays of a grid that the mesh does not carry itself, on a grid without points and cells (shared, not
// copied). Those are arrays of cells, points and field data that GridFromMesh would not make anew.
KETSDK_MESHVTK_API vtkSmartPointer<vtkUnstructuredGrid> ArraysBesideMesh(MMeshBase const& mesh,
                                                                         vtkUnstructuredGrid& grid);

} // namespace KetSDK::MeshVTK
