// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vtkType.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class vtkAbstractArray;
class vtkDataArray;

namespace KetSDK::MeshVTK::Detail {

// The array as messages name it: the array "NAME".
std::string Quoted(vtkAbstractArray& array);
// Throws Error for an array that has more components than values, and many of them: VTK takes memory and time
// for each component, also where there are no values.
void CheckComponents(std::string const& name, std::uint64_t components, std::uint64_t values);
// Whether the array is of an integer type.
bool HoldsWholeNumbers(vtkDataArray& array);
// Nothing when every value of the first component is a whole number that a double holds exactly, as programs
// write labels that they keep as floating-point numbers. Otherwise where the first other one is.
std::optional<vtkIdType> FirstBrokenNumber(vtkDataArray& array);
// Throws Error for an array that does not have one whole number, of whatever type, for each of `count`.
void CheckWholeNumbers(vtkDataArray& array, vtkIdType count);
// The values of an array that does; throws Error for another one.
std::vector<long long> WholeNumbers(vtkDataArray& array, vtkIdType count);

} // namespace KetSDK::MeshVTK::Detail
