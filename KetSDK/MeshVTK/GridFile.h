// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>
#include <KetSDK/MeshVTK/OutputFile.h>

#include <vtkSmartPointer.h>

#include <filesystem>
#include <memory>

class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK {

// Reads and writes unstructured grids with VTK's readers and writers for the file's ending, .vtu or .vtk
// (legacy). What is written reads back with every point, cell and value the same, bit for bit. The frame of
// coordinates (Frames.h) stands in the header line of .vtk files.

// Reads a grid. Throws Error for a file that is missing, empty, cut off, of another kind, or that holds an
// array of another length than there are points or cells; throws Cancelled. Whether the grid makes a mesh
// is another matter: see MeshFromGrid. The delegate may be null. With `parallel`, all threads read raw
// arrays.
KETSDK_MESHVTK_API vtkSmartPointer<vtkUnstructuredGrid>
ReadGridFile(std::filesystem::path const& path, std::shared_ptr<Common::IProgressDelegate> const& progress,
             bool parallel = false);

// Throws Error for a name that ends with neither .vtu nor .vtk.
KETSDK_MESHVTK_API void CheckGridFileName(std::filesystem::path const& path);

// Writes a grid with all its arrays into the file and commits it, in binary. A .vtu goes without compression,
// which writes and reads many times faster than packed data; every program reads it. Throws Error when there
// are no cells, when writing fails, and for what a .vtk file cannot hold (numbers beyond 32 bits in arrays of
// VTK's identifiers); throws Cancelled. The file is then not committed. The delegate may be null.
KETSDK_MESHVTK_API void WriteGridFile(vtkUnstructuredGrid& grid, OutputFile& file,
                                      std::shared_ptr<Common::IProgressDelegate> const& progress);

} // namespace KetSDK::MeshVTK
