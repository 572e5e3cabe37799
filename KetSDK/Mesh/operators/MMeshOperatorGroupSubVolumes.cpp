// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshOperatorGroupSubVolumes.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/Data/MStlIteratorFeatureSurfaceConst.h>

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>

// The parts of the surfaces' names, and their numbers.
class MMeshOperatorGroupSubVolumes::NameTables {
public:
    explicit NameTables(MStlBase const& stl) {
        using Iterator = MStlIteratorFeatureSurfaceConst;
        for (Iterator i = Iterator::Begin(&stl); i != Iterator::End(&stl); ++i) {
            std::wstring const name = i->GetName();
            std::size_t const separator = name.find(L'-');
            Parts& parts = m_parts[i];
            parts.first = name.substr(0, separator);
            if (separator != std::wstring::npos)
                parts.second = name.substr(separator + 1);
            Enter(parts.first);
            Enter(parts.second);
        }
    }

    // The part that names the volume which a triangle faces away from, or the one on its other side. Empty
    // for a triangle of a surface that is not in the container.
    std::wstring Part(MStlTriangle const& triangle, bool first) const {
        auto const found = m_parts.find(triangle.GetSurface());
        if (found == m_parts.end())
            return {};
        return first ? found->second.first : found->second.second;
    }
    int NumberOf(std::wstring const& part) const { return m_numbers.at(part); }

private:
    struct Parts {
        std::wstring first;
        std::wstring second;
    };

    void Enter(std::wstring const& part) { m_numbers.try_emplace(part, static_cast<int>(m_numbers.size())); }

    std::map<std::wstring, int> m_numbers{{L"", 0}};
    std::map<MStlSurface const*, Parts> m_parts;
};

namespace {

// What the faces on the border of a sub-volume tell of it.
struct Found {
    bool any_face = false;                  // on its border
    MStlTriangle const* triangle = nullptr; // on the first of these that has one
    bool first_part = true;                 // of the surface's name
};

// Looks at an element for the face that decides on its sub-volume. A face without a triangle says nothing;
// the next one may.
void LookAt(MMeshElement& e, MMeshSubVolume const* sub_volume, MMeshBase& mesh,
            MMeshCorrespondenceMapper& mapper, Found& found) {
    for (unsigned int face = 0; face < 4 && !found.triangle; ++face) {
        MMeshElement* const neighbor = mesh.GetNeighborsInfo()->GetNeighbor(&e, face);
        if (neighbor && mesh.GetSubVolume(*neighbor) == sub_volume)
            continue;
        found.any_face = true;
        found.triangle = neighbor ? mapper.GetSharedTriangle(&e, neighbor) : mapper.GetTriangle(&e, face);
        found.first_part = !neighbor || mapper.IsAssignedTo(found.triangle, &e);
    }
}

// The sub-volumes of a list by the numbers that elements carry.
class SubVolumesByNumber {
public:
    SubVolumesByNumber(MMeshBase::SubVolumeList const& list, MMeshBase const& mesh)
        : m_numbers(std::as_const(*mesh.GetElementMasks()).GetSubvolumeMask()) {
        for (auto const& sub_volume : list)
            m_sub_volumes.try_emplace(sub_volume->GetID(), sub_volume.get());
    }
    // Null for an element in none of them.
    MMeshSubVolume* Of(MMeshElement const& e) const {
        auto const found = m_numbers ? m_sub_volumes.find(m_numbers->GetValue(e)) : m_sub_volumes.end();
        return found == m_sub_volumes.end() ? nullptr : found->second;
    }

private:
    MDataMask<MMeshElement, int> const* m_numbers;
    std::unordered_map<int, MMeshSubVolume*> m_sub_volumes;
};

// How many elements come between two looks at whether the user cancelled.
constexpr std::uint64_t ElementsPerLook = 4096;

} // namespace

MMeshOperatorGroupSubVolumes::~MMeshOperatorGroupSubVolumes() = default;

bool MMeshOperatorGroupSubVolumes::Operate() {
    if (!GetMesh() || !m_stl)
        return false;
    KetSDK::Common::IncrementalProgressReporter reporter(m_progress, "Group sub volumes", 3, true);
    std::optional<std::vector<Material>> materials = _FindMaterials();
    if (!materials)
        return false;
    reporter = 2; // and never 3
    _GroupSubvolumes(std::move(*materials));
    return true;
}

std::optional<std::vector<MMeshOperatorGroupSubVolumes::Material>>
MMeshOperatorGroupSubVolumes::_FindMaterials() {
    MMeshBase& mesh = *GetMesh();
    NameTables const names(*m_stl);
    std::shared_ptr<MMeshCorrespondenceMapper> mapper = mesh.GetCorrespondenceMapper();
    if (!mapper)
        mapper = std::make_shared<MMeshCorrespondenceMapperProjection>(m_stl, &mesh, 0.001);
    if (!mapper->IsMapped())
        mapper->Map();
    mesh.GetNeighborsInfo()->Enable(GetParallel());

    // One pass for all sub-volumes, of which there can be thousands: each sees its elements in their order.
    SubVolumesByNumber const sub_volumes({mesh.BeginSubVolume(), mesh.EndSubVolume()}, mesh);
    std::unordered_map<MMeshSubVolume const*, Found> found;
    std::uint64_t looked_at = 0;
    for (MMeshElement& e : mesh.Elements()) {
        if (looked_at++ % ElementsPerLook == 0 && m_progress && m_progress->IsCancelled())
            return std::nullopt;
        if (MMeshSubVolume const* const sub_volume = sub_volumes.Of(e))
            if (Found& of_sub_volume = found[sub_volume]; !of_sub_volume.triangle)
                LookAt(e, sub_volume, mesh, *mapper, of_sub_volume);
    }
    std::vector<Material> materials;
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it) {
        Found const& told = found[it->get()];
        std::wstring const part = told.triangle ? names.Part(*told.triangle, told.first_part) : L"";
        materials.push_back(
            {told.any_face ? names.NumberOf(part) : -1, part.empty() ? L"Volume" : L"Volume " + part});
    }
    return materials;
}

void MMeshOperatorGroupSubVolumes::_GroupSubvolumes(std::vector<Material> materials) {
    MMeshBase& mesh = *GetMesh();
    MMeshBase::SubVolumeList const before(mesh.BeginSubVolume(), mesh.EndSubVolume());
    MMeshBase::SubVolumeList with_groups = before;
    std::map<int, MMeshSubVolume*> groups;
    std::unordered_map<MMeshSubVolume const*, MMeshSubVolume*> group_of;
    for (std::size_t i = 0; i < before.size(); ++i) {
        MMeshSubVolume*& group = groups[materials[i].number];
        if (!group) {
            auto const number = static_cast<int>(with_groups.size());
            with_groups.push_back(std::make_shared<MMeshSubVolume>(&mesh, number));
            group = with_groups.back().get();
            group->SetName(materials[i].name);
        }
        group_of[before[i].get()] = group;
    }
    SubVolumesByNumber const sub_volumes(before, mesh);
    // From here on nothing throws before the last line.
    for (std::size_t i = 0; i < before.size(); ++i) {
        before[i]->SetMatID(materials[i].number);
        before[i]->SetName(std::move(materials[i].name));
    }
    mesh.SwapSubVolumes(with_groups);
    for (MMeshElement& e : mesh.Elements())
        if (MMeshSubVolume* const sub_volume = sub_volumes.Of(e))
            sub_volume->MoveElement(e, group_of.at(sub_volume));
    mesh.RemoveEmptySubVolumes();
}
