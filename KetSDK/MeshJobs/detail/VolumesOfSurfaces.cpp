// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/VolumesOfSurfaces.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/persistence/MMeshArrayType.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <variant>

namespace KetSDK::MeshJobs::Detail {

namespace {

constexpr wchar_t const* Names = L"subvolume_names";
constexpr wchar_t const* Inside = L"surface_inside";
constexpr wchar_t const* Outside = L"surface_outside";

// The index of the sub-volume with that identifier; -1 for none.
int IndexOf(MMeshBase const& mesh, std::optional<int> id) {
    auto const found = std::find_if(mesh.BeginSubVolume(), mesh.EndSubVolume(),
                                    [id](auto const& sub_volume) { return sub_volume->GetID() == id; });
    return found == mesh.EndSubVolume() ? -1 : static_cast<int>(found - mesh.BeginSubVolume());
}

std::vector<int> NumbersIn(SurfaceModel const& surface, wchar_t const* name) {
    MMeshArray const* const array = FindArray(surface.arrays, name, MMeshArray::OnMesh);
    auto const* const numbers = array ? std::get_if<std::vector<std::int32_t>>(&array->values) : nullptr;
    return numbers && !HoldsStrings(*array) ? std::vector<int>(numbers->begin(), numbers->end())
                                            : std::vector<int>();
}

} // namespace

std::wstring VolumesOfSurfaces::NameOf(std::size_t surface) const {
    auto const name = [this](int index) {
        return index < 0 ? std::wstring() : volumes.at(static_cast<std::size_t>(index));
    };
    return name(inside[surface]) + L"-" + name(outside[surface]);
}

VolumesOfSurfaces FindVolumes(MMeshBase const& mesh, MSurfaceOrigins const& origins) {
    VolumesOfSurfaces found;
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
        found.volumes.push_back((*it)->GetName());
    for (MSurfaceOrigins::Surface const& bounds : origins.surfaces) {
        found.inside.push_back(IndexOf(mesh, bounds.inside));
        found.outside.push_back(IndexOf(mesh, bounds.outside));
    }
    return found;
}

void AddVolumes(SurfaceModel& surface, VolumesOfSurfaces const& volumes) {
    std::vector<std::string> names;
    for (std::wstring const& name : volumes.volumes)
        names.push_back(MeshVTK::ToUtf8(name));
    SetArray(surface.arrays, MakeStringArray(Names, names));
    for (auto const& [name, numbers] : {std::pair{Inside, &volumes.inside}, {Outside, &volumes.outside}})
        SetArray(surface.arrays, {name, MMeshArray::OnMesh, 1, L"int32",
                                  std::vector<std::int32_t>(numbers->begin(), numbers->end())});
}

std::optional<VolumesOfSurfaces> VolumesOf(SurfaceModel const& surface) {
    MMeshArray const* const names = FindArray(surface.arrays, Names, MMeshArray::OnMesh);
    if (!names)
        return std::nullopt;
    VolumesOfSurfaces found;
    for (std::string const& name : StringsOf(*names))
        found.volumes.push_back(MeshVTK::FromUtf8(name));
    found.inside = NumbersIn(surface, Inside);
    found.outside = NumbersIn(surface, Outside);
    auto const exists = [&found](int index) {
        return index >= -1 && index < static_cast<int>(found.volumes.size());
    };
    std::size_t const surfaces = surface.surfaces->NumberOfSurfaces();
    if (found.inside.size() != surfaces || found.outside.size() != surfaces ||
        !std::ranges::all_of(found.inside, exists) || !std::ranges::all_of(found.outside, exists))
        return std::nullopt;
    for (std::size_t i = 0; i < surfaces; ++i)
        if (surface.surfaces->GetSurface(i)->GetName() != found.NameOf(i))
            return std::nullopt;
    return found;
}

} // namespace KetSDK::MeshJobs::Detail
