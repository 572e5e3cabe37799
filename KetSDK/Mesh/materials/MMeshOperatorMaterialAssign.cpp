// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMeshOperatorMaterialAssign.h>

#include <KetSDK/Common/Progress/IndeterminateProgressReporter.h>
#include <KetSDK/Mesh/materials/MMeshOperatorSettingsMaterialAssign.h>
#include <KetSDK/Mesh/materials/detail/MaterialIndexTable.h>
#include <KetSDK/Mesh/materials/detail/SubVolumeElements.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Support/ParallelWork.h>

#include <tsl/robin_map.h>
#include <tsl/robin_set.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

using namespace KetSDK;
using namespace KetSDK::Mesh::Detail;

namespace {

using Settings = MMeshOperatorSettingsMaterialAssign;
using VolumeList = MMeshElementMaskContainer::VolumeList;

void ReplaceMaterials(MMaterialCatalog& catalog, MMaterialCatalog const& by) {
    catalog.Clear();
    catalog.Copy(by);
}

// A set of material identifiers; most are small.
class IdentifierSet {
public:
    void Insert(unsigned int id) {
        if (id < m_small.size())
            m_small[id] = 1;
        else
            m_large.insert(id);
    }
    bool Contains(unsigned int id) const { return id < m_small.size() ? m_small[id] : m_large.contains(id); }

private:
    std::vector<unsigned char> m_small = std::vector<unsigned char>(0x10000);
    tsl::robin_set<unsigned int> m_large;
};

// The identifiers of some elements; most of them once.
void FindIdentifiers(MMeshBase const& mesh, MDataMask<MMeshElement, int> const& materials,
                     std::uint64_t first, std::uint64_t last, std::vector<unsigned int>& ids) {
    ids.clear();
    std::array<unsigned int, 256> recent;
    for (unsigned int i = 0; i < recent.size(); ++i)
        recent[i] = i + 1; // has a place elsewhere
    auto element = mesh.Elements().begin() + static_cast<std::ptrdiff_t>(first);
    for (std::uint64_t left = last - first; left > 0; --left, ++element) {
        auto const id = static_cast<unsigned int>(materials.GetValue(*element));
        if (std::exchange(recent[id % recent.size()], id) != id)
            ids.push_back(id);
    }
}

IdentifierSet UsedIdentifiers(MMeshBase const& mesh, bool parallel) {
    IdentifierSet used;
    MDataMask<MMeshElement, int> const* const materials =
        std::as_const(*mesh.GetElementMasks()).GetMaterialMask();
    if (!materials)
        return used;
    Support::ComputeSteps<std::vector<unsigned int>>(
        {.items = mesh.Elements().GetNumElements(), .step = 4096, .parallel = parallel, .window = 16},
        [&](std::uint64_t first, std::uint64_t last, std::vector<unsigned int>& ids) {
            FindIdentifiers(mesh, *materials, first, last, ids);
        },
        [&used](std::uint64_t, std::uint64_t, std::vector<unsigned int> const& ids) {
            for (unsigned int const id : ids)
                used.Insert(id);
            return true;
        });
    return used;
}

// Calls visit(mask index) for the elements of all groups, on several threads when parallel.
template <typename Visit>
void ForEachInAnyOrder(SubVolumeGroups const& groups, bool parallel, Visit const& visit) {
    Support::ComputeSteps({.items = groups.NumberOfElements(), .step = 4096, .parallel = parallel},
                          [&](std::uint64_t first, std::uint64_t last) {
                              groups.ForEachRun(first, last, [&visit](std::size_t, auto indices) {
                                  std::ranges::for_each(indices, visit);
                              });
                          });
}

} // namespace

MMeshOperatorMaterialAssign::~MMeshOperatorMaterialAssign() = default;

bool MMeshOperatorMaterialAssign::Operate() {
    m_settings = dynamic_cast<Settings*>(GetSettings());
    if (!IsSuitable())
        return false;
    MMaterialCatalog& catalog = GetMesh()->GetMaterialCatalog();
    ReplaceMaterials(catalog, *_MergeMaterialCatalogs(catalog, *m_settings->GetMatCatalog()));
    if (!_AssignMaterials())
        return false;
    _CleanupUnusedMaterials();
    return true;
}

