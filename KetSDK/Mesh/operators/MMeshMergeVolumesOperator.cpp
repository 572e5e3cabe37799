// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/MMeshMergeVolumesOperator.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/detail/MeshCopy.h>
#include <KetSDK/Support/MHash.h>
#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Support/RecordBins.h>

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
#include <span>
#include <vector>

using namespace KetSDK::Mesh::Detail;
using KetSDK::Support::ComputeSteps;
using KetSDK::Support::HashOfPosition;
using KetSDK::Support::RecordBins;
using KetSDK::Support::Values;

namespace {

using Number = std::uint32_t; // of a node
using Position = std::array<MLong, 3>;
constexpr MLong Least = std::numeric_limits<MLong>::min();
constexpr MLong Largest = std::numeric_limits<MLong>::max();

// A node of either mesh, those of the second behind those of the first.
struct Node {
    Position position;
    Number number;
    std::uint64_t Hash() const noexcept { return HashOfPosition(position[0], position[1], position[2]); }
};

// Notes the first of the nodes of a bin at each position, by node. Makes use of the memory of a table.
void FindFirstNodes(std::span<Node const> bin, std::vector<Number>& table, Values<Number>& firsts) {
    constexpr Number none = std::numeric_limits<Number>::max();
    table.assign(std::bit_ceil(2 * bin.size() + 1), none); // of places in the bin
    std::size_t const mask = table.size() - 1;
    for (std::size_t i = 0; i < bin.size(); ++i) {
        auto at = static_cast<std::size_t>(bin[i].Hash()) & mask;
        while (table[at] != none && bin[table[at]].position != bin[i].position)
            at = (at + 1) & mask;
        if (table[at] == none)
            table[at] = static_cast<Number>(i);
        firsts[bin[i].number] = bin[table[at]].number;
    }
}

// The nodes of two meshes, those of the second behind those of the first.
class NodesOfBoth {
public:
    NodesOfBoth(MMeshBase const& first, MMeshBase const& second, bool parallel)
        : m_first(first)
        , m_second(second)
        , m_of_first(static_cast<std::size_t>(first.NumberOfPoints()))
        , m_count(m_of_first + static_cast<std::size_t>(second.NumberOfPoints()))
        , m_parallel(parallel) {}

    // By node, the first one at its position, for those of the second mesh.
    Values<Number> FindFirst() const {
        std::vector<Number> const beside = FindBeside();
        std::size_t const count = beside.size() + m_count - m_of_first;
        // Positions are spread over bins by their hashes, each of which one thread looks through.
        constexpr std::size_t nodes_per_bin = 4096, most_bins = 1024;
        std::size_t const bins = std::bit_ceil(std::clamp<std::size_t>(count / nodes_per_bin, 1, most_bins));
        RecordBins<Node> const nodes(
            count, bins,
            [&](std::size_t i) {
                return NodeAt(i < beside.size() ? beside[i] : i - beside.size() + m_of_first);
            },
            [bins](Node const& node) { return static_cast<std::size_t>(node.Hash() >> 32) & (bins - 1); },
            [this](std::size_t items, std::size_t step, auto const& work) {
                ComputeSteps(Steps(items, step), [&work](std::uint64_t first, std::uint64_t last) {
                    work(static_cast<std::size_t>(first), static_cast<std::size_t>(last));
                });
            });
        Values<Number> firsts(m_count);
        KetSDK::Support::Pool<std::vector<Number>> tables;
        ComputeSteps(Steps(bins, 1), [&](std::uint64_t bin, std::uint64_t) {
            tables.With([&](std::vector<Number>& table) {
                FindFirstNodes(nodes[static_cast<std::size_t>(bin)], table, firsts);
            });
        });
        return firsts;
    }

private:
    struct Box {
        Position lowest;
        Position highest;

        void Add(Position const& p) noexcept {
            for (std::size_t i = 0; i < 3; ++i) {
                lowest[i] = std::min(lowest[i], p[i]);
                highest[i] = std::max(highest[i], p[i]);
            }
        }
        bool Contains(Position const& p) const noexcept {
            bool contains = true;
            for (std::size_t i = 0; i < 3; ++i)
                contains = contains && lowest[i] <= p[i] && p[i] <= highest[i];
            return contains;
        }
    };
    static constexpr Box Nothing{{Largest, Largest, Largest}, {Least, Least, Least}};

