// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MaterialAssignment.h>

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/Mesh/materials/MDensityLookup.h>
#include <KetSDK/Mesh/materials/MHUList.h>
#include <KetSDK/Mesh/materials/MMeshColorMap.h>
#include <KetSDK/Mesh/materials/MMeshOperatorMaterialAssign.h>
#include <KetSDK/Mesh/materials/MMeshOperatorSettingsMaterialAssign.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

namespace KetSDK::Mesh {

namespace {

using Settings = MMeshOperatorSettingsMaterialAssign;
using Values = MDataMask<MMeshElement, double>;

// Identifiers are 32 bits wide, and up to 65535 bins for each of 65534 sub-volumes follow; more elements than
// 2^30 no mesh has.
constexpr unsigned int LargestKeptId = 0x3FFFFFFF;

// What each way of assigning comes to.
struct Way {
    bool per_subvolume;
    bool has_bins;
    Settings::EAssignType type;
};

Way WayOf(MaterialsBy by) {
    switch (by) {
    case MaterialsBy::Grey:
        return {false, true, Settings::GreyValueInFirstVolume}; // no used volume: everywhere
    case MaterialsBy::Mask:
        return {true, true, Settings::GreyValuePerMaterialIndex};
    case MaterialsBy::Index:
        return {true, false, Settings::MaterialIndex};
    case MaterialsBy::Single:
        break;
    }
    return {false, false, Settings::FirstMaterial};
}

// The values of some elements.
struct Spread {
    double min = DBL_MAX;
    double max = -DBL_MAX;
    double sum = 0.0;
    std::uint64_t count = 0;

    void Add(double value) {
        min = std::min(min, value);
        max = std::max(max, value);
        sum += value;
        ++count;
    }
    double Mean() const { return sum / static_cast<double>(count); }
};

std::size_t SubVolumeOf(MMeshBase const& mesh, MMeshElement const& e) {
    return static_cast<std::size_t>(std::as_const(*mesh.GetElementMasks()).GetSubvolumeMask()->GetValue(e));
}

// Where the material of an element comes from, by its sub-volume.
class Sources {
public:
    using Source = AssignedMaterial::Source;

    Sources(MMeshBase const& mesh, MaterialAssignment const& how)
        : m_mesh(mesh) {
        for (int const number : how.kept)
            m_others[number] = Source::Kept;
        for (ConstantMaterial const& constant : how.constants)
            m_others[constant.subvolume] = Source::Constant;
    }

    // Whether the law gives all elements their materials.
    bool IsLawAlone() const noexcept { return m_others.empty(); }
    Source Of(int subvolume) const {
        auto const found = m_others.find(subvolume);
        return found == m_others.end() ? Source::Law : found->second;
    }
    Source Of(MMeshElement const& e) const {
        return IsLawAlone() ? Source::Law : Of(static_cast<int>(SubVolumeOf(m_mesh, e)));
    }
    // The sub-volumes whose elements get materials by the law.
    Settings::SubVolumes UnderLaw() const {
        Settings::SubVolumes under_law;
        for (auto it = m_mesh.BeginSubVolume(); it != m_mesh.EndSubVolume(); ++it)
            if (Of((*it)->GetID()) == Source::Law)
                under_law.insert(it->get());
        return under_law;
    }

private:
    MMeshBase const& m_mesh;
    std::map<int, Source> m_others;
};

using Source = Sources::Source;

// Of each sub-volume, or of all elements, as far as they are under the law.
std::vector<Spread> SpreadsOf(MMeshBase const& mesh, Sources const& sources, Values const& values,
                              bool per_subvolume) {
    std::vector<Spread> spreads(per_subvolume ? mesh.NumberOfSubVolumes() : 1);
    for (MMeshElement const& e : mesh.Elements())
        if (sources.Of(e) == Source::Law)
            spreads[per_subvolume ? SubVolumeOf(mesh, e) : 0].Add(values.GetValue(e));
    return spreads;
}

// The only volume of each element is its sub-volume.
void MakeVolumeLists(MMeshBase& mesh) {
    auto& lists = *mesh.GetElementMasks()->GetVolumeIndexMask();
    for (MMeshElement const& e : mesh.Elements())
        lists.SetValue(e, {{static_cast<unsigned short>(SubVolumeOf(mesh, e)), 1.0}});
}

MMeshMaterial MaterialOf(AssignedMaterial const& assigned) {
    MMeshMaterial material;
    material.SetID(assigned.id);
    material.SetDensity(assigned.density);
    material.SetEmodulus(assigned.emodulus);
    material.SetPoisson(assigned.poisson);
    return material;
}

// The materials that elements may get, in the form in which the operator takes them.
class Plan {
public:
    // Identifiers count from the first one.
    Plan(MaterialAssignment const& how, unsigned int first_id)
        : m_how(how)
        , m_first_id(first_id) {}

