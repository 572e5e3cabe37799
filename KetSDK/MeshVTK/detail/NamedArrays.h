// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/persistence/MMeshArray.h>

#include <vtkSmartPointer.h>

#include <string>
#include <vector>

class MMeshBase;
class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK::Detail {

// The arrays of that name on nodes and elements, of those beside a mesh and of what it itself knows, as
// attributes of a grid without points and cells. Without one of that name it has all arrays, so that a
// message can say which there are.
vtkSmartPointer<vtkUnstructuredGrid> ArraysNamed(MMeshBase const& mesh, std::vector<MMeshArray> const& arrays,
                                                 std::string const& name);

} // namespace KetSDK::MeshVTK::Detail
