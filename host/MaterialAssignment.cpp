#include <host/MaterialAssignment.h>

#include <KetSDK/Mesh/materials/MDensityLookup.h>
#include <KetSDK/Mesh/materials/MHUList.h>
#include <KetSDK/Mesh/materials/MMeshColorMap.h>
#include <KetSDK/Mesh/materials/MMeshOperatorMaterialAssign.h>
#include <KetSDK/Mesh/materials/MMeshOperatorSettingsMaterialAssign.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <host/terminal/Cancellation.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>

namespace ketmesh {

namespace {

using Settings = MMeshOperatorSettingsMaterialAssign;

// Puts other values in the place of the grey values of a mesh, which is what intervals are built from,
// and brings the grey values back.
class ValuesForGrey {
public:
    // No values: the grey values stay.
    ValuesForGrey(MMeshBase& mesh, std::vector<double> const& values)
        : m_mesh(mesh) {
        if (values.empty())
            return;
        auto value = values.begin();
        for (MMeshElement const& e : mesh.Elements()) {
            m_grey.push_back(_Mask().GetValue(e));
            _Mask().SetValue(e, *value++);
        }
    }
    ValuesForGrey(ValuesForGrey const&) = delete;
    ValuesForGrey& operator=(ValuesForGrey const&) = delete;
    ~ValuesForGrey() {
        auto grey = m_grey.begin();
        if (!m_grey.empty())
            for (MMeshElement const& e : m_mesh.Elements())
                _Mask().SetValue(e, *grey++);
    }

private:
    MDataMask<MMeshElement, double>& _Mask() { return *m_mesh.GetElementMasks()->GetGreyValueMask(); }

    MMeshBase& m_mesh;
    std::vector<double> m_grey;
};

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

// The colour of one grey value.
unsigned int ColorOf(double grey) {
    MHUList single;
    single.AddElementAtEnd(grey, {});
    MMeshColorMap colors;
    colors.CreateFromUniqueIntervals(&single);
    return colors.GetColor(0);
}

// Makes the materials, and the settings with which the operator gives them out.
class Assigner {
public:
    Assigner(MMeshBase& mesh, MaterialsBy by, unsigned int bins, MaterialLaw const& law, bool bins_densities)
        : m_mesh(mesh)
        , m_by(by)
        , m_bins(bins)
        , m_law(law)
        , m_bins_densities(bins_densities) {}

    void MakeMaterials() {
        bool const per_part = m_by == MaterialsBy::Mask || m_by == MaterialsBy::Index;
        if (per_part)
            _MakeVolumeLists();
        std::vector<Spread> const spreads = _Spreads(per_part);
        switch (m_by) {
        case MaterialsBy::Grey:
            _AddBins(spreads.front(), -1);
            m_settings.SetAssignType(Settings::GreyValueInFirstVolume); // no used volume: everywhere
            break;
        case MaterialsBy::Mask:
            for (std::size_t part = 0; part < spreads.size(); ++part)
                _AddBins(spreads[part], static_cast<int>(part));
            m_settings.SetAssignType(Settings::GreyValuePerMaterialIndex);
            break;
        case MaterialsBy::Index:
            _Enter({}); // the operator counts from the second material
            for (std::size_t part = 0; part < spreads.size(); ++part)
                _AddMean(spreads[part], static_cast<int>(part));
            m_settings.SetAssignType(Settings::MaterialIndex);
            break;
        case MaterialsBy::Single:
            _AddMean(spreads.front(), -1);
            m_settings.SetAssignType(Settings::FirstMaterial);
            break;
        }
        m_lookup.Sort();
        m_settings.SetGrey2dens(&m_lookup);
        m_settings.SetMatCatalog(&m_catalog);
        m_settings.SetMaskUsed(m_used);
    }

    void Assign(Progress const& progress) {
        MMeshOperatorMaterialAssign assign;
        assign.SetMesh(&m_mesh);
        assign.SetSettings(&m_settings);
        assign.SetProgressDelegate(progress);
        bool const done = assign.Operate();
        ThrowIfCancelled();
        if (!done)
            throw std::runtime_error("materials could not be assigned");
    }

    // What was planned, by identifier.
    std::map<unsigned int, AssignedMaterial>& Materials() { return m_materials; }

private:
    // The only volume of each element is its sub-volume.
    void _MakeVolumeLists() {
        std::size_t const parts = m_mesh.NumberOfSubVolumes();
        if (parts >= 0xFFFF)
            throw std::runtime_error("there are " + std::to_string(parts) +
                                     " sub-volumes; materials can be given to 65534 at most");
        m_used.assign(parts, true);
        auto& lists = *m_mesh.GetElementMasks()->GetVolumeIndexMask();
        for (MMeshElement const& e : m_mesh.Elements())
            lists.SetValue(e, {{static_cast<unsigned short>(_PartOf(e)), 1.0}});
    }
    int _PartOf(MMeshElement const& e) const {
        return std::as_const(*m_mesh.GetElementMasks()).GetSubvolumeMask()->GetValue(e);
    }

