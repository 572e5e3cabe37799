// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshPoint.h>
#include <KetSDK/Mesh/persistence/MMeshArray.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class MMeshBase;
class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK {

// What NodeValuesFromGrid found. The nodes are those at corners of elements.
struct NodeValuesReport {
    bool from_cells = false;         // the array was one of cells
    std::uint64_t without_value = 0; // nodes with NaN now
    double min = 0.0;                // of the other nodes; NaN when there are none
    double max = 0.0;
};

// Reads a field at the nodes of a mesh from the grid that the mesh was made of, into a mask that is
// registered with the mesh. It takes the array of points of that name, of any numeric type. Else it takes the
// array of cells, as the plain mean over the elements that have the node. A value that is not finite, or
// beyond 1e300, with which nothing can be interpolated, becomes NaN, and so does the mean of an element
// without a value. A node in no element keeps the mask's default when the array is one of cells. An array of
// several components needs the number of one, from 0. Throws Error when there is no such array, component or
// number of values; it says which arrays there are.
KETSDK_MESHVTK_API NodeValuesReport NodeValuesFromGrid(MMeshBase const& mesh, vtkUnstructuredGrid& grid,
                                                       std::string const& name, std::optional<int> component,
                                                       MDataMask<MMeshPoint, double>& values);

// The same without a grid: from what the mesh itself knows, under the names that GridFromMesh gives it, and
// from the arrays beside it.
KETSDK_MESHVTK_API NodeValuesReport NodeValuesOf(MMeshBase const& mesh, std::vector<MMeshArray> const& arrays,
                                                 std::string const& name, std::optional<int> component,
                                                 MDataMask<MMeshPoint, double>& values);

} // namespace KetSDK::MeshVTK
