// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Label.h>

#include <KetSDK/Mesh/operators/MMeshOperatorLabelSubVolumes.h>
#include <KetSDK/MeshJobs/detail/CommonFaces.h>
#include <KetSDK/MeshJobs/detail/FramesOfInputs.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/SurfaceMapping.h>
#include <KetSDK/MeshJobs/detail/ToTetrahedra.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace KetSDK::MeshJobs {

namespace {

// Gives each element of a model the region of its tetrahedra, as a sub-volume. What an element has pieces of
// in several regions, since triangles lie near the cut inside it, is one region. What collapses to nothing
// when cut is a region of its own.
void TakeRegions(Detail::ToTetrahedra const& tetrahedra, MMeshBase& mesh) {
    MMeshBase const& pieces = *tetrahedra.Get().mesh;
    auto const none = static_cast<std::size_t>(pieces.NumberOfSubVolumes());
    std::vector<std::size_t> joined(none + 1);
    for (std::size_t i = 0; i < joined.size(); ++i)
        joined[i] = i;
    auto const region_of = [&joined](std::size_t region) {
        while (joined[region] != region)
            region = joined[region] = joined[joined[region]];
        return region;
    };
    std::vector<std::size_t> regions(static_cast<std::size_t>(mesh.NumberOfElements()), none);
    for (MLong i = 0; i < pieces.NumberOfElements(); ++i) {
        auto const number = pieces.GetElementMasks()->GetSubvolumeMask()->GetValue(
            *pieces.GetElement(static_cast<std::uint64_t>(i)));
        std::size_t& region = regions[static_cast<std::size_t>(tetrahedra.ElementOf(i))];
        if (region == none)
            region = region_of(static_cast<std::size_t>(number));
        else
            joined[region_of(static_cast<std::size_t>(number))] = region_of(region);
    }
    MMeshBase::SubVolumeList sub_volumes;
    std::vector<int> number_of(joined.size(), -1);
    for (std::size_t& region : regions) {
        region = region_of(region);
        if (number_of[region] >= 0)
            continue;
        number_of[region] = static_cast<int>(sub_volumes.size());
        sub_volumes.push_back(std::make_shared<MMeshSubVolume>(&mesh, number_of[region]));
    }
    mesh.ClearSubVolumes();
    mesh.SwapSubVolumes(sub_volumes);
    std::vector<int> included(regions.size());
    std::ranges::transform(regions, included.begin(),
                           [&number_of](std::size_t region) { return number_of[region]; });
    mesh.IncludeElements(included);
}

} // namespace

LabelResult Label(Model& model, SurfaceModel const* surface, LabelOptions const& options,
                  Context const& context) {
    auto const turned = surface ? Detail::InFrameOf(model, *surface, context) : std::nullopt;
    surface = turned ? &*turned : surface;
    Detail::ToTetrahedra const tetrahedra(model, surface, options.tolerance, context);
    Detail::RequireFewAtEachFace(tetrahedra.Get());
    MStlBase nothing;
    std::optional<Detail::SurfaceMapping> mapping;
    if (surface)
        mapping.emplace(tetrahedra.Get(), *surface, options.tolerance, context);
    MMeshOperatorLabelSubVolumes label;
    label.SetStl(surface ? surface->surfaces.get() : &nothing);
    label.SetProgressDelegate(context.progress);
    Detail::RunOperator(label, tetrahedra.Get(), "its regions could not be labelled", context);
    if (mapping) {
        mapping->WarnWhenApart(context);
        mapping->WarnWhenMostLiesApart(context);
    }
    if (tetrahedra.IsCut())
        TakeRegions(tetrahedra, *model.mesh);
    return {static_cast<std::uint64_t>(model.mesh->NumberOfElements()), tetrahedra.GetReport(),
            surface ? CountTenNodeTetrahedra(*model.mesh) : 0, ReportSubVolumes(*model.mesh)};
}

} // namespace KetSDK::MeshJobs
