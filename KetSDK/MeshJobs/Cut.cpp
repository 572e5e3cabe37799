// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Cut.h>

#include <KetSDK/Mesh/mesh/MSurfaceOrigins.h>
#include <KetSDK/Mesh/operators/MMeshOperatorCutPlane.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/OriginArrays.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/SurfaceArrays.h>
#include <KetSDK/MeshVTK/Text.h>

#include <map>

namespace KetSDK::MeshJobs {

namespace {

MMVector<double, 3> ToVector(std::array<double, 3> const& v) {
    return {v[0], v[1], v[2]};
}

std::vector<SectionReport> Report(MMeshBase const& mesh, MMeshSection const& section) {
    std::map<MMeshSubVolume const*, double> areas;
    for (std::uint64_t i = 0; i < section.NumberOfPolygons(); ++i)
        areas[mesh.GetSubVolume(*section.GetElement(i))] += section.GetArea(i);
    std::vector<SectionReport> reports;
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
        reports.push_back({(*it)->GetID(), MeshVTK::ToUtf8((*it)->GetName()), areas[it->get()]});
    return reports;
}

void MakeSection(MMeshOperatorCutPlane const& cut, Model const& model, SurfaceModel& section) {
    MSurfaceOrigins origins;
    cut.AddSurfaces(*section.surfaces, &origins);
    Detail::AddOriginArrays(section, origins);
    Detail::CarryElementArrays(Detail::AllArrays(model), origins, section);
}

} // namespace

CutResult Cut(Model const& model, CutOptions const& options, Context const& context) {
    MMeshOperatorCutPlane cut;
    cut.SetPlane(ToVector(options.normal), ToVector(options.point));
    if (!(cut.GetNormal().Length() > 0.0))
        throw Error("the normal of the plane has no direction");
    Detail::RunOperator(cut, model, "it could not be cut", context);
    CutResult result;
    result.above = cut.GetNbAbove();
    result.below = cut.GetNbBelow();
    result.cut = cut.GetNbCut();
    result.area = cut.GetSection().GetArea();
    MSection const contours = cut.GetContours();
    result.contours = contours.NumberOfContours();
    result.contour_length = contours.GetLength();
    result.subvolumes = Report(*model.mesh, cut.GetSection());
    result.section.surfaces = std::make_unique<MStlBase>();
    result.section.frame = model.frame;
    if (options.with_section)
        MakeSection(cut, model, result.section);
    if (cut.GetSection().NumberOfPolygons() == 0)
        context.Warn(Detail::NameOf(model) + ": the section is empty: the plane does not meet the mesh");
    context.ThrowIfCancelled();
    return result;
}

} // namespace KetSDK::MeshJobs
