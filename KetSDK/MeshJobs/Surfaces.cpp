// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Surfaces.h>

#include <KetSDK/Mesh/mesh/MSurfaceOrigins.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/MeshJobs/detail/DoubleNodes.h>
#include <KetSDK/MeshJobs/detail/OriginArrays.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/VolumesOfSurfaces.h>

namespace KetSDK::MeshJobs {

namespace {

void NameAfterVolumes(SurfaceModel& surfaces, MMeshBase const& mesh, MSurfaceOrigins const& origins) {
    Detail::VolumesOfSurfaces const volumes = Detail::FindVolumes(mesh, origins);
    for (MStlSurface& surface : surfaces.surfaces->Surfaces())
        surface.SetName(volumes.NameOf(surface.GetIndex()).c_str());
    Detail::AddVolumes(surfaces, volumes);
}

} // namespace

SurfacesResult Surfaces(Model const& model, SurfacesOptions const& options, Context const& context) {
    if (options.interfaces)
        Detail::WarnOfDoubleNodes(model, context);
    SurfacesResult result;
    result.surfaces.surfaces = std::make_unique<MStlBase>();
    result.surfaces.frame = model.frame;
    MStlBase& stl = *result.surfaces.surfaces;
    MSurfaceOrigins origins;
    MMeshExtractStlSurfaceOperator extract;
    extract.SetStl(&stl);
    extract.SetExtractInterfacesBetweenSubVolumes(options.interfaces);
    extract.SetCurved(options.curved);
    extract.SetOrigins(&origins);
    Detail::RunOperator(extract, model, "its surfaces could not be extracted", context);
    if (options.names == SurfacesOptions::Names::Volumes)
        NameAfterVolumes(result.surfaces, *model.mesh, origins);
    Detail::AddOriginArrays(result.surfaces, origins);
    result.reports = ReportSurfaces(stl);
    result.triangles = stl.NumberOfTriangles();
    result.points = stl.NumberOfPoints();
    result.taken_by_corners = options.curved ? 0 : CountTenNodeTetrahedra(*model.mesh);
    context.ThrowIfCancelled();
    return result;
}

} // namespace KetSDK::MeshJobs
