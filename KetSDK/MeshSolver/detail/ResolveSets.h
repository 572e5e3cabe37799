// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/Deck.h>
#include <KetSDK/MeshSolver/detail/IdIndex.h>
#include <KetSDK/MeshSolver/detail/OpenSets.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace KetSDK::MeshSolver::Detail {

// The sets of a deck by the places of their members in the list `ids`, to which the index belongs. `what` the
// members are stands in the error. `skipped` are the numbers of those that are not read, ascending. The sets
// lose their numbers. Works on several threads when parallel. Throws Error for what is not defined.
std::vector<Deck::Set> ResolveSets(OpenSets& sets, IdIndex const& index, std::vector<std::int32_t> const& ids,
                                   std::string const& what, std::span<std::int32_t const> skipped,
                                   bool parallel);

} // namespace KetSDK::MeshSolver::Detail
