#pragma once

#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <vtkType.h>

#include <cstdint>
#include <string>
#include <vector>

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
// Throws Error for an array that has more components than values, and many of them: VTK takes memory and time
// for each component, also where there are no values.
void CheckComponents(std::string const& name, std::uint64_t components, std::uint64_t values);
// Whether the array is of an integer type.
bool HoldsWholeNumbers(vtkDataArray& array);
// The values of an integer array with one number for each of `count`; throws Error for another one.
std::vector<long long> WholeNumbers(vtkDataArray& array, vtkIdType count);

} // namespace KetSDK::MeshVTK
