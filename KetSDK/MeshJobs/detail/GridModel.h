// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/ModelFile.h>

class vtkUnstructuredGrid;

namespace KetSDK::MeshJobs::Detail {

// Makes a model of a grid, as one that a file of VTK holds; the grid is empty afterwards. Throws
// MeshVTK::Error, MeshVTK::Cancelled.
Model ModelFromGrid(vtkUnstructuredGrid& grid, ReadOptions const& options, Context const& context);

} // namespace KetSDK::MeshJobs::Detail
