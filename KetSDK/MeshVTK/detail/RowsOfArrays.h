// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vtkType.h>

#include <vector>

class vtkDataSetAttributes;

namespace KetSDK::MeshVTK::Detail {

// Adds to the target arrays like those of the source, with the rows of these indices, in their order; names
// that the target has are left out. Active arrays are active there too.
void AddRows(vtkDataSetAttributes& source, std::vector<vtkIdType> const& rows, vtkDataSetAttributes& target);

} // namespace KetSDK::MeshVTK::Detail
