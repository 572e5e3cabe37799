// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/persistence/MMeshArray.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <vtkSmartPointer.h>

#include <vector>

class MMeshBase;
class vtkPolyData;
class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK {

// Arrays of grids and surfaces as arrays beside a mesh or a surface, and back. Everything that VTK's files
// hold of an array comes back as it was. That is name, type, every bit of the values, names of components,
// information, the order of the arrays, and what active scalars, vectors or the like an array was. Strings
// and bits are arrays like others. Arrays that hold neither numbers nor strings throw Error.

// The arrays of a grid that the mesh does not carry itself (ArraysBesideMesh): those of cells, then of
// points, then field data.
KETSDK_MESHVTK_API std::vector<MMeshArray> ArraysFromGrid(MMeshBase const& mesh, vtkUnstructuredGrid& grid);
// The same of a grid that nobody needs any longer. It is empty afterwards; its memory is given back array by
// array, so that one array at most is there twice. Several threads may have some MB of arrays twice.
KETSDK_MESHVTK_API std::vector<MMeshArray>
TakeArraysFromGrid(MMeshBase const& mesh, vtkUnstructuredGrid& grid, bool parallel = false);

// Throws Error for an array that no grid can hold: one that announces many components but has fewer values,
// or whose values do not fill their rows. For arrays of a file that are handed on without a grid.
KETSDK_MESHVTK_API void CheckArray(MMeshArray const& array);

// What the mesh itself carries, as the arrays that GridFromMesh makes of it.
KETSDK_MESHVTK_API std::vector<MMeshArray> ArraysOfMesh(MMeshBase const& mesh);

// The same, but of the arrays with that name alone, UTF-8; others may come along.
KETSDK_MESHVTK_API std::vector<MMeshArray> ArraysOfMesh(MMeshBase const& mesh, std::string const& name);

// Adds the arrays to a grid that was made of the mesh that they lay beside; one whose name the grid has at
// that place is left out. Throws Error for an array that does not fit the grid.
KETSDK_MESHVTK_API void AddArrays(vtkUnstructuredGrid& grid, std::vector<MMeshArray> const& arrays);
// GridFromMesh with the arrays beside the mesh, which come before those that the mesh itself makes. Throws
// Error for an array that does not fit the mesh.
KETSDK_MESHVTK_API vtkSmartPointer<vtkUnstructuredGrid> GridFromMesh(MMeshBase const& mesh, LengthUnit unit,
                                                                     std::vector<MMeshArray> const& arrays,
                                                                     bool parallel = false);

// The arrays of triangles (on elements) and points (on nodes) of a surface and its field data, but for those
// that its container makes anew: `surface`, `surface_names`.
KETSDK_MESHVTK_API std::vector<MMeshArray> ArraysFromSurface(vtkPolyData& data);
// Adds arrays to what PolyDataFromSurfaces made of a container: those on elements have a row for each
// triangle, surface by surface, those on nodes one for each point. Otherwise as for grids.
KETSDK_MESHVTK_API void AddArrays(vtkPolyData& data, std::vector<MMeshArray> const& arrays);

} // namespace KetSDK::MeshVTK
