// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <KetSDK/Mesh/persistence/MMeshFrameArray.h>
#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/FrameOfInput.h>
#include <KetSDK/MeshVTK/Frames.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <KetSDK/MeshVTK/MeshArrays.h>
#include <KetSDK/MeshVTK/PolyDataFromSurface.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/MeshVTK/Text.h>

#include <vtkPolyData.h>

#include <algorithm>
#include <filesystem>

namespace KetSDK::MeshJobs {

namespace {

// Several surfaces become one in files that hold no names.
void WarnOfNames(MStlBase const& stl, std::filesystem::path const& path, SurfaceWriteOptions const& options,
                 Context const& context) {
    std::string const ending = MeshVTK::LowerCaseEnding(path);
    auto const count = std::ranges::count_if(
        stl.Surfaces(), [](MStlSurface const& surface) { return surface.NumberOfTriangles() > 0; });
    if (count > 1 && ((ending == ".stl" && !options.text) || ending == ".ply"))
        context.Warn(path.string() + ": the names of its " + std::to_string(count) + " surfaces are lost, " +
                     (ending == ".stl" ? "binary " : "") + ending +
                     " files hold none; .vtp and .obj files and .stl in text (--ascii) do");
}

// The one of several functions of that name.
void WriteBinary(vtkPolyData& data, MeshVTK::OutputFile& file,
                 std::shared_ptr<Common::IProgressDelegate> const& progress, MeshVTK::EmptySurface empty) {
    MeshVTK::WriteSurfaceFile(data, file, progress, empty);
}

} // namespace

SurfaceModel ReadSurface(std::string const& path, ReadOptions const& options, Context const& context) {
    return Detail::ReadingFile(path, context, [&] {
        MeshVTK::SurfaceFromPolyDataOptions how;
        how.unit = options.unit;
        how.limits = options.limits;
        MeshVTK::SurfaceReport report;
        SurfaceModel model;
        model.file = path;
        model.surfaces = MeshVTK::ReadSurfaceFile(path, how, context.progress, &report, model.arrays);
        if (report.uncut_polygons > 0)
            context.Warn(path + ": " + std::to_string(report.uncut_polygons) +
                         " polygons could not be cut into triangles and are missing, at least in part");
        model.frame = Detail::FrameOfInput(TakeFrame(model.arrays), options.frame, "--surface-frame", path,
                                           model.arrays, context);
        context.ThrowIfCancelled();
        return model;
    });
}

void CheckSurfaceFileName(std::string const& path) {
    Detail::ForFile(path, [&path] { MeshVTK::CheckSurfaceFileName(path); });
}

void CheckSurfaceFileNames(std::string const& path) {
    Detail::ForFile(path, [&path] { MeshVTK::CheckSurfaceFileNames(path); });
}

MeshVTK::OutputFile OpenSurfaceFile(std::string const& path) {
    return Detail::ForFile(path, [&path] {
        MeshVTK::CheckSurfaceFileName(path);
        return MeshVTK::OutputFile(path);
    });
}

void WriteSurface(SurfaceModel const& surface, MeshVTK::OutputFile& file, SurfaceWriteOptions const& options,
                  Context const& context) {
    Detail::WritingFile(file.GetPath().string(), context, [&] {
        WarnOfNames(*surface.surfaces, file.GetPath(), options, context);
        auto const data = MeshVTK::PolyDataFromSurfaces(*surface.surfaces, options.unit);
        MeshVTK::AddArrays(*data, surface.arrays);
        if (surface.frame)
            MeshVTK::SetFrame(*data, surface.frame);
        auto const write = options.text ? MeshVTK::WriteStlTextFile : WriteBinary;
        write(*data, file, context.progress,
              options.allow_empty ? MeshVTK::EmptySurface::Written : MeshVTK::EmptySurface::Refused);
    });
}

std::vector<std::string> WriteSurfaces(SurfaceModel const& surface, std::string const& path,
                                       SurfaceWriteOptions const& options, Context const& context) {
    if (options.text)
        throw FileError(path, "surfaces are written in text to one file only");
    return Detail::WritingFile(path, context, [&] {
        std::vector<std::string> names;
        for (auto const& name : MeshVTK::WriteSurfaceFiles(*surface.surfaces, surface.arrays, surface.frame,
                                                           options.unit, path, context.progress))
            names.push_back(name.string());
        return names;
    });
}

std::vector<SurfaceReport> ReportSurfaces(MStlBase const& surfaces) {
    std::vector<SurfaceReport> reports;
    for (MStlSurface const& surface : surfaces.Surfaces())
        reports.push_back({MeshVTK::ToUtf8(surface.GetName()), surface.NumberOfTriangles(), surface.GetArea(),
                           surface.IsClosed()});
    return reports;
}

} // namespace KetSDK::MeshJobs