bool MMeshOperatorMaterialAssign::IsSuitable() {
    if (!GetMesh() || !m_settings || !m_settings->GetMatCatalog())
        return false;
    Settings::EAssignType const type = m_settings->GetAssignType();
    bool const looks_up =
        type == Settings::GreyValueInFirstVolume || type == Settings::GreyValuePerMaterialIndex;
    return !looks_up || m_settings->GetGrey2dens();
}

std::unique_ptr<MMaterialCatalog>
MMeshOperatorMaterialAssign::_MergeMaterialCatalogs(MMaterialCatalog const& mesh_catalog,
                                                    MMaterialCatalog const& settings_catalog) {
    m_remapping.clear();
    m_index_map.clear();
    bool const replaces_all = m_settings->GetSubVolumes().empty() || mesh_catalog.NumberOfMaterials() == 0;
    auto merged = std::make_unique<MMaterialCatalog>(replaces_all ? settings_catalog : mesh_catalog);
    unsigned long long position = 0;
    for (auto const& [id, stored] : settings_catalog) {
        MMeshMaterial material(*stored);
        if (auto* const densities = m_settings->GetDensity())
            material.SetDensity((*densities)[id]); // a missing one is entered as 0.0
        if (replaces_all) {
            *merged->GetMaterialWithID(id) = material;
            m_index_map[position++] = id;
            continue;
        }
        auto const equal = std::find_if(merged->begin(), merged->end(), [&](auto const& entry) {
            return _IsMaterialsEqual(*entry.second, material);
        });
        unsigned int const new_id =
            equal != merged->end() ? equal->first : merged->AddMaterialNewID(material)->GetID();
        m_remapping[id] = new_id;
        m_index_map[position++] = new_id;
    }
    return merged;
}

bool MMeshOperatorMaterialAssign::_AssignMaterials() {
    KetSDK::Common::IndeterminateProgressReporter const reporter(m_progress, "Assigning Materials...", true);
    switch (m_settings->GetAssignType()) {
    case Settings::FirstMaterial:
        return AssignFirstMaterial(reporter);
    case Settings::GreyValueInFirstVolume:
        return AssignByGreyValueInFirstVolume(reporter);
    case Settings::GreyValuePerMaterialIndex:
        return AssignByGreyValuePerMaterialIndex(reporter);
    case Settings::MaterialIndex:
        return AssignByMaterialIndex(reporter);
    case Settings::ReplaceMaterial:
        return _AssignReplaceMaterial(reporter);
    default:
        return true;
    }
}

template <typename MaterialOf>
bool MMeshOperatorMaterialAssign::AssignEach(Reporter const& reporter, MaterialOf const& material_of) {
    // Part of the result, also where a type does not read them: all three masks exist afterwards.
    MMeshElementMaskContainer& masks = *GetMesh()->GetElementMasks();
    masks.GetGreyValueMask();
    masks.GetVolumeIndexMask();
    MDataMask<MMeshElement, int>& materials = *masks.GetMaterialMask();
    SubVolumeGroups const groups(*GetMesh(), &m_settings->GetSubVolumes());
    bool const each_once = groups.Count() == groups.OfSubVolumes().size();
    auto const assign = [&materials](std::uint64_t index, unsigned int id) {
        materials.SetValueAt(index, static_cast<int>(id));
    };
    if (!m_progress && each_once) { // nobody can cancel, and so see the order
        ForEachInAnyOrder(groups, GetParallel(),
                          [&](std::uint64_t index) { assign(index, material_of(index)); });
        return true;
    }
    return SubVolumeElements(groups, GetParallel())
        .ForEach(material_of, [&](std::uint64_t index, unsigned int id) {
            assign(index, id);
            return !reporter.IsCancelled();
        });
}

bool MMeshOperatorMaterialAssign::AssignFirstMaterial(Reporter const& reporter) {
    unsigned int const first = m_index_map[0];
    return AssignEach(reporter, [first](std::uint64_t) { return first; });
}

bool MMeshOperatorMaterialAssign::AssignByGreyValueInFirstVolume(Reporter const& reporter) {
    std::vector<bool> const& used = m_settings->GetMaskUsed();
    auto const first_used =
        static_cast<std::size_t>(std::find(used.begin(), used.end(), true) - used.begin());
    bool const everywhere = first_used == used.size();
    unsigned int const outside = m_index_map[0];
    std::vector<MDensityLookup::Entry> const inside = RemappedMaterials(0);
    MDataMask<MMeshElement, double> const& values = ValuesOf();
    auto const& lists = *GetMesh()->GetElementMasks()->GetVolumeIndexMask();
    auto const is_inside = [&](VolumeList const& list) {
        return std::ranges::any_of(
            list, [first_used](auto const& entry) { return entry.volume_index == first_used; });
    };
    return AssignEach(reporter, [&](std::uint64_t index) {
        return everywhere || is_inside(lists.GetValueAt(index))
                   ? MDensityLookup::FindMaterialId(inside, values.GetValueAt(index))
                   : outside;
    });
}

