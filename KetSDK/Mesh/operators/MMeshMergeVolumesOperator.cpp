// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshMergeVolumesOperator.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/detail/MeshCopy.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <map>
#include <numeric>
#include <optional>
#include <set>

using namespace KetSDK::Mesh::Detail;

namespace {

// The node at each position: the first that was asked for there.
class NodesByPosition {
public:
    NodesByPosition() { m_positions.CreateCoordinateIndex(); }
    // Null for a position that has none yet; to be filled in.
    MMeshPoint*& At(MMeshPoint const& p) {
        auto const index = static_cast<std::size_t>(m_positions.AddPoint(p.x, p.y, p.z).GetIndex());
        if (index == m_nodes.size())
            m_nodes.push_back(nullptr);
        return m_nodes[index];
    }

private:
    MMeshPointContainer m_positions;
    std::vector<MMeshPoint*> m_nodes;
};

void CopyNodes(MMeshBase& first, MMeshBase const& second, MeshCopy& copy) {
    NodesByPosition nodes;
    for (MMeshPointIterator p = first.BeginPoint(); p != first.EndPoint(); ++p)
        if (MMeshPoint*& node = nodes.At(*p); !node)
            node = p;
    for (MMeshPointConstIterator p = second.BeginPoint(); p != second.EndPoint(); ++p) {
        MMeshPoint*& node = nodes.At(*p);
        if (!node)
            node = copy.AddNode(*p);
        else
            copy.JoinNode(*p, node);
    }
}

MMeshOrigins OriginsOfItself(MMeshBase const& mesh) {
    MMeshOrigins origins;
    origins.elements.resize(static_cast<std::size_t>(mesh.NumberOfElements()));
    std::iota(origins.elements.begin(), origins.elements.end(), 0);
    for (MLong i = 0; i < mesh.NumberOfPoints(); ++i)
        origins.nodes.push_back({i, i});
    return origins;
}

constexpr unsigned int Unset = 0xFFFFFFFF; // for an identifier: no material

// The identifiers of a mesh's elements.
std::set<unsigned int> UsedIdentifiers(MMeshBase const& mesh) {
    std::set<unsigned int> used;
    if (auto const* const materials = std::as_const(*mesh.GetElementMasks()).GetMaterialMask()) {
        std::optional<int> last; // neighbours in the list mostly share a material
        for (MMeshElement const& e : mesh.Elements())
            if (int const id = materials->GetValue(e); id != last) {
                used.insert(static_cast<unsigned int>(id));
                last = id;
            }
        used.erase(static_cast<unsigned int>(materials->GetDefaultValue()));
    }
    return used;
}

// Everything of a material but its identifier, bit by bit, so that any number can be ordered.
using Properties = std::array<std::uint64_t, 4>;
Properties PropertiesOf(MMeshMaterial const& material) {
    auto const bits = [](double value) { return std::bit_cast<std::uint64_t>(value + 0.0); }; // -0 is 0
    return {material.GetColor(), bits(material.GetDensity()), bits(material.GetEmodulus()),
            bits(material.GetPoisson())};
}

// Adds the materials of the second mesh to the catalog of the first.
class MaterialMerger {
public:
    MaterialMerger(MMeshBase& first, MMeshBase const& second)
        : m_catalog(first.GetMaterialCatalog())
        , m_taken(UsedIdentifiers(first)) {
        for (auto const& [id, material] : m_catalog) {
            m_taken.insert(id);
            m_known.insert(id);
            m_identifiers.try_emplace(PropertiesOf(*material), id);
        }
        Merge(second);
    }

    // Gives the copies of the second mesh's elements the identifiers of the merged catalog.
    void Apply(MDataMask<MMeshElement, int>& materials,
               MMeshElementMaskContainer::CopiedElements const& copies) const {
        for (auto const& [source, copy] : copies) {
            auto const found = m_new.find(static_cast<unsigned int>(materials.GetValue(*copy)));
            if (found != m_new.end())
                materials.SetValue(*copy, static_cast<int>(found->second));
        }
    }

private:
    void Merge(MMeshBase const& second) {
        std::set<unsigned int> used = UsedIdentifiers(second);
        std::map<unsigned int, MMeshMaterial const*> displaced; // null without a material
        for (auto const& [id, material] : second.GetMaterialCatalog()) {
            used.erase(id);
            auto const equal = m_identifiers.find(PropertiesOf(*material));
            if (equal != m_identifiers.end())
                Replace(id, equal->second);
            else if (m_taken.contains(id))
                displaced[id] = material.get();
            else
                Append(*material, id);
        }
        for (unsigned int const id : used) // what no catalog knows
            if (m_known.contains(id))
                displaced[id] = nullptr;
            else
                m_taken.insert(id);
        // Last, so that nothing else has to give way to the new identifiers.
        unsigned int free = 1;
        for (auto const& [id, material] : displaced) {
            while (m_taken.contains(free))
                ++free;
            if (material)
                Append(*material, free);
            m_taken.insert(free);
            Replace(id, free);
        }
    }

    void Replace(unsigned int id, unsigned int by) {
        // A catalog may hold a material that was given no identifier; elements without one mean none.
        if (id != by && id != Unset)
            m_new[id] = by;
    }
    void Append(MMeshMaterial const& material, unsigned int id) {
        MMeshMaterial copy(material);
        copy.SetID(id);
        m_catalog.AddMaterial(copy);
        m_identifiers.try_emplace(PropertiesOf(material), id);
        m_taken.insert(id);
    }

    MMaterialCatalog& m_catalog;
    std::set<unsigned int> m_taken; // by a material or an element
    std::set<unsigned int> m_known; // to the catalog of the first mesh
    std::map<Properties, unsigned int> m_identifiers;
    std::map<unsigned int, unsigned int> m_new;
};

} // namespace

MMeshMergeVolumesOperator::~MMeshMergeVolumesOperator() = default;

bool MMeshMergeVolumesOperator::Operate() {
    m_nodes.clear();
    if (!GetMesh() || !m_second || GetMesh() == m_second)
        return false;
    MMeshBase& first = *GetMesh();
    MMeshBase const& second = *m_second;
    first.GetNeighborsInfo()->Disable();
    MaterialMerger const materials(first, second); // while the first mesh has its own elements only

    if (m_of_first)
        *m_of_first = OriginsOfItself(first);
    MeshCopy copy(second, first, m_of_second);
    std::map<MMeshSubVolume const*, MMeshSubVolume*> copies{{nullptr, nullptr}};
    for (auto it = second.BeginSubVolume(); it != second.EndSubVolume(); ++it)
        copies[it->get()] = copy.AddSubVolumeLike(**it);
    CopyNodes(first, second, copy);
    MLong index = 0;
    for (MMeshElement const& e : second.Elements())
        copy.AddElement(e, index++, copies[second.GetSubVolume(e)]);
    copy.CopyValues();
    if (first.GetElementMasks()->HasMaterialMask())
        materials.Apply(*first.GetElementMasks()->GetMaterialMask(), copy.Elements());

    first.SetGreyValuesFlag(first.HasGreyValues() || second.HasGreyValues());
    first.SetVolumeIndexFlag(first.HasVolumeIndexValues() || second.HasVolumeIndexValues());
    if (second.GetMeshType() == MMeshBase::Quadratic)
        first.SetMeshType(MMeshBase::Quadratic);
    m_nodes = copy.Nodes();
    return true;
}
