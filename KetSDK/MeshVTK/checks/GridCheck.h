// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vtkType.h>

#include <string>

class vtkCellArray;
class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK::Detail {

// Throws Error unless every cell of the grid can become an element. That is so when there are cells, all of
// kinds that meshes have, offsets and counts agree with the kinds, and all points exist. VTK's readers check
// none of this, and its filters crash on what does not hold.
void CheckGrid(vtkUnstructuredGrid& grid, bool parallel);

// Whether there are so many cells, and their offsets rise from 0 to the length of the list of points.
bool AreOffsetsRising(vtkCellArray& cells, vtkIdType count);
// What people call a cell type; VTK's own name for the rarer ones.
std::string NameOfCellType(unsigned char type);

} // namespace KetSDK::MeshVTK::Detail
