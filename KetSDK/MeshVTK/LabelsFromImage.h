// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/meshing/MLabelImage.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>

class vtkImageData;

namespace KetSDK::MeshVTK {

// The labels of an image, and where its voxels lie in mm. Throws Error for an image without voxels, and for
// one with a value that is no whole number of 32 bits: grey values are no labels.
KETSDK_MESHVTK_API MLabelImage LabelsFromImage(vtkImageData& image, LengthUnit unit, bool parallel = false);

} // namespace KetSDK::MeshVTK