    // The nodes of the first mesh that lie in the box of those of the second. No other node of it can lie
    // where one of the second does.
    std::vector<Number> FindBeside() const {
        Box box = Nothing;
        ComputeSteps<Box>(
            Steps(m_count - m_of_first, NodesPerStep),
            [this](std::uint64_t first, std::uint64_t last, Box& some) {
                some = Nothing;
                for (std::uint64_t i = first; i < last; ++i)
                    some.Add(NodeAt(m_of_first + i).position);
            },
            [&box](std::uint64_t, std::uint64_t, Box const& some) {
                box.Add(some.lowest);
                box.Add(some.highest);
                return true;
            });
        std::vector<Number> beside;
        ComputeSteps<std::vector<Number>>(
            Steps(m_of_first, NodesPerStep),
            [&](std::uint64_t first, std::uint64_t last, std::vector<Number>& some) {
                some.clear();
                for (std::uint64_t i = first; i < last; ++i)
                    if (Node const node = NodeAt(i); box.Contains(node.position))
                        some.push_back(node.number);
            },
            [&beside](std::uint64_t, std::uint64_t, std::vector<Number> const& some) {
                beside.insert(beside.end(), some.begin(), some.end());
                return true;
            });
        return beside;
    }

    Node NodeAt(std::uint64_t i) const {
        MMeshPoint const& p =
            i < m_of_first ? *m_first.GetRandomPoint(i) : *m_second.GetRandomPoint(i - m_of_first);
        return {{p.x, p.y, p.z}, static_cast<Number>(i)};
    }
    KetSDK::Support::WorkSteps Steps(std::size_t items, std::size_t step) const noexcept {
        return {.items = items, .step = step, .parallel = m_parallel};
    }

    static constexpr std::size_t NodesPerStep = 4096;

    MMeshBase const& m_first;
    MMeshBase const& m_second;
    std::size_t m_of_first;
    std::size_t m_count;
    bool m_parallel;
};

void CopyNodes(MMeshBase const& first, MMeshBase const& second, MeshCopy& copy, bool parallel) {
    Values<Number> const firsts = NodesOfBoth(first, second, parallel).FindFirst();
    auto const of_first = static_cast<std::size_t>(first.NumberOfPoints());
    auto const first_of = [&](MLong node) { return firsts[of_first + static_cast<std::size_t>(node)]; };
    std::vector<MLong> added;
    added.reserve(static_cast<std::size_t>(second.NumberOfPoints()));
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

Values<MLong> NumbersOfElements(MMeshBase const& mesh, bool parallel) {
    Values<MLong> elements(static_cast<std::size_t>(mesh.NumberOfElements()));
    ComputeSteps({.items = elements.size(), .step = 65536, .parallel = parallel},
                 [&elements](std::uint64_t first, std::uint64_t last) {
                     std::iota(elements.data() + first, elements.data() + last, static_cast<MLong>(first));
                 });
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
    copy.AddElements(NumbersOfElements(second, GetParallel()));
    materials.Apply(first, elements_of_first);

    first.SetGreyValuesFlag(first.HasGreyValues() || second.HasGreyValues());
    first.SetVolumeIndexFlag(first.HasVolumeIndexValues() || second.HasVolumeIndexValues());
    if (second.GetMeshType() == MMeshBase::Quadratic)
        first.SetMeshType(MMeshBase::Quadratic);
    auto const& stand_ins = copy.StandIns();
    m_nodes.resize(stand_ins.size());
    ComputeSteps({.items = m_nodes.size(), .step = 16384, .parallel = GetParallel()},
                 [&](std::uint64_t i, std::uint64_t last) {
                     for (; i < last; ++i)
                         m_nodes[i] = first.GetRandomPoint(static_cast<std::uint64_t>(stand_ins[i]));
                 });
    return true;
}
