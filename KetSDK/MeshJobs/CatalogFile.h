// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/MMaterialCatalog.h>
#include <KetSDK/MeshJobs/MeshJobsExport.h>
#include <KetSDK/MeshVTK/OutputFile.h>

#include <string>

namespace KetSDK::MeshJobs {

// Catalogs of materials in .xml files.

// The name of the catalog beside a mesh: that of the mesh with .materials.xml in place of its ending.
KETSDK_MESHJOBS_API std::string CatalogFileName(std::string const& mesh_file);

// Opens the file that a catalog is to be written to: before the work, which would be for nothing when the
// file cannot be written. Throws FileError for another ending and for a place that cannot be written to.
KETSDK_MESHJOBS_API MeshVTK::OutputFile OpenCatalogFile(std::string const& path);
// Writes all of a catalog, not yet under the name of the file: so both can be had or none, the catalog and a
// mesh that is written in between. Throws FileError.
KETSDK_MESHJOBS_API void WriteCatalog(MMaterialCatalog const& catalog, MeshVTK::OutputFile& file);
// Gives the file its name. Throws FileError.
KETSDK_MESHJOBS_API void CommitCatalog(MeshVTK::OutputFile& file);
// All in one.
KETSDK_MESHJOBS_API void WriteCatalog(MMaterialCatalog const& catalog, std::string const& path);

} // namespace KetSDK::MeshJobs
