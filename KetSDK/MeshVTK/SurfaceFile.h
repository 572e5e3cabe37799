#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>
#include <KetSDK/MeshVTK/OutputFile.h>

#include <filesystem>
#include <memory>
#include <vector>

class MStlBase;

namespace KetSDK::MeshVTK {

// Writes surfaces with VTK's writer for the file's ending: .vtp, .stl, .ply (all three binary) or .obj.
// Surface names travel in .vtp only; .stl and .ply hold coordinates as 32-bit floats.

// Throws Error for a name with another ending.
KETSDK_MESHVTK_API void CheckSurfaceFileName(std::filesystem::path const& path);

// Writes all surfaces of the container into the file and commits it. Throws Error when there are no
// triangles and when writing fails, Cancelled when the user cancelled; the file is then not committed.
// The delegate may be null.
KETSDK_MESHVTK_API void WriteSurfaceFile(MStlBase const& stl, LengthUnit unit, OutputFile& file,
                                         std::shared_ptr<Common::IProgressDelegate> const& progress);

// Writes each surface that has triangles into a file of its own, named `<stem>-<name of the surface>`
// with the ending of `path`; characters that file names should not have become "_", and names that
// would come twice are numbered. Returns the names in the order of the surfaces. All files appear
// together, when the last one is written. Throws as above.
KETSDK_MESHVTK_API std::vector<std::filesystem::path>
WriteSurfaceFiles(MStlBase const& stl, LengthUnit unit, std::filesystem::path const& path,
                  std::shared_ptr<Common::IProgressDelegate> const& progress);

} // namespace KetSDK::MeshVTK
