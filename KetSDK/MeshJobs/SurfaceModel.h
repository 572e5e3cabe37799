// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/CoordinateFrame.h>
#include <KetSDK/Mesh/persistence/MMeshArray.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/MeshJobsExport.h>
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/MeshVTK/OutputFile.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

// Triangulated surfaces with their names and what belongs to them. Lengths are in mm.
struct KETSDK_MESHJOBS_API SurfaceModel {
    // The file that it was read from, as the caller named it; empty for one that a job made.
    std::string file;
    // Never null in a surface that a job is given or gives.
    std::unique_ptr<MStlBase> surfaces;
    // Values of triangles (OnElements, in the order of the container) and points (OnNodes); .vtp files hold
    // them.
    std::vector<MMeshArray> arrays;
    // Where x and y point in the body; nothing for a surface that does not say.
    std::optional<Mesh::CoordinateFrame> frame;
};

// Reads a surface from a .vtp, .stl, .ply or .obj file. `options` are those of the model that it goes with;
// labels mean nothing. Throws FileError, Cancelled.
KETSDK_MESHJOBS_API SurfaceModel ReadSurface(std::string const& path, ReadOptions const& options,
                                             Context const& context);

struct SurfaceWriteOptions {
    MeshVTK::LengthUnit unit;
    bool allow_empty = false; // write a surface without triangles, which is an error otherwise
    // Write a .stl file in text, which keeps the names of surfaces as those of solids; an error for others.
    bool text = false;
};

// Throws FileError for a name with another ending than those above.
KETSDK_MESHJOBS_API void CheckSurfaceFileName(std::string const& path);
// The same for a name that WriteSurfaces is given; its stem must leave room for the names of surfaces.
KETSDK_MESHJOBS_API void CheckSurfaceFileNames(std::string const& path);
// Opens the file that a surface is to be written to, before the work. Throws FileError for another ending and
// for a place that cannot be written to.
KETSDK_MESHJOBS_API MeshVTK::OutputFile OpenSurfaceFile(std::string const& path);
// Writes all surfaces into one file, with the arrays where it is a .vtp file. Throws FileError, Cancelled.
KETSDK_MESHJOBS_API void WriteSurface(SurfaceModel const& surface, MeshVTK::OutputFile& file,
                                      SurfaceWriteOptions const& options, Context const& context);
// Writes each surface that has triangles into a file `<stem>-<name of the surface>` with the ending of
// `path`; returns the names. All files appear together. Throws FileError, also for text; Cancelled.
KETSDK_MESHJOBS_API std::vector<std::string> WriteSurfaces(SurfaceModel const& surface,
                                                           std::string const& path,
                                                           SurfaceWriteOptions const& options,
                                                           Context const& context);

// One surface as reports tell of it.
struct SurfaceReport {
    std::string name; // UTF-8
    std::uint64_t triangles;
    double area; // mm2
    bool closed; // every edge lies in exactly two triangles
};
KETSDK_MESHJOBS_API std::vector<SurfaceReport> ReportSurfaces(MStlBase const& surfaces);

} // namespace KetSDK::MeshJobs
