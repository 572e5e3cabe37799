// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/detail/SubVolumeElements.h>

namespace KetSDK::Mesh::Detail {

namespace {

// What a thread gathers of some elements: runs of members of one group, one behind the other.
struct Gathered {
    struct Run {
        std::size_t group;
        std::size_t end; // behind its last index
    };
    std::vector<Run> runs;
    std::vector<std::uint64_t> indices;
};

} // namespace

SubVolumeElements::SubVolumeElements(SubVolumeGroups const& groups, bool parallel)
    : m_parallel(parallel)
    , m_groups(groups)
    , m_members(groups.Count()) {
    for (std::size_t group = 0; group < groups.Count(); ++group)
        m_members[group].reserve(static_cast<std::size_t>(groups.ExpectedIn(group)));
    auto const append = [this](std::size_t group, std::span<std::uint64_t const> indices) {
        m_members[group].insert(m_members[group].end(), indices.begin(), indices.end());
    };
    if (!parallel) {
        groups.ForEachRun(0, groups.NumberOfElements(), append);
        return;
    }
    Support::ComputeSteps<Gathered>(
        {.items = groups.NumberOfElements(), .step = 4096, .parallel = true, .window = 16},
        [&groups](std::uint64_t first, std::uint64_t last, Gathered& gathered) {
            gathered.runs.clear();
            gathered.indices.clear();
            groups.ForEachRun(first, last, [&](std::size_t group, std::span<std::uint64_t const> indices) {
                gathered.indices.insert(gathered.indices.end(), indices.begin(), indices.end());
                gathered.runs.push_back({group, gathered.indices.size()});
            });
        },
        [&append](std::uint64_t, std::uint64_t, Gathered const& gathered) {
            std::size_t begin = 0;
            for (auto const& [group, end] : gathered.runs) {
                append(group, std::span(gathered.indices).subspan(begin, end - begin));
                begin = end;
            }
            return true;
        });
}

std::span<std::uint64_t const> SubVolumeElements::Of(MMeshSubVolume const& sub_volume) const {
    auto const group = m_groups.Find(sub_volume.GetID());
    return group ? m_members[*group] : std::span<std::uint64_t const>();
}

} // namespace KetSDK::Mesh::Detail
