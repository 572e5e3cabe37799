// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshMergeVolumesOperator.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/detail/MeshCopy.h>
#include <KetSDK/Support/MHash.h>
#include <KetSDK/Support/MPrefetch.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <set>

using namespace KetSDK::Mesh::Detail;
using KetSDK::Support::ComputeSteps;
using KetSDK::Support::HashOfPosition;

namespace {

using Number = std::uint32_t; // of a node
using Position = std::array<MLong, 3>;

// Finds the first of some nodes at each position, those of two meshes one behind the other. Positions are
// spread over parts by their hashes, each of which one thread looks through.
class FirstNodes {
public:
    FirstNodes(MMeshBase const& a, MMeshBase const& b, bool parallel)
        : m_a(a)
        , m_b(b)
        , m_parallel(parallel)
        , m_hashes(static_cast<std::size_t>(a.NumberOfPoints()) +
                   static_cast<std::size_t>(b.NumberOfPoints())) {
        ComputeSteps({.items = m_hashes.size(), .step = 4096, .parallel = m_parallel},
                     [this](std::uint64_t first, std::uint64_t last) {
                         for (auto i = static_cast<std::size_t>(first); i < last; ++i) {
                             MMeshPoint const& p = NodeAt(i);
                             m_hashes[i] = HashOfPosition(p.x, p.y, p.z);
                         }
                     });
    }

    // By node.
    std::vector<Number> Find() const {
        std::vector<Number> firsts(m_hashes.size());
        std::size_t const parts =
            m_parallel ? std::clamp<std::size_t>(KetSDK::Support::NumberOfThreads(), 1, MostParts) : 1;
        ComputeSteps({.items = parts, .parallel = m_parallel},
                     [&](std::uint64_t part, std::uint64_t) { FindIn(part, parts, firsts); });
        return firsts;
    }

private:
    static constexpr std::size_t MostParts = 16;
    static constexpr Number None = std::numeric_limits<Number>::max();

    struct Entry {
        Position position{};
        Number node = None;
    };

    void FindIn(std::uint64_t part, std::size_t parts, std::vector<Number>& firsts) const {
        auto const is_in_part = [=](std::uint64_t hash) { return (hash >> 32) % parts == part; };
        auto const count = static_cast<std::size_t>(std::ranges::count_if(m_hashes, is_in_part));
        std::vector<Entry> entries(std::bit_ceil(2 * count + 1));
        std::size_t const mask = entries.size() - 1;
        for (std::size_t i = 0; i < m_hashes.size(); ++i) {
            constexpr std::size_t ahead = 16;
            KetSDK::Support::PrefetchToWrite(
                &entries[m_hashes[std::min(i + ahead, m_hashes.size() - 1)] & mask]);
            if (!is_in_part(m_hashes[i]))
                continue;
            MMeshPoint const& p = NodeAt(i);
            Position const position{p.x, p.y, p.z};
            std::size_t at = m_hashes[i] & mask;
            while (entries[at].node != None && entries[at].position != position)
                at = (at + 1) & mask;
            if (entries[at].node == None)
                entries[at] = {position, static_cast<Number>(i)};
            firsts[i] = entries[at].node;
        }
    }
    MMeshPoint const& NodeAt(std::size_t i) const {
        auto const of_a = static_cast<std::size_t>(m_a.NumberOfPoints());
        return i < of_a ? *m_a.GetRandomPoint(i) : *m_b.GetRandomPoint(i - of_a);
    }

    MMeshBase const& m_a;
    MMeshBase const& m_b;
    bool m_parallel;
    std::vector<std::uint64_t> m_hashes;
};

void CopyNodes(MMeshBase const& first, MMeshBase const& second, MeshCopy& copy, bool parallel) {
    std::vector<Number> const firsts = FirstNodes(first, second, parallel).Find();
    auto const of_first = static_cast<std::size_t>(first.NumberOfPoints());
    auto const first_of = [&](MLong node) { return firsts[of_first + static_cast<std::size_t>(node)]; };
    std::vector<MLong> added;
    for (MLong i = 0; i < second.NumberOfPoints(); ++i)
        if (first_of(i) == of_first + static_cast<std::size_t>(i))
            added.push_back(i);
    copy.AddNodes(added);
    for (MLong i = 0; i < second.NumberOfPoints(); ++i)
        if (Number const node = first_of(i); node < of_first)
            copy.JoinNode(i, static_cast<MLong>(node));
        else if (node != of_first + static_cast<std::size_t>(i))
            copy.JoinNode(i, copy.StandIns()[node - of_first]);
}

MMeshOrigins OriginsOfItself(MMeshBase const& mesh) {
    MMeshOrigins origins;
    origins.elements.resize(static_cast<std::size_t>(mesh.NumberOfElements()));
    std::iota(origins.elements.begin(), origins.elements.end(), 0);
    for (MLong i = 0; i < mesh.NumberOfPoints(); ++i)
        origins.nodes.push_back({i, i});
    return origins;
}

std::vector<MLong> AllElements(MMeshBase const& mesh) {
    std::vector<MLong> elements(static_cast<std::size_t>(mesh.NumberOfElements()));
    std::iota(elements.begin(), elements.end(), 0);
    return elements;
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

    // Gives the copies of the second mesh's elements, which begin at an index, the identifiers of the merged
    // catalog.
    void Apply(MMeshBase const& mesh, std::uint64_t first_copy) const {
        if (!mesh.GetElementMasks()->HasMaterialMask())
            return;
        MDataMask<MMeshElement, int>& materials = *mesh.GetElementMasks()->GetMaterialMask();
        for (std::uint64_t i = first_copy; i < mesh.Elements().GetNumElements(); ++i) {
            MMeshElement const& copy = *mesh.GetElement(i);
            auto const found = m_new.find(static_cast<unsigned int>(materials.GetValue(copy)));
            if (found != m_new.end())
                materials.SetValue(copy, static_cast<int>(found->second));
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
    auto const elements_of_first = static_cast<std::uint64_t>(first.NumberOfElements());
    MeshCopy copy(second, first, m_of_second, GetParallel());
    for (std::size_t i = 0; i < second.NumberOfSubVolumes(); ++i)
        copy.AddSubVolumeLike(i);
    CopyNodes(first, second, copy, GetParallel());
    copy.AddElements(AllElements(second));
    materials.Apply(first, elements_of_first);

    first.SetGreyValuesFlag(first.HasGreyValues() || second.HasGreyValues());
    first.SetVolumeIndexFlag(first.HasVolumeIndexValues() || second.HasVolumeIndexValues());
    if (second.GetMeshType() == MMeshBase::Quadratic)
        first.SetMeshType(MMeshBase::Quadratic);
    for (MLong const node : copy.StandIns())
        m_nodes.push_back(first.GetRandomPoint(static_cast<std::uint64_t>(node)));
    return true;
}
