#include <KetSDK/Mesh/materials/MaterialAssignment.h>

#include <KetSDK/Mesh/materials/MDensityLookup.h>
#include <KetSDK/Mesh/materials/MHUList.h>
#include <KetSDK/Mesh/materials/MMeshColorMap.h>
#include <KetSDK/Mesh/materials/MMeshOperatorMaterialAssign.h>
#include <KetSDK/Mesh/materials/MMeshOperatorSettingsMaterialAssign.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace KetSDK::Mesh {

namespace {

using Settings = MMeshOperatorSettingsMaterialAssign;
using Values = MDataMask<MMeshElement, double>;

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

// Of each sub-volume, or of all elements.
std::vector<Spread> SpreadsOf(MMeshBase const& mesh, Values const& values, bool per_subvolume) {
    std::vector<Spread> spreads(per_subvolume ? mesh.NumberOfSubVolumes() : 1);
    for (MMeshElement const& e : mesh.Elements())
        spreads[per_subvolume ? SubVolumeOf(mesh, e) : 0].Add(values.GetValue(e));
    return spreads;
}

// The only volume of each element is its sub-volume.
void MakeVolumeLists(MMeshBase& mesh) {
    auto& lists = *mesh.GetElementMasks()->GetVolumeIndexMask();
    for (MMeshElement const& e : mesh.Elements())
        lists.SetValue(e, {{static_cast<unsigned short>(SubVolumeOf(mesh, e)), 1.0}});
}

// The materials that elements may get, in the form in which the operator takes them.
class Plan {
public:
    explicit Plan(MaterialAssignment const& how)
        : m_how(how) {}

    // A material that nothing gets.
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

    // Gives out the materials; false when cancelled.
    bool Assign(MMeshBase& mesh, Way const& way, std::shared_ptr<Common::IProgressDelegate> const& progress) {
        m_lookup.Sort();
        Settings settings;
        settings.SetAssignType(way.type);
        settings.SetGrey2dens(&m_lookup);
        settings.SetMatCatalog(&m_catalog);
        settings.SetMaskUsed(std::vector<bool>(way.per_subvolume ? mesh.NumberOfSubVolumes() : 0, true));
        settings.SetValues(m_how.densities);
        MMeshOperatorMaterialAssign assign;
        assign.SetMesh(&mesh);
        assign.SetSettings(&settings);
        assign.SetProgressDelegate(progress);
        return assign.Operate();
    }

    // In the order of their identifiers, which count from 1.
    std::vector<AssignedMaterial> const& GetMaterials() const { return m_materials; }

private:
    double DensityFor(double value) const { return m_how.densities ? value : m_how.law.DensityAt(value); }

    // Completes a material with the density that the law gives it and adds it; returns its identifier.
    unsigned int Append(AssignedMaterial& material, double density) {
        material.id = static_cast<unsigned int>(m_materials.size()) + 1;
        material.density = m_how.law.RaisedDensity(density);
        material.is_raised = material.density != density;
        material.emodulus = m_how.law.ModulusAt(material.density);
        m_materials.push_back(material);
        Enter(material);
        return material.id;
    }
    void Enter(AssignedMaterial const& planned) {
        MMeshMaterial material;
        material.SetID(planned.id);
        material.SetDensity(planned.density);
        material.SetEmodulus(planned.emodulus);
        material.SetPoisson(m_how.law.poisson);
        m_catalog.AddMaterial(material);
    }

    MaterialAssignment const& m_how;
    std::vector<AssignedMaterial> m_materials;
    MMaterialCatalog m_catalog;
    MDensityLookup m_lookup;
};

Plan MakePlan(MMeshBase& mesh, MaterialAssignment const& how, Way const& way) {
    Values const& grey = *mesh.GetElementMasks()->GetGreyValueMask();
    std::vector<Spread> const spreads =
        SpreadsOf(mesh, how.densities ? *how.densities : grey, way.per_subvolume);
    Plan plan(how);
    if (way.type == Settings::MaterialIndex)
        plan.AddUnused(); // the operator counts from the second material
    for (std::size_t i = 0; i < spreads.size(); ++i) {
        int const subvolume = way.per_subvolume ? static_cast<int>(i) : -1;
        if (way.has_bins)
            plan.AddBins(spreads[i], subvolume);
        else
            plan.AddMean(spreads[i], subvolume);
    }
    return plan;
}

// Counts the elements of each material, with their volumes and grey values.
void CountElements(MMeshBase const& mesh, std::vector<AssignedMaterial>& materials) {
    MMeshElementMaskContainer const& masks = *mesh.GetElementMasks();
    std::vector<Spread> spreads(materials.size());
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) {
        auto const i = static_cast<std::size_t>(masks.GetMaterialMask()->GetValue(e)) - 1;
        ++materials[i].elements;
        materials[i].volume += std::fabs(GetElementVolume(e));
        spreads[i].Add(masks.GetGreyValueMask()->GetValue(e));
    });
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
                                              std::shared_ptr<Common::IProgressDelegate> const& progress) {
    Way const way = WayOf(how.by);
    if (way.per_subvolume) {
        if (mesh.NumberOfSubVolumes() > MostSubVolumesWithMaterials)
            throw std::length_error("too many sub-volumes");
        MakeVolumeLists(mesh);
    }
    Plan plan = MakePlan(mesh, how, way);
    if (!plan.Assign(mesh, way, progress))
        return {};
    std::vector<AssignedMaterial> materials = plan.GetMaterials();
    CountElements(mesh, materials);
    std::erase_if(materials, [](AssignedMaterial const& material) { return material.elements == 0; });
    for (AssignedMaterial& material : materials) {
        if (!material.has_interval)
            material.color = ColorOf(material.mean_grey);
        mesh.GetMaterialCatalog().GetMaterialWithID(material.id)->SetColor(0xFF000000 | material.color);
    }
    return materials;
}

} // namespace KetSDK::Mesh