    // Of what is binned or averaged: of each sub-volume, or of all elements.
    std::vector<Spread> _Spreads(bool per_part) const {
        std::vector<Spread> spreads(per_part ? m_used.size() : 1);
        auto const& values = *std::as_const(*m_mesh.GetElementMasks()).GetGreyValueMask();
        for (MMeshElement const& e : m_mesh.Elements())
            spreads[per_part ? static_cast<std::size_t>(_PartOf(e)) : 0].Add(values.GetValue(e));
        return spreads;
    }

    double _DensityAt(double value) const { return m_bins_densities ? value : m_law.DensityAt(value); }
    MHUList::EMapUnit _Unit() const { return m_bins_densities ? MHUList::MeshUnit : m_law.GetUnit(); }

    // Materials for bins of equal width: one bin where all values are the same.
    void _AddBins(Spread const& spread, int part) {
        if (spread.count == 0)
            return;
        unsigned int const n = spread.min == spread.max ? 1 : m_bins;
        MHUList list;
        if (part < 0)
            _ListDensities(list, n);
        else
            list.CreateUniformFromMask(&m_mesh, n, static_cast<unsigned short>(part), m_used,
                                       MHUList::MeshUnit);
        MMeshColorMap colors;
        colors.CreateFromUniqueIntervals(&list);
        for (unsigned int i = 0; i < n; ++i) {
            AssignedMaterial material;
            material.subvolume = part;
            material.has_interval = !m_bins_densities;
            material.low = list.GetStart(i);
            material.high = i + 1 < n ? list.GetStart(i + 1) : spread.max;
            material.color = colors.GetColor(i);
            double const value = list.GetValue(i).value;
            unsigned int const id = _Add(material, part < 0 ? value : _DensityAt(value));
            m_lookup.AddMaterial(static_cast<unsigned short>(std::max(part, 0)), id, material.low);
        }
    }
    void _ListDensities(MHUList& list, unsigned int n) const {
        static constexpr std::array<double, 5> identity = {0, 1, 1, 0, 1};
        auto const& [a, b, c, d, e] = m_bins_densities ? identity : m_law.GetCoefficients();
        list.CreateUniform(&m_mesh, n, a, b, c, d, e, _Unit());
    }

    // One material for all values. MHUList::CreateFromMask would cut off their fractions.
    void _AddMean(Spread const& spread, int part) {
        AssignedMaterial material;
        material.subvolume = part;
        _Add(material, _DensityAt(spread.Mean()));
    }

    // Completes a material with the density that the law gives it and adds it; returns its identifier.
    unsigned int _Add(AssignedMaterial& material, double density) {
        material.id = static_cast<unsigned int>(m_materials.size()) + 1;
        material.density = m_law.RaisedDensity(density);
        material.is_raised = material.density != density;
        material.emodulus = m_law.ModulusAt(material.density);
        m_materials[material.id] = material;
        _Enter(material);
        return material.id;
    }
    void _Enter(AssignedMaterial const& planned) {
        MMeshMaterial material;
        material.SetID(planned.id);
        material.SetDensity(planned.density);
        material.SetEmodulus(planned.emodulus);
        material.SetPoisson(m_law.GetPoisson());
        m_catalog.AddMaterial(material);
    }

    MMeshBase& m_mesh;
    MaterialsBy const m_by;
    unsigned int const m_bins;
    MaterialLaw const& m_law;
    bool const m_bins_densities;

    std::map<unsigned int, AssignedMaterial> m_materials;
    MMaterialCatalog m_catalog;
    MDensityLookup m_lookup;
    std::vector<bool> m_used;
    Settings m_settings;
};

// Counts the elements of each material, with their volumes and grey values.
void CountElements(MMeshBase const& mesh, std::map<unsigned int, AssignedMaterial>& materials) {
    MMeshElementMaskContainer const& masks = *mesh.GetElementMasks();
    std::map<unsigned int, Spread> spreads;
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t) {
        auto const id = static_cast<unsigned int>(masks.GetMaterialMask()->GetValue(e));
        AssignedMaterial& material = materials.at(id);
        ++material.elements;
        material.volume += std::fabs(GetElementVolume(e));
        spreads[id].Add(masks.GetGreyValueMask()->GetValue(e));
    });
    for (auto const& [id, spread] : spreads) {
        AssignedMaterial& material = materials.at(id);
        material.smallest_grey = spread.min;
        material.largest_grey = spread.max;
        material.mean_grey = spread.Mean();
    }
}

} // namespace

std::vector<AssignedMaterial> AssignMaterials(MMeshBase& mesh, MaterialsBy by, unsigned int bins,
                                              MaterialLaw const& law, std::vector<double> const& densities,
                                              Progress const& progress) {
    Assigner assigner(mesh, by, bins, law, !densities.empty());
    {
        ValuesForGrey const values(mesh, densities);
        assigner.MakeMaterials();
        assigner.Assign(progress);
    }
    CountElements(mesh, assigner.Materials());
    std::vector<AssignedMaterial> used;
    for (auto& [id, material] : assigner.Materials()) {
        if (material.elements == 0)
            continue;
        if (!material.has_interval)
            material.color = ColorOf(material.mean_grey);
        mesh.GetMaterialCatalog().GetMaterialWithID(id)->SetColor(0xFF000000 | material.color);
        used.push_back(material);
    }
    return used;
}

} // namespace ketmesh
