// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/detail/SubVolumeGroups.h>
#include <KetSDK/Support/MArenaAllocator.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <set>
#include <span>
#include <type_traits>
#include <vector>

class MMeshBase;
class MMeshSubVolume;

namespace KetSDK::Mesh::Detail {

// The mask indices of the elements of some sub-volumes, gathered in one pass over the mesh: walking each
// sub-volume by itself takes a pass for each. Does not follow later changes of the mesh.
class SubVolumeElements {
public:
    // On several threads when parallel.
    SubVolumeElements(SubVolumeGroups const& groups, bool parallel);
    // Of all sub-volumes when the set is null or empty.
    SubVolumeElements(MMeshBase const& mesh, std::set<MMeshSubVolume const*> const* selection, bool parallel)
        : SubVolumeElements(SubVolumeGroups(mesh, selection), parallel) {}

    // Calls commit(mask index, compute(mask index)) sub-volume by sub-volume in the order of the mesh's list,
    // and within each in the order of the mesh, until commit returns false. False when it was stopped so.
    // When parallel, several threads compute what comes next of a sub-volume; the calling thread commits.
    template <typename Compute, typename Commit>
    bool ForEach(Compute const& compute, Commit const& commit) const {
        return std::ranges::all_of(m_groups.OfSubVolumes(), [&](std::size_t group) {
            return m_parallel ? ForEachInSteps(m_members[group], compute, commit)
                              : std::ranges::all_of(m_members[group], [&](std::uint64_t index) {
                                    return commit(index, compute(index));
                                });
        });
    }

    // The mask indices of the elements of one of the sub-volumes, in the order of the mesh; nothing for a
    // sub-volume that was not asked for.
    std::span<std::uint64_t const> Of(MMeshSubVolume const& sub_volume) const;

private:
    using Members = std::vector<std::uint64_t, Support::MLargePageAllocator<std::uint64_t>>;

    template <typename Compute, typename Commit>
    static bool ForEachInSteps(Members const& members, Compute const& compute, Commit const& commit) {
        using Values = std::array<std::invoke_result_t<Compute, std::uint64_t>, 1024>;
        return Support::ComputeSteps<Values>(
            {.items = members.size(), .step = Values().size(), .parallel = true, .window = 16},
            [&](std::uint64_t first, std::uint64_t last, Values& values) {
                for (auto i = static_cast<std::size_t>(first); i < last; ++i)
                    values[i - static_cast<std::size_t>(first)] = compute(members[i]);
            },
            [&](std::uint64_t first, std::uint64_t last, Values const& values) {
                for (auto i = static_cast<std::size_t>(first); i < last; ++i)
                    if (!commit(members[i], values[i - static_cast<std::size_t>(first)]))
                        return false;
                return true;
            });
    }

    bool m_parallel;
    SubVolumeGroups m_groups;
    std::vector<Members> m_members; // by group
};

} // namespace KetSDK::Mesh::Detail
