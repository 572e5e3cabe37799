// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/ResolveSets.h>

#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshSolver/detail/SortOnce.h>
#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cstddef>
#include <set>
#include <tuple>
#include <utility>

namespace KetSDK::MeshSolver::Detail {

namespace {

// What a step of work has found of numbers.
struct Found {
    bool are_all = true;       // in the list
    bool are_ascending = true; // by their indices, each once
};

// Puts the indices of numbers into `indices`, which is as long.
Found FindAll(IdIndex const& index, std::span<std::int32_t const> ids, std::span<std::uint32_t> indices,
              bool parallel) {
    Found all;
    Support::ComputeSteps<Found>(
        {.items = ids.size(), .step = 1 << 14, .parallel = parallel},
        [&](std::uint64_t first, std::uint64_t last, Found& found) {
            found = {};
            for (auto i = static_cast<std::size_t>(first); i < last; ++i) {
                indices[i] = index.Find(ids[i]);
                found.are_all &= indices[i] != IdIndex::None;
                found.are_ascending &= i == first || indices[i - 1] < indices[i];
            }
        },
        [&](std::uint64_t first, std::uint64_t, Found const& found) {
            auto const i = static_cast<std::size_t>(first);
            all.are_all &= found.are_all;
            all.are_ascending &= found.are_ascending && (i == 0 || indices[i - 1] < indices[i]);
            return true;
        });
    return all;
}

// Ranges that have no number in common with another of the same step, so that lines that repeat others
// cost nothing.
std::vector<OpenSet::Range> Merged(std::vector<OpenSet::Range> ranges) {
    auto const place = [](OpenSet::Range const& range) {
        return std::tuple(range.step, range.first % range.step, range.first);
    };
    std::ranges::sort(ranges, {}, place);
    std::vector<OpenSet::Range> merged;
    for (OpenSet::Range const& range : ranges) {
        bool const goes_on = !merged.empty() && merged.back().step == range.step &&
                             (range.first - merged.back().first) % range.step == 0 &&
                             range.first <= merged.back().last;
        if (goes_on)
            merged.back().last = std::max(merged.back().last, range.last);
        else
            merged.push_back(range);
    }
    return merged;
}

// Numbers in between that are not there are left out, as solvers do.
void AddRange(OpenSet::Range const& range, IdIndex const& index, std::vector<std::int32_t> const& ids,
              std::vector<std::uint32_t>& members) {
    if (static_cast<std::size_t>((range.last - range.first) / range.step) < ids.size()) {
        for (std::int64_t id = range.first; id <= range.last; id += range.step)
            if (std::uint32_t const at = index.Find(static_cast<std::int32_t>(id)); at != IdIndex::None)
                members.push_back(at);
        return;
    }
    for (std::size_t i = 0; i < ids.size(); ++i)
        if (ids[i] >= range.first && ids[i] <= range.last && (ids[i] - range.first) % range.step == 0)
            members.push_back(static_cast<std::uint32_t>(i));
}

// Sets in sets; each is walked once, so that sets that name each other end. Those before set i have the
// members of all that they name already.
void AddOthers(OpenSets& sets, std::size_t i, std::size_t ids, std::vector<Deck::Set>& resolved) {
    if (sets.All()[i].others.empty())
        return;
    std::set<std::size_t> seen = {i};
    std::vector<std::size_t> open = {i};
    std::size_t limit = 2 * ids;
    while (!open.empty()) {
        std::size_t const at = open.back();
        open.pop_back();
        for (std::string const& name : sets.All()[at].others) {
            auto const other = sets.Find(name);
            if (!other)
                throw Error("the set " + sets.All()[at].name + " names the set " + name +
                            ", which is not defined");
            if (!seen.insert(*other).second)
                continue;
            if (*other > i)
                open.push_back(*other);
            auto& members = resolved[i].members;
            members.insert(members.end(), resolved[*other].members.begin(), resolved[*other].members.end());
            SortOnceBeyond(limit, members);
        }
    }
    SortOnce(resolved[i].members);
}

} // namespace

std::vector<Deck::Set> ResolveSets(OpenSets& sets, IdIndex const& index, std::vector<std::int32_t> const& ids,
                                   std::string const& what, std::span<std::int32_t const> skipped,
                                   bool parallel) {
    std::vector<Deck::Set> resolved;
    for (OpenSet& set : sets.All()) {
        Deck::Set& own = resolved.emplace_back(Deck::Set{set.name, {}, set.is_of_elements_block});
        own.members.resize(set.ids.size());
        Found const found = FindAll(index, set.ids, own.members, parallel);
        for (std::size_t i = 0; !found.are_all && i < set.ids.size(); ++i)
            if (own.members[i] == IdIndex::None && !std::ranges::binary_search(skipped, set.ids[i]))
                throw Error("the set " + set.name + " has " + what + " " + std::to_string(set.ids[i]) +
                            ", which is not defined");
        if (!found.are_all)
            std::erase(own.members, IdIndex::None);
        std::vector<std::int32_t>().swap(set.ids);
        bool const has_ranges = !set.ranges.empty();
        std::size_t limit = 2 * ids.size();
        for (OpenSet::Range const& range : Merged(std::move(set.ranges))) {
            AddRange(range, index, ids, own.members);
            SortOnceBeyond(limit, own.members);
        }
        if (!found.are_all || !found.are_ascending || has_ranges)
            SortOnce(own.members);
    }
    for (std::size_t i = 0; i < resolved.size(); ++i)
        AddOthers(sets, i, ids.size(), resolved);
    return resolved;
}

} // namespace KetSDK::MeshSolver::Detail
