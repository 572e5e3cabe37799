// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <string>

class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK {

// Takes the cells without volume (points, lines, triangles, quadrilaterals and the like) out of a grid, with
// their rows of the cell arrays. Mesh generators write them beside those of a volume mesh. Points stay.
// Returns what was taken out, as in "12 triangle, 3 line". Nothing, with the grid as it was, when there are
// no others, no cell has a volume, or the lists of cells are damaged (MeshFromGrid says how).
KETSDK_MESHVTK_API std::string SkipFlatCells(vtkUnstructuredGrid& grid);

} // namespace KetSDK::MeshVTK
