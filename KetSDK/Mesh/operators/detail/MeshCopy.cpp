// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/operators/detail/MeshCopy.h>

#include <KetSDK/Mesh/materials/detail/BuiltInMasks.h>
#include <KetSDK/Mesh/mesh/MMeshElementPrefetch.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <utility>

namespace KetSDK::Mesh::Detail {

namespace {

constexpr std::uint64_t ItemsPerStep = 4096;
// So few that their arrays stay in the processor's cache.
constexpr std::size_t ElementsAtOnce = 16 * ItemsPerStep;

} // namespace

MeshCopy::MeshCopy(MMeshBase const& source, MMeshBase& target, MMeshOrigins* origins, bool parallel)
    : m_source(source)
    , m_target(target)
    , m_origins(origins)
    , m_parallel(parallel)
    , m_stand_ins(static_cast<std::size_t>(source.NumberOfPoints()), -1)
    , m_index_of(static_cast<std::size_t>(source.NumberOfSubVolumes()), -1) {
    if (m_origins)
        *m_origins = {};
}

void MeshCopy::AddSubVolumeLike(std::size_t index) {
    MMeshSubVolume const& sub_volume = *m_source.BeginSubVolume()[static_cast<std::ptrdiff_t>(index)];
    m_index_of[index] = static_cast<int>(m_target.NumberOfSubVolumes());
    MMeshSubVolume* const copy = m_target.AddSubVolume();
    copy->SetName(sub_volume.GetName());
    copy->SetMatID(sub_volume.GetMatID());
}

void MeshCopy::AddNodes(std::span<MLong const> nodes) {
    if (nodes.empty())
        return;
    auto const source_at = [&](std::uint64_t i) -> MMeshPoint const& {
        return *m_source.GetRandomPoint(static_cast<std::uint64_t>(nodes[i]));
    };
    std::vector<std::array<MLong, 3>> positions(nodes.size());
    MLong const before = m_target.NumberOfPoints();
    Support::ComputeSteps({.items = nodes.size(), .step = ItemsPerStep, .parallel = m_parallel},
                          [&](std::uint64_t first, std::uint64_t last) {
                              for (std::uint64_t i = first; i < last; ++i) {
                                  MMeshPoint const& p = source_at(i);
                                  positions[i] = {p.x, p.y, p.z};
                                  m_stand_ins[static_cast<std::size_t>(nodes[i])] =
                                      before + static_cast<MLong>(i);
                              }
                          });
    // A coordinate index may know nodes that were moved, unheard, and gives those.
    if (m_target.m_points->HasCoordinateIndex())
        for (std::size_t i = 0; i < nodes.size(); ++i)
            m_stand_ins[static_cast<std::size_t>(nodes[i])] =
                m_target.AddPoint(positions[i].data())->GetIndex();
    else
        m_target.AddPoints(positions, m_parallel);
    CopyBuiltInValues(*m_source.GetPointMasks(), *m_target.GetPointMasks(), nodes.size(), m_parallel,
                      source_at, [&](std::uint64_t i) -> MMeshPoint const& {
                          return *m_target.GetRandomPoint(
                              static_cast<std::uint64_t>(m_stand_ins[static_cast<std::size_t>(nodes[i])]));
                      });
    if (m_origins)
        for (MLong const node : nodes)
            m_origins->nodes.push_back({node, node});
}

void MeshCopy::AddElements(std::span<MLong const> elements) {
    do {
        auto const some = elements.first(std::min(elements.size(), ElementsAtOnce));
        AddSomeElements(some);
        elements = elements.subspan(some.size());
    } while (!elements.empty());
}

void MeshCopy::AddSomeElements(std::span<MLong const> elements) {
    auto const before = static_cast<std::uint64_t>(m_target.NumberOfElements());
    if (!elements.empty()) {
        FillArrays(elements);
        m_target.AppendElements({m_counts, m_nodes, m_sub_volumes}, m_parallel);
    }
    CopyBuiltInValues(
        *m_source.GetElementMasks(), *m_target.GetElementMasks(), elements.size(), m_parallel,
        [&](std::uint64_t i) -> MMeshElement const& {
            return *m_source.GetElement(static_cast<std::uint64_t>(elements[i]));
        },
        [&](std::uint64_t i) -> MMeshElement const& { return *m_target.GetElement(before + i); });
    if (m_origins)
        m_origins->elements.insert(m_origins->elements.end(), elements.begin(), elements.end());
}

void MeshCopy::FillArrays(std::span<MLong const> elements) {
    auto const element_at = [&](std::size_t i) {
        return m_source.GetElement(static_cast<std::uint64_t>(elements[i]));
    };
    Support::WorkSteps const steps{.items = elements.size(), .step = ItemsPerStep, .parallel = m_parallel};
    m_counts.resize(elements.size());
    m_sub_volumes.resize(elements.size());
    std::vector<std::size_t> offsets; // of the nodes of each step
    std::size_t nodes = 0;
    Support::ComputeSteps<std::size_t>(
        steps,
        [&](std::uint64_t first, std::uint64_t last, std::size_t& sum) {
            sum = 0;
            for (auto i = static_cast<std::size_t>(first); i < last; ++i) {
                MMeshElement const& e = *element_at(i);
                m_counts[i] = e.GetNodeCount();
                m_sub_volumes[i] = SubVolumeFor(e);
                sum += m_counts[i];
            }
        },
        [&](std::uint64_t, std::uint64_t, std::size_t sum) {
            offsets.push_back(std::exchange(nodes, nodes + sum));
            return true;
        });
    m_nodes.resize(nodes);
    Support::ComputeSteps(steps, [&](std::uint64_t first, std::uint64_t last) {
        MLong* node = m_nodes.data() + offsets[static_cast<std::size_t>(first / ItemsPerStep)];
        for (auto i = static_cast<std::size_t>(first); i < last; ++i) {
            PrefetchWithNodes<8>(i, elements.size(), element_at);
            for (unsigned int k = 0; k < m_counts[i]; ++k)
                *node++ = m_stand_ins[static_cast<std::size_t>(element_at(i)->GetNode(k)->GetIndex())];
        }
    });
}

// -1 for none.
int MeshCopy::SubVolumeFor(MMeshElement const& e) const {
    auto const* const numbers = std::as_const(*m_source.GetElementMasks()).GetSubvolumeMask();
    int const number = numbers ? numbers->GetValue(e) : -1;
    bool const listed = number >= 0 && static_cast<std::size_t>(number) < m_index_of.size();
    return listed ? m_index_of[static_cast<std::size_t>(number)] : -1;
}

} // namespace KetSDK::Mesh::Detail
