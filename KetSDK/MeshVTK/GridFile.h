#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <vtkSmartPointer.h>

#include <filesystem>
#include <memory>

class vtkUnstructuredGrid;

namespace KetSDK::MeshVTK {

// Reads an unstructured grid with VTK's reader for the file's ending, .vtu or .vtk (legacy). Throws
// Error for a file that is missing, empty, cut off, of another kind, or that holds an array of another
// length than there are points or cells; throws Cancelled. Whether the grid makes a mesh is another
// matter: see MeshFromGrid. The delegate may be null.
KETSDK_MESHVTK_API vtkSmartPointer<vtkUnstructuredGrid>
ReadGridFile(std::filesystem::path const& path, std::shared_ptr<Common::IProgressDelegate> const& progress);

} // namespace KetSDK::MeshVTK
