// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Group.h>

#include <KetSDK/Mesh/operators/MMeshOperatorGroupSubVolumes.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/CommonFaces.h>
#include <KetSDK/MeshJobs/detail/CountMatches.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>
#include <KetSDK/MeshJobs/detail/SurfaceMapping.h>
#include <KetSDK/MeshJobs/detail/VolumesOfSurfaces.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>

namespace KetSDK::MeshJobs {

namespace {

void WarnOfBareFaces(Model const& model, MatchCounts const& counts, Context const& context) {
    std::uint64_t const outside = counts.boundary.without_triangle;
    std::uint64_t const between = counts.interfaces.without_triangle;
    if (outside + between > 0)
        context.Warn(Detail::NameOf(model) + ": " + std::to_string(outside) + " faces outside and " +
                     std::to_string(between) +
                     " between sub-volumes have no triangle; a sub-volume with none on any of its faces has "
                     "no name");
}

// The surfaces named after the numbers of sub-volumes, for as long as this lives, so that names of
// sub-volumes are whatever they are.
class NamedByNumber {
public:
    NamedByNumber(MStlBase& stl, Detail::VolumesOfSurfaces const& volumes)
        : m_stl(stl)
        , m_volumes(volumes) {
        for (MStlSurface& surface : stl.Surfaces())
            surface.SetName((Number(volumes.inside[surface.GetIndex()]) + L"-" +
                             Number(volumes.outside[surface.GetIndex()]))
                                .c_str());
    }
    NamedByNumber(NamedByNumber const&) = delete;
    NamedByNumber& operator=(NamedByNumber const&) = delete;
    ~NamedByNumber() {
        for (MStlSurface& surface : m_stl.Surfaces())
            surface.SetName(m_volumes.NameOf(surface.GetIndex()).c_str());
    }

    // Numbers sort as their words do.
    static std::wstring Number(int index) {
        std::wstring const digits = std::to_wstring(index);
        return index < 0 ? L"" : std::wstring(10 - digits.size(), L'0') + digits;
    }

private:
    MStlBase& m_stl;
    Detail::VolumesOfSurfaces const& m_volumes;
};

// Gives the sub-volumes, which are named after numbers, their own names, in the order of these. Those that no
// triangle tells of come last and keep theirs.
void RestoreNames(MMeshBase& mesh, std::vector<std::wstring> const& volumes) {
    std::wstring const prefix = L"Volume ";
    std::map<std::wstring, std::wstring> names;
    for (std::size_t i = 0; i < volumes.size(); ++i)
        names[prefix + NamedByNumber::Number(static_cast<int>(i))] = volumes[i];
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
        if (!names.contains((*it)->GetName()))
            (*it)->SetName(prefix + L"~"); // behind all digits
    mesh.SortSubvolumes(MMeshBase::SortByName, MMeshBase::Ascending);
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it) {
        auto const found = names.find((*it)->GetName());
        (*it)->SetName(found == names.end() ? L"Volume" : found->second);
    }
}

void RequireNames(SurfaceModel const& surface) {
    if (std::ranges::all_of(surface.surfaces->Surfaces(),
                            [](MStlSurface const& s) { return s.GetName().empty(); }))
        throw FileError(surface.file,
                        "its surfaces have no names, by which sub-volumes could be grouped: all would become "
                        "one; ketmesh surfaces --interfaces --names volumes writes a .vtp file with names");
}

} // namespace

GroupResult Group(Model& model, SurfaceModel const& given, GroupOptions const& options,
                  Context const& context) {
    RequireTetrahedra(model);
    Detail::RequireFewAtEachFace(model);
    RequireNames(given);
    GroupResult result;
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    result.groups_of = static_cast<std::uint64_t>(model.mesh->NumberOfSubVolumes());
    result.taken_by_corners = CountTenNodeTetrahedra(*model.mesh);
    Detail::SurfaceMapping const mapping(model, given, options.tolerance, context);
    SurfaceModel const& surface = mapping.GetSurface();
    result.counts = Detail::CountMatches(model, surface, context);
    std::optional<Detail::VolumesOfSurfaces> const volumes = Detail::VolumesOf(given);
    std::optional<NamedByNumber> numbered;
    if (volumes)
        numbered.emplace(*surface.surfaces, *volumes);
    MMeshOperatorGroupSubVolumes group;
    group.SetStl(surface.surfaces.get());
    group.SetProgressDelegate(context.progress);
    Detail::RunOperator(group, model, "its sub-volumes could not be grouped", context);
    if (volumes)
        RestoreNames(*model.mesh, volumes->volumes);
    result.subvolumes = ReportSubVolumes(*model.mesh);
    mapping.WarnWhenApart(context);
    WarnOfBareFaces(model, result.counts, context);
    return result;
}

} // namespace KetSDK::MeshJobs
