// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/persistence/MMeshArray.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>
#include <KetSDK/MeshVTK/Rounding.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK {

struct MeshFromGridOptions {
    LengthUnit unit;
    // Cell array whose distinct values become sub-volumes. A name that is given must exist and comes
    // before everything else; without one, sub-volumes come from the arrays `subvolume` and
    // `subvolume_names`, or else from the labels in `label`. Labels are whole numbers of whatever type; a
    // `label` that holds others is left alone, with a warning.
    std::string labels;
    RoundingLimits limits;
    // Called with one line for what should make the user doubt the mesh; may be empty.
    std::function<void(std::string const& message)> warn;
    std::shared_ptr<Common::IProgressDelegate> progress; // may be null
    // Whether several threads, as many as the task arena of the caller has, make the mesh, which is the same.
    bool parallel = false;
};

// Makes a mesh, owned by the caller, of a grid of tetrahedra (4 or 10 nodes), hexahedra and wedges. Each
// point becomes one node and each cell one element, in the grid's order; unused points stay.
// - Node order is VTK's. A wedge is turned when its volume would be negative, everything else is kept
//   as it is, wrong orientation included.
// - Labels become sub-volumes in ascending order, named "Label <n>". Without sub-volumes or labels all
//   elements are in the main one. Names without elements are left out.
// - The cell array `grey` becomes the grey values; the arrays `original_id` of cells and points, or else
//   the numbers in the grid, become the original identifiers.
// - The cell array `material`, where it holds whole numbers, becomes the material identifiers, and what
//   `density`, `emodulus` and `poisson` give each of them becomes the catalog. Arrays that give a material
//   several values make no catalog.
// `report` (may be null) receives what rounding did. Throws Error for a grid that cannot be used. It has no
// cells, cells of other kinds, wrong connectivity, coordinates that are not finite, arrays that do not fit,
// rounding beyond the limits. Throws Cancelled.
KETSDK_MESHVTK_API std::unique_ptr<MMeshBase>
MeshFromGrid(vtkUnstructuredGrid& grid, MeshFromGridOptions const& options, RoundingReport* report);

// Replaces the sub-volumes of a mesh by those of a cell array of labels, as MeshFromGrid makes them. Cell i
// is element i. Throws Error for an array that is missing or holds no labels.
KETSDK_MESHVTK_API void SetSubvolumesByLabels(MMeshBase& mesh, vtkUnstructuredGrid& grid,
                                              std::string const& labels);
// The same by an array that lies beside the mesh, or one that GridFromMesh would make of the mesh itself.
KETSDK_MESHVTK_API void SetSubvolumesByLabels(MMeshBase& mesh, std::vector<MMeshArray> const& arrays,
                                              std::string const& labels);

} // namespace KetSDK::MeshVTK
