#pragma once

#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <vtkType.h>

#include <vector>

class vtkPolyData;
class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK {

// What a grid has of another one: the numbers there of some cells and points.
struct GridPart {
    vtkUnstructuredGrid* grid;
    std::vector<vtkIdType> cells;
    std::vector<vtkIdType> points;
};

// Adds to a grid, whose cells and points are those of its parts one after another, the arrays that every
// part has and the grid does not have yet, with the values that belong to each cell or point. An array comes
// with its type, or as doubles where the parts have it in several types; one whose parts have different
// numbers of components, or of which only some hold numbers, is left out. Field data comes from the first
// part. Throws Error when the numbers of cells or points do not add up.
KETSDK_MESHVTK_API void AddPartArrays(vtkUnstructuredGrid& grid, std::vector<GridPart> const& parts);

// Adds the cell arrays of a grid to a surface, for each cell of which `cells` says in which cell of the grid
// it lies; otherwise as above.
KETSDK_MESHVTK_API void AddCellArraysOf(vtkUnstructuredGrid& grid, std::vector<vtkIdType> const& cells,
                                        vtkPolyData& surface);

} // namespace KetSDK::MeshVTK
