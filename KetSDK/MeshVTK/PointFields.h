// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/MMeshNamedScalarMaskPoints.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <memory>
#include <vector>

class MMeshBase;
class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK {

// Makes a scalar field on the nodes of the mesh of each array of points of the grid that holds one
// floating-point number a point. The name of the array is its identifier and label. Point i is node i. The
// fields belong to the caller and are registered with the mesh while they live; GridFromMesh writes them. A
// node that is added later has NaN. Throws Error when the grid has another number of points.
KETSDK_MESHVTK_API std::vector<std::unique_ptr<MMeshNamedScalarMaskPoints>>
PointFieldsFromGrid(MMeshBase& mesh, vtkUnstructuredGrid& grid);

} // namespace KetSDK::MeshVTK