    unsigned int GetFirstId() const noexcept { return m_first_id; }

    // A material that nothing gets, before all others.
    void AddUnused() { Enter({}); }

    // Materials for bins of equal width: one bin where all values are the same.
    void AddBins(Spread const& spread, int subvolume) {
        if (spread.count == 0)
            return;
        unsigned int const n = spread.min == spread.max ? 1 : m_how.bins;
        MHUList list;
        list.DivideRange(n, spread.min, spread.max, MHUList::MeshUnit);
        MMeshColorMap colors;
        colors.CreateFromUniqueIntervals(&list);
        for (unsigned int i = 0; i < n; ++i) {
            AssignedMaterial material;
            material.subvolume = subvolume;
            material.has_interval = !m_how.densities;
            material.low = list.GetStart(i);
            material.high = i + 1 < n ? list.GetStart(i + 1) : spread.max;
            material.color = colors.GetColor(i);
            unsigned int const id = Append(material, DensityFor(list.GetValue(i).value));
            m_lookup.AddMaterial(static_cast<unsigned short>(std::max(subvolume, 0)), id, material.low);
        }
    }

    // One material for all values. MHUList::CreateFromMask would cut off their fractions.
    void AddMean(Spread const& spread, int subvolume) {
        AssignedMaterial material;
        material.subvolume = subvolume;
        Append(material, DensityFor(spread.Mean()));
    }

    void AddConstant(ConstantMaterial const& constant) {
        AssignedMaterial material;
        material.source = Source::Constant;
        material.subvolume = constant.subvolume;
        material.density = constant.density;
        material.emodulus = constant.emodulus;
        material.poisson = constant.poisson;
        Append(material);
    }

    // Gives out those of the law to the elements of the sub-volumes, all when there are none; false when
    // cancelled.
    bool Assign(MMeshBase& mesh, Way const& way, Settings::SubVolumes const& subvolumes,
                std::shared_ptr<Common::IProgressDelegate> const& progress, bool parallel) {
        m_lookup.Sort();
        Settings settings;
        settings.SetAssignType(way.type);
        settings.SetGrey2dens(&m_lookup);
        settings.SetMatCatalog(&m_catalog);
        settings.SetMaskUsed(std::vector<bool>(way.per_subvolume ? mesh.NumberOfSubVolumes() : 0, true));
        settings.SetValues(m_how.densities);
        settings.SetSubVolumes(subvolumes);
        MMeshOperatorMaterialAssign assign;
        assign.SetMesh(&mesh);
        assign.SetSettings(&settings);
        assign.SetProgressDelegate(progress);
        assign.SetParallel(parallel);
        return assign.Operate();
    }

    // In the order of their identifiers.
    std::vector<AssignedMaterial> const& GetMaterials() const { return m_materials; }

private:
    double DensityFor(double value) const { return m_how.densities ? value : m_how.law.DensityAt(value); }

