#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshVTK/SurfaceFile.h>
#include <KetSDK/MeshVTK/Text.h>

namespace KetSDK::MeshJobs {

SurfaceModel ReadSurface(std::string const& path, ReadOptions const& options, Context const& context) {
    return Detail::ForFile(path, [&] {
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
    Detail::ForFile(file.GetPath().string(), [&] {
        MeshVTK::WriteSurfaceFile(*surface.surfaces, surface.arrays, options.unit, file, context.progress,
                                  options.allow_empty ? MeshVTK::EmptySurface::Written
                                                      : MeshVTK::EmptySurface::Refused);
    });
}

std::vector<std::string> WriteSurfaces(SurfaceModel const& surface, std::string const& path,
                                       SurfaceWriteOptions const& options, Context const& context) {
    return Detail::ForFile(path, [&] {
        std::vector<std::string> names;
        for (auto const& name : MeshVTK::WriteSurfaceFiles(*surface.surfaces, surface.arrays, options.unit,
                                                           path, context.progress))
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
