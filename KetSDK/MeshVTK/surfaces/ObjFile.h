// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Support/TextBuffer.h>

#include <vtkSmartPointer.h>

#include <string_view>

class vtkPolyData;

namespace KetSDK::MeshVTK::Detail {

// Reads the faces of an .obj file. Throws Error unless every vertex has three numbers, every face at least
// three corners that are there, and the last line an end. Nothing else in these files tells that they are cut
// off.
vtkSmartPointer<vtkPolyData> ReadObjFile(std::string_view bytes);

// A surface as such a file, with a group for each named surface, which VTK's writer leaves out.
Support::TextBuffer ObjText(vtkPolyData& data);

} // namespace KetSDK::MeshVTK::Detail
