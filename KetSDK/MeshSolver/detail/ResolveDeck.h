// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/Deck.h>
#include <KetSDK/MeshSolver/detail/OpenDeck.h>

namespace KetSDK::MeshSolver::Detail {

// Puts indices in the lists of a deck for the numbers of its nodes and elements. Works on several threads
// when parallel. Throws Error for what is not defined, or twice.
Deck ResolveDeck(OpenDeck open, bool parallel);

} // namespace KetSDK::MeshSolver::Detail
