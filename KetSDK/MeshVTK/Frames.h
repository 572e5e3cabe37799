// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/CoordinateFrame.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <vtkSmartPointer.h>

#include <optional>

class MMeshBase;
class vtkDataObject;
class vtkImageData;

namespace KetSDK::MeshVTK {

// The frame of coordinates of grids, surfaces and images: the field data array of strings `SPACE`, "RAS" or
// "LPS". Readers of files that say it elsewhere, in a header or a comment, make that array, and writers of
// such files take it from there.

// The frame that the field data says; nothing when there is none or it says something else.
KETSDK_MESHVTK_API std::optional<Mesh::CoordinateFrame> FrameOf(vtkDataObject& data);
// Says the frame, in place of what is said; nothing says none.
KETSDK_MESHVTK_API void SetFrame(vtkDataObject& data, std::optional<Mesh::CoordinateFrame> frame);

// The same image in the other frame: the voxels are shared and lie where x and y have the other sign,
// exactly.
KETSDK_MESHVTK_API vtkSmartPointer<vtkImageData> TurnImage(vtkImageData& image);

// The share of the nodes of a mesh, from 0 to 1, that lie between the outermost voxel centres of an image.
// Throws Error for an image that has no volume.
KETSDK_MESHVTK_API double ShareInside(MMeshBase const& mesh, vtkImageData& image, LengthUnit unit_of_image);

} // namespace KetSDK::MeshVTK
