// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <vtkType.h>

#include <string>

class vtkDataArray;
class vtkDataSetAttributes;

namespace KetSDK::MeshVTK {

// Reading of arrays that came with a grid or a surface.

// The array of that name; null when there is none. Throws Error for one that does not hold numbers.
KETSDK_MESHVTK_API vtkDataArray* FindArray(vtkDataSetAttributes& arrays, std::string const& name);
// With the kind "cell": "the cell arrays are a, b", or "there are no cell arrays".
KETSDK_MESHVTK_API std::string DescribeArrays(vtkDataSetAttributes& arrays, std::string const& kind);
// Throws Error unless the array has one number for each of `count` cells or points.
KETSDK_MESHVTK_API void CheckShape(vtkDataArray& array, vtkIdType count);

} // namespace KetSDK::MeshVTK
