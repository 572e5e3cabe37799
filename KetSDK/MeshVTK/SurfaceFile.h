// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/mesh/CoordinateFrame.h>
#include <KetSDK/Mesh/persistence/MMeshArray.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/MeshVTKExport.h>
#include <KetSDK/MeshVTK/OutputFile.h>
#include <KetSDK/MeshVTK/SurfaceFromPolyData.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

class MStlBase;
class vtkPolyData;

namespace KetSDK::MeshVTK {

// Reads and writes surfaces in the format of the file's ending: .vtp (through VTK), .stl, .ply (all
// three are written in binary, .stl on request in text) or .obj. Surface names travel in .vtp, as groups in
// .obj and as solids in .stl in text; binary .stl and .ply hold coordinates as 32-bit floats. The frame of
// coordinates (Frames.h) is a field data array of .vtp files, and "SPACE=RAS" in the header of .stl and in a
// comment of .ply and .obj files.

// Reads a surface container, owned by the caller; see SurfaceFromPolyData for what becomes of polygons,
// rounding and names. `report` and the delegate may be null. Throws Error for a file that is missing,
// empty, cut off, damaged or of another kind, and for one without triangles; throws Cancelled.
KETSDK_MESHVTK_API std::unique_ptr<MStlBase>
ReadSurfaceFile(std::filesystem::path const& path, SurfaceFromPolyDataOptions const& options,
                std::shared_ptr<Common::IProgressDelegate> const& progress, SurfaceReport* report);
// The same with the arrays of a .vtp file; there are none in the others.
KETSDK_MESHVTK_API std::unique_ptr<MStlBase>
ReadSurfaceFile(std::filesystem::path const& path, SurfaceFromPolyDataOptions const& options,
                std::shared_ptr<Common::IProgressDelegate> const& progress, SurfaceReport* report,
                std::vector<MMeshArray>& arrays);

// Throws Error for a name with another ending.
KETSDK_MESHVTK_API void CheckSurfaceFileName(std::filesystem::path const& path);
// The same for a name that names of surfaces are added to, which must have room for them.
KETSDK_MESHVTK_API void CheckSurfaceFileNames(std::filesystem::path const& path);

// What becomes of a surface without triangles: mostly a mistake, sometimes a result.
enum class EmptySurface { Refused, Written };

// Writes all surfaces of the container into the file and commits it. Throws Error when there are no
// triangles and that is not allowed, and when writing fails, Cancelled when the user cancelled; the file is
// then not committed. The delegate may be null.
KETSDK_MESHVTK_API void WriteSurfaceFile(MStlBase const& stl, LengthUnit unit, OutputFile& file,
                                         std::shared_ptr<Common::IProgressDelegate> const& progress,
                                         EmptySurface empty = EmptySurface::Refused);

// The same with arrays of triangles (on elements, surface by surface) and points (on nodes), which .vtp files
// hold. Throws Error for one that does not fit.
KETSDK_MESHVTK_API void WriteSurfaceFile(MStlBase const& stl, std::vector<MMeshArray> const& arrays,
                                         LengthUnit unit, OutputFile& file,
                                         std::shared_ptr<Common::IProgressDelegate> const& progress,
                                         EmptySurface empty = EmptySurface::Refused);

// The same for what PolyDataFromSurfaces made of a container and other arrays were added to, which .vtp files
// hold. Files of type .ply hold the colours of AddColors as those of the faces.
KETSDK_MESHVTK_API void WriteSurfaceFile(vtkPolyData& data, OutputFile& file,
                                         std::shared_ptr<Common::IProgressDelegate> const& progress,
                                         EmptySurface empty = EmptySurface::Refused);

// The same into a .stl file in text: a solid for each surface, under its name, with coordinates that read
// back as they are. Throws Error for a name with another ending.
KETSDK_MESHVTK_API void WriteStlTextFile(vtkPolyData& data, OutputFile& file,
                                         std::shared_ptr<Common::IProgressDelegate> const& progress,
                                         EmptySurface empty = EmptySurface::Refused);

// Writes each surface that has triangles into a file of its own, named `<stem>-<name of the surface>` with
// the ending of `path`. Spaces and characters that file names should not have become "_", and names that
// would come twice are numbered. Returns the names in the order of the surfaces. All files appear together,
// when the last one is written. Throws as above.
KETSDK_MESHVTK_API std::vector<std::filesystem::path>
WriteSurfaceFiles(MStlBase const& stl, LengthUnit unit, std::filesystem::path const& path,
                  std::shared_ptr<Common::IProgressDelegate> const& progress);
// The same with arrays, of which each file has the rows of its triangles and points, and with the frame of
// the coordinates.
KETSDK_MESHVTK_API std::vector<std::filesystem::path>
WriteSurfaceFiles(MStlBase const& stl, std::vector<MMeshArray> const& arrays,
                  std::optional<Mesh::CoordinateFrame> frame, LengthUnit unit,
                  std::filesystem::path const& path,
                  std::shared_ptr<Common::IProgressDelegate> const& progress);
KETSDK_MESHVTK_API std::vector<std::filesystem::path>
WriteSurfaceFiles(MStlBase const& stl, std::vector<MMeshArray> const& arrays, LengthUnit unit,
                  std::filesystem::path const& path,
                  std::shared_ptr<Common::IProgressDelegate> const& progress);

// Throws Error for a name that does not end with .vtp.
KETSDK_MESHVTK_API void CheckGraphFileName(std::filesystem::path const& path);

// Writes the lines that PolyDataFromGraphs made into a .vtp file and commits it. Throws Error when there are
// none and when writing fails, Cancelled when the user cancelled; the file is then not committed. The
// delegate may be null.
KETSDK_MESHVTK_API void WriteGraphFile(vtkPolyData& data, OutputFile& file,
                                       std::shared_ptr<Common::IProgressDelegate> const& progress);

} // namespace KetSDK::MeshVTK