    // Completes a material with the density that the law gives it and adds it; returns its identifier.
    unsigned int Append(AssignedMaterial& material, double density) {
        material.density = m_how.law.RaisedDensity(density);
        material.is_raised = material.density != density;
        material.emodulus = m_how.law.ModulusAt(material.density);
        material.poisson = m_how.law.poisson;
        return Append(material);
    }
    unsigned int Append(AssignedMaterial& material) {
        material.id = m_first_id + static_cast<unsigned int>(m_materials.size());
        m_materials.push_back(material);
        Enter(material);
        return material.id;
    }
    void Enter(AssignedMaterial const& planned) {
        MMeshMaterial material = MaterialOf(planned);
        m_catalog.AddMaterial(material);
    }

    MaterialAssignment const& m_how;
    unsigned int m_first_id;
    std::vector<AssignedMaterial> m_materials;
    MMaterialCatalog m_catalog;
    MDensityLookup m_lookup;
};

void PlanByLaw(Plan& plan, MMeshBase& mesh, MaterialAssignment const& how, Sources const& sources,
               Way const& way) {
    Values const& grey = *mesh.GetElementMasks()->GetGreyValueMask();
    std::vector<Spread> const spreads =
        SpreadsOf(mesh, sources, how.densities ? *how.densities : grey, way.per_subvolume);
    if (way.type == Settings::MaterialIndex)
        plan.AddUnused(); // the operator counts from the second material
    for (std::size_t i = 0; i < spreads.size(); ++i) {
        int const subvolume = way.per_subvolume ? static_cast<int>(i) : -1;
        if (way.has_bins)
            plan.AddBins(spreads[i], subvolume);
        else
            plan.AddMean(spreads[i], subvolume);
    }
}

// A property of a material: not a number when it is unset.
double ValueOf(double property) {
    return property == DBL_MAX ? std::numeric_limits<double>::quiet_NaN() : property;
}

// The materials that elements keep, by ascending identifier.
std::vector<AssignedMaterial> KeptMaterials(MMeshBase const& mesh, Sources const& sources) {
    std::vector<AssignedMaterial> kept;
    auto const* const ids = std::as_const(*mesh.GetElementMasks()).GetMaterialMask();
    if (!ids || sources.IsLawAlone())
        return kept;
    std::set<unsigned int> used;
    for (MMeshElement const& e : mesh.Elements())
        if (sources.Of(e) == Source::Kept)
            used.insert(static_cast<unsigned int>(ids->GetValue(e)));
    for (unsigned int const id : used)
        if (MMeshMaterial const* const stored = mesh.GetMaterialCatalog().GetMaterialWithID(id)) {
            AssignedMaterial material;
            material.id = id;
            material.source = Source::Kept;
            material.density = ValueOf(stored->GetDensity());
            material.emodulus = ValueOf(stored->GetEmodulus());
            material.poisson = ValueOf(stored->GetPoisson());
            material.color = stored->GetColor() & 0xFFFFFFu;
            kept.push_back(material);
        }
    return kept;
}

// Elements of constants get the identifiers; with `none` they lose theirs.
void AssignConstants(MMeshBase& mesh, Sources const& sources, std::vector<AssignedMaterial> const& materials,
                     bool none) {
    std::map<int, int> id_of;
    for (AssignedMaterial const& material : materials)
        if (material.source == Source::Constant)
            id_of[material.subvolume] = none ? -1 : static_cast<int>(material.id);
    if (id_of.empty())
        return;
    MDataMask<MMeshElement, int>& ids = *mesh.GetElementMasks()->GetMaterialMask();
    for (MMeshElement const& e : mesh.Elements())
        if (sources.Of(e) == Source::Constant)
            ids.SetValue(e, id_of.at(static_cast<int>(SubVolumeOf(mesh, e))));
}

// Finds the index of an identifier in a list: kept materials, and behind them those of a plan.
class MaterialIndices {
public:
    MaterialIndices(std::vector<AssignedMaterial> const& kept, Plan const& plan)
        : m_kept(kept)
        , m_first_id(plan.GetFirstId())
        , m_count(kept.size() + plan.GetMaterials().size()) {}

