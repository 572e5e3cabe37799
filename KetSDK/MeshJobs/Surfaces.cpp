#include <KetSDK/MeshJobs/Surfaces.h>

#include <KetSDK/Mesh/mesh/MSurfaceOrigins.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/MeshJobs/detail/DoubleNodes.h>
#include <KetSDK/MeshJobs/detail/OriginArrays.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>

#include <algorithm>
#include <optional>
#include <string>

namespace KetSDK::MeshJobs {

namespace {

// The name of a sub-volume; empty for none.
std::wstring NameOf(MMeshBase const& mesh, std::optional<int> id) {
    auto const has_id = [id](auto const& sub_volume) { return sub_volume->GetID() == id; };
    auto const found = std::find_if(mesh.BeginSubVolume(), mesh.EndSubVolume(), has_id);
    return found == mesh.EndSubVolume() ? L"" : (*found)->GetName();
}

void NameAfterVolumes(MStlBase& stl, MMeshBase const& mesh, MSurfaceOrigins const& origins) {
    for (MStlSurface& surface : stl.Surfaces()) {
        MSurfaceOrigins::Surface const& bounds = origins.surfaces[surface.GetIndex()];
        surface.SetName((NameOf(mesh, bounds.inside) + L"-" + NameOf(mesh, bounds.outside)).c_str());
    }
}

} // namespace

SurfacesResult Surfaces(Model const& model, SurfacesOptions const& options, Context const& context) {
    if (options.interfaces)
        Detail::WarnOfDoubleNodes(model, context);
    SurfacesResult result;
    result.surfaces.surfaces = std::make_unique<MStlBase>();
    MStlBase& stl = *result.surfaces.surfaces;
    MSurfaceOrigins origins;
    MMeshExtractStlSurfaceOperator extract;
    extract.SetStl(&stl);
    extract.SetExtractInterfacesBetweenSubVolumes(options.interfaces);
    extract.SetCurved(options.curved);
    extract.SetOrigins(&origins);
    Detail::RunOperator(extract, model, "its surfaces could not be extracted", context);
    if (options.names == SurfacesOptions::Names::Volumes)
        NameAfterVolumes(stl, *model.mesh, origins);
    Detail::AddOriginArrays(result.surfaces, origins);
    result.reports = ReportSurfaces(stl);
    result.triangles = stl.NumberOfTriangles();
    result.points = stl.NumberOfPoints();
    result.taken_by_corners = options.curved ? 0 : CountTenNodeTetrahedra(*model.mesh);
    context.ThrowIfCancelled();
    return result;
}

} // namespace KetSDK::MeshJobs
