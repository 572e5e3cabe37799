// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/OutputFile.h>
#include <KetSDK/MeshVTK/detail/VtkSession.h>
#include <KetSDK/Support/TextBuffer.h>

#include <vtkSmartPointer.h>

#include <string_view>

class vtkPolyData;

namespace KetSDK::MeshVTK::Detail {

// Reads the triangles of an .stl file, each with points of its own. Throws Error unless it is whole. A binary
// file is as long as its number of triangles makes it; one in text consists of solids with facets of three
// vertices and closes all that it opens. The encoding is told by the length, not by the first word, which
// lies in many binary files.
vtkSmartPointer<vtkPolyData> ReadStlFile(std::string_view bytes);

void WriteBinaryStlFile(vtkPolyData& data, OutputFile& file, VtkSession& session);
// A surface as such a file in text, with a solid for each named surface, which VTK's writer leaves out.
Support::TextBuffer StlText(vtkPolyData& data);

} // namespace KetSDK::MeshVTK::Detail
