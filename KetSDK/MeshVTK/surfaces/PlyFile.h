// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vtkSmartPointer.h>

#include <string>
#include <string_view>

class vtkPolyData;

namespace KetSDK::MeshVTK::Detail {

// Reads the faces of a .ply file, in text or in binary of either byte order. Throws Error unless it holds
// exactly what its header announces: all vertices with x, y and z, and all faces, whose corners are there.
vtkSmartPointer<vtkPolyData> ReadPlyFile(std::string_view bytes);

// A surface as such a file in binary, with the colours of its faces.
std::string PlyBytes(vtkPolyData& data);

} // namespace KetSDK::MeshVTK::Detail