bool MMeshOperatorMaterialAssign::AssignByGreyValuePerMaterialIndex(Reporter const& reporter) {
    MaterialIndexTable const indices(m_settings->GetMaskUsed());
    std::vector<std::vector<MDensityLookup::Entry>> materials;
    for (unsigned int index = 0; index <= indices.Largest(); ++index) {
        if (index == m_settings->GetMaskUsed().size())
            materials.push_back({{m_index_map[0], 0.0}}); // for every grey value
        else
            materials.push_back(RemappedMaterials(static_cast<unsigned short>(index)));
    }
    MDataMask<MMeshElement, double> const& values = ValuesOf();
    auto const& lists = *GetMesh()->GetElementMasks()->GetVolumeIndexMask();
    return AssignEach(reporter, [&](std::uint64_t index) {
        return MDensityLookup::FindMaterialId(materials[indices.IndexOf(lists.GetValueAt(index))],
                                              values.GetValueAt(index));
    });
}

bool MMeshOperatorMaterialAssign::AssignByMaterialIndex(Reporter const& reporter) {
    MaterialIndexTable const indices(m_settings->GetMaskUsed());
    std::vector<unsigned int> materials;
    for (unsigned int index = 0; index <= indices.Largest(); ++index)
        materials.push_back(m_index_map[static_cast<unsigned short>(index + 1)]); // 65535 wraps to 0
    auto const& lists = *GetMesh()->GetElementMasks()->GetVolumeIndexMask();
    return AssignEach(
        reporter, [&](std::uint64_t index) { return materials[indices.IndexOf(lists.GetValueAt(index))]; });
}

bool MMeshOperatorMaterialAssign::_AssignReplaceMaterial(Reporter const& reporter) {
    auto const& materials = *GetMesh()->GetElementMasks()->GetMaterialMask();
    tsl::robin_map<unsigned int, unsigned int> const remapping(m_remapping.begin(), m_remapping.end());
    return AssignEach(reporter, [&](std::uint64_t index) {
        auto const id = static_cast<unsigned int>(materials.GetValueAt(index));
        auto const found = remapping.find(id);
        return found == remapping.end() ? id : found->second;
    });
}

void MMeshOperatorMaterialAssign::_CleanupUnusedMaterials() {
    IdentifierSet const used = UsedIdentifiers(*GetMesh(), GetParallel());
    MMaterialCatalog& catalog = GetMesh()->GetMaterialCatalog();
    MMaterialCatalog kept;
    for (auto const& [id, material] : catalog)
        if (used.Contains(id))
            kept.AddMaterial(*material);
    ReplaceMaterials(catalog, kept);
}

MDataMask<MMeshElement, double> const& MMeshOperatorMaterialAssign::ValuesOf() {
    auto const* const values = m_settings->GetValues();
    return values ? *values : *GetMesh()->GetElementMasks()->GetGreyValueMask();
}

unsigned int MMeshOperatorMaterialAssign::RemappedId(unsigned int id) const {
    auto const found = m_remapping.find(id);
    return found == m_remapping.end() ? id : found->second;
}

// Not an empty list: an index without materials gives "no material" for every grey value, remapped as well.
std::vector<MDensityLookup::Entry>
MMeshOperatorMaterialAssign::RemappedMaterials(unsigned short index) const {
    auto const list = m_settings->GetGrey2dens()->GetMaterials(index);
    std::vector<MDensityLookup::Entry> materials(list.begin(), list.end());
    if (materials.empty())
        materials.emplace_back(MDensityLookup::NoMaterial, 0.0);
    for (auto& entry : materials)
        entry.first = RemappedId(entry.first);
    return materials;
}

bool MMeshOperatorMaterialAssign::_IsMaterialsEqual(MMeshMaterial const& a, MMeshMaterial const& b) {
    return a.GetColor() == b.GetColor() && a.GetDensity() == b.GetDensity() &&
           a.GetEmodulus() == b.GetEmodulus() && a.GetPoisson() == b.GetPoisson();
}