    // Of no material: the number of all.
    std::size_t Find(unsigned int id) const {
        if (id >= m_first_id)
            return std::min(m_kept.size() + (id - m_first_id), m_count);
        auto const found = std::ranges::lower_bound(m_kept, id, {}, &AssignedMaterial::id);
        return found != m_kept.end() && found->id == id ? static_cast<std::size_t>(found - m_kept.begin())
                                                        : m_count;
    }

private:
    std::vector<AssignedMaterial> const& m_kept;
    unsigned int m_first_id;
    std::size_t m_count;
};

// The volume of an element as if its corners were wound the right way, so that inverted elements have a mass.
// Where a curved element folds over, the integral over it takes away what it covers twice.
double OrientedVolume(MMeshElement const& e) {
    double const volume = GetCurvedElementVolume(e);
    if (e.GetNodeCount() != 10)
        return std::fabs(volume);
    return TetrahedronBase<double>(&e).Volume() < 0.0 ? -volume : volume;
}

// What an element adds to its material.
struct Share {
    std::size_t material; // the number of all for an element without one
    double volume;
    double mass;
    double grey;
};

// Reads the shares of elements.
class ShareReader {
public:
    ShareReader(MMeshBase const& mesh, MaterialAssignment const& how, MaterialIndices const& indices,
                std::vector<AssignedMaterial> const& materials)
        : m_ids(std::as_const(*mesh.GetElementMasks()).GetMaterialMask())
        , m_grey_values(std::as_const(*mesh.GetElementMasks()).GetGreyValueMask())
        , m_how(how)
        , m_indices(indices)
        , m_materials(materials) {}

    Share Read(MMeshElement const& e) const {
        std::size_t const i = m_indices.Find(static_cast<unsigned int>(m_ids->GetValue(e)));
        if (i == m_materials.size())
            return {i, 0.0, 0.0, 0.0};
        double const volume = OrientedVolume(e);
        double const grey = m_grey_values ? m_grey_values->GetValue(e) : 0.0;
        return {i, volume, DensityOf(e, m_materials[i], grey) * volume / 1000.0, grey};
    }

private:
    double DensityOf(MMeshElement const& e, AssignedMaterial const& material, double grey) const {
        if (material.source != Source::Law)
            return material.density;
        return m_how.law.RaisedDensity(m_how.densities ? m_how.densities->GetValue(e)
                                                       : m_how.law.DensityAt(grey));
    }

    MDataMask<MMeshElement, int> const* m_ids;
    Values const* m_grey_values; // null for none
    MaterialAssignment const& m_how;
    MaterialIndices const& m_indices;
    std::vector<AssignedMaterial> const& m_materials;
};

// Reads the shares of all elements on several threads, and calls add(share) in the order of the mesh.
template <typename Add>
void ForEachShare(MMeshBase const& mesh, ShareReader const& reader, Add const& add) {
    using Shares = std::array<Share, 1024>;
    Support::ComputeSteps<Shares>(
        {.items = mesh.Elements().GetNumElements(), .step = Shares().size(), .parallel = true, .window = 16},
        [&](std::uint64_t first, std::uint64_t last, Shares& shares) {
            mesh.Elements().ForEachWithNodes(first, last, [&](MMeshElement const& e, std::uint64_t i) {
                shares[static_cast<std::size_t>(i - first)] = reader.Read(e);
            });
        },
        [&](std::uint64_t first, std::uint64_t last, Shares const& shares) {
            std::ranges::for_each(std::span(shares).first(static_cast<std::size_t>(last - first)), add);
            return true;
        });
}

// Counts the elements of each material, with their volumes, grey values and masses.
void CountElements(MMeshBase const& mesh, MaterialAssignment const& how, MaterialIndices const& indices,
                   std::vector<AssignedMaterial>& materials, bool parallel) {
    std::vector<AssignedMaterial> const planned = materials; // without counts
    ShareReader const reader(mesh, how, indices, planned);
    std::vector<Spread> spreads(materials.size());
    auto const add = [&](Share const& share) {
        if (share.material == materials.size())
            return;
        AssignedMaterial& material = materials[share.material];
        ++material.elements;
        material.volume += share.volume;
        material.mass_of_elements += share.mass;
        spreads[share.material].Add(share.grey);
    };
    if (parallel)
        ForEachShare(mesh, reader, add);
    else
        mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) { add(reader.Read(e)); });
    for (std::size_t i = 0; i < materials.size(); ++i) {
        materials[i].smallest_grey = spreads[i].min;
        materials[i].largest_grey = spreads[i].max;
        materials[i].mean_grey = spreads[i].Mean();
    }
}

