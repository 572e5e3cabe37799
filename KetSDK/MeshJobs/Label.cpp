// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Label.h>

#include <KetSDK/Mesh/operators/MMeshOperatorLabelSubVolumes.h>
#include <KetSDK/MeshJobs/detail/CommonFaces.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/SurfaceMapping.h>

#include <optional>

namespace KetSDK::MeshJobs {

LabelResult Label(Model& model, SurfaceModel const* surface, LabelOptions const& options,
                  Context const& context) {
    RequireTetrahedra(model);
    Detail::RequireFewAtEachFace(model);
    MStlBase nothing;
    std::optional<Detail::SurfaceMapping> mapping;
    if (surface)
        mapping.emplace(model, *surface, options.tolerance, context);
    MMeshOperatorLabelSubVolumes label;
    label.SetStl(mapping ? mapping->GetSurface().surfaces.get() : &nothing);
    label.SetProgressDelegate(context.progress);
    Detail::RunOperator(label, model, "its regions could not be labelled", context);
    if (mapping)
        mapping->WarnWhenApart(context);
    return {static_cast<std::uint64_t>(model.mesh->NumberOfElements()), ReportSubVolumes(*model.mesh)};
}

} // namespace KetSDK::MeshJobs
