#pragma once

#include <KetSDK/Mesh/persistence/MMeshFile.h>
#include <KetSDK/MeshVTK/OutputFile.h>
#include <host/Command.h>

#include <string>
#include <vector>

namespace ketmesh {

// The kinds of files that hold volume meshes: .vtu and .vtk, which the bridge to VTK reads and writes, and
// .kmesh, which keeps all that a mesh knows. All operations throw KetSDK::MeshVTK::Error for what cannot be
// done; see ForFile.

// Throws Error for a name with none of these endings. `use` is what the file is for: "read from" or "written
// to".
void CheckVolumeMeshName(std::string const& path, char const* use);
// Whether the name ends with .kmesh.
bool IsMeshFileName(std::string const& path);

// Reads a .kmesh file with one element at least; throws Cancelled.
MMeshFile::Content ReadMeshFile(std::string const& path, Progress const& progress);
// Writes a .kmesh file and commits it; throws Cancelled.
void WriteMeshFile(MMeshBase const& mesh, std::vector<MMeshArray> const& arrays, MMeshFile::Encoding encoding,
                   KetSDK::MeshVTK::OutputFile& file, Progress const& progress);

} // namespace ketmesh