// The colour of one grey value.
unsigned int ColorOf(double grey) {
    MHUList single;
    single.AddElementAtEnd(grey, {});
    MMeshColorMap colors;
    colors.CreateFromUniqueIntervals(&single);
    return colors.GetColor(0);
}

} // namespace

std::vector<AssignedMaterial> AssignMaterials(MMeshBase& mesh, MaterialAssignment const& how,
                                              std::shared_ptr<Common::IProgressDelegate> const& progress,
                                              bool parallel) {
    Way const way = WayOf(how.by);
    if (way.per_subvolume) {
        if (mesh.NumberOfSubVolumes() > MostSubVolumesWithMaterials)
            throw std::length_error("too many sub-volumes");
        MakeVolumeLists(mesh);
    }
    Sources const sources(mesh, how);
    std::vector<AssignedMaterial> const kept = KeptMaterials(mesh, sources);
    if (!kept.empty() && kept.back().id > LargestKeptId)
        throw std::length_error("identifiers of materials that are kept go up to " +
                                std::to_string(LargestKeptId));
    Plan plan(how, kept.empty() ? 1 : kept.back().id + 1);
    Settings::SubVolumes const under_law = sources.UnderLaw();
    bool const has_law = sources.IsLawAlone() || !under_law.empty();
    if (has_law)
        PlanByLaw(plan, mesh, how, sources, way);
    for (ConstantMaterial const& constant : how.constants)
        plan.AddConstant(constant);
    AssignConstants(mesh, sources, plan.GetMaterials(), true);
    // With an empty catalog the operator leaves identifiers as they are planned.
    MMaterialCatalog& catalog = mesh.GetMaterialCatalog();
    MMaterialCatalog const before = catalog;
    catalog.Clear();
    if (has_law && !plan.Assign(mesh, way, sources.IsLawAlone() ? Settings::SubVolumes() : under_law,
                                progress, parallel))
        return {};
    AssignConstants(mesh, sources, plan.GetMaterials(), false);
    std::vector<AssignedMaterial> materials = kept;
    materials.insert(materials.end(), plan.GetMaterials().begin(), plan.GetMaterials().end());
    CountElements(mesh, how, MaterialIndices(kept, plan), materials, parallel);
    std::erase_if(materials, [](AssignedMaterial const& material) { return material.elements == 0; });
    catalog.Clear(); // the operator knows those of the law alone
    for (AssignedMaterial& material : materials) {
        if (material.source == Source::Kept) {
            catalog.AddMaterial(*before.GetMaterialWithID(material.id));
            continue;
        }
        if (!material.has_interval)
            material.color = ColorOf(material.mean_grey);
        MMeshMaterial entry = MaterialOf(material);
        catalog.AddMaterial(entry)->SetColor(0xFF000000 | material.color);
    }
    return materials;
}

} // namespace KetSDK::Mesh
