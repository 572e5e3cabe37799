// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/OutputFile.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>
#include <KetSDK/MeshVTK/detail/VtkSession.h>

#include <vtkSmartPointer.h>

class vtkPolyData;

namespace KetSDK::MeshVTK::Detail {

// Reads a .vtp file. Throws Error unless it holds exactly what it announces.
vtkSmartPointer<vtkPolyData> ReadVtpFile(FileBytes const& file, VtkSession& session);

void WriteVtpFile(vtkPolyData& data, OutputFile& file, VtkSession& session);

} // namespace KetSDK::MeshVTK::Detail
