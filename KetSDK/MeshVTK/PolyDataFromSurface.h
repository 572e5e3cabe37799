// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <vtkSmartPointer.h>

class MStlBase;
class MStlSurface;
class vtkMultiBlockDataSet;
class vtkPolyData;

namespace KetSDK::MeshVTK {

// All surfaces of a container as one piece: its points in its order, as doubles in the unit, and the
// triangles surface by surface. The cell array `surface` numbers the surface of each triangle, from 0,
// and the field data `surface_names` names the surfaces in UTF-8.
KETSDK_MESHVTK_API vtkSmartPointer<vtkPolyData> PolyDataFromSurfaces(MStlBase const& stl, LengthUnit unit);

// One surface alone, with the points that it uses in order of their first use; the same arrays.
KETSDK_MESHVTK_API vtkSmartPointer<vtkPolyData> PolyDataFromSurface(MStlSurface const& surface,
                                                                    LengthUnit unit);

// Adds the colours of the triangles as the cell array `color` to what PolyDataFromSurfaces made of the
// container; white where a triangle has none.
KETSDK_MESHVTK_API void AddColors(vtkPolyData& data, MStlBase const& stl);

// One block for each surface, as PolyDataFromSurface makes it, named after the surface.
KETSDK_MESHVTK_API vtkSmartPointer<vtkMultiBlockDataSet> BlocksFromSurfaces(MStlBase const& stl,
                                                                            LengthUnit unit);

} // namespace KetSDK::MeshVTK
