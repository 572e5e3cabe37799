// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <vtkSmartPointer.h>

class MStlFeature;
class vtkPolyData;

namespace KetSDK::MeshVTK {

// All graphs of a feature as lines: the vertices graph by graph, as doubles in the unit, those without an
// edge too, and a line for each edge. The cell array `graph` numbers the graph of each line, from 0, and the
// field data `graph_names` names the graphs in UTF-8.
KETSDK_MESHVTK_API vtkSmartPointer<vtkPolyData> PolyDataFromGraphs(MStlFeature const& graphs,
                                                                   LengthUnit unit);

} // namespace KetSDK::MeshVTK
