// SPDX-License-Identifier: BSD-3-Clause
#pragma once

class MMeshBase;
class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK::Detail {

// The cell arrays that carry the materials of a mesh: the identifier of each element's material and, from
// the catalog, its properties and, as `color`, its display colour.

// Adds the identifiers (-1 for none), where any element has a material, and each property that the catalog
// has for one of them: NaN for elements without a material and where a property is not set. Colours (red,
// green, blue; white for none) are added where some material was given one.
void AddMaterialArrays(vtkUnstructuredGrid& grid, MMeshBase const& mesh);
// Removes arrays of those names as far as the mesh itself has what they hold.
void RemoveKnownMaterialArrays(vtkUnstructuredGrid& grid, MMeshBase const& mesh);

// Reads identifiers into the material mask of a mesh whose elements are the grid's cells in their order,
// and properties into its catalog. An array of identifiers that are no whole numbers of 32 bits is not
// taken for one. Properties are read when each is the same wherever the material is, and NaN where there is
// none; otherwise none is. The colour of a material in the catalog is that of its first element.
void SetMaterials(MMeshBase& mesh, vtkUnstructuredGrid& grid, bool parallel);

} // namespace KetSDK::MeshVTK::Detail
