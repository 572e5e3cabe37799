// SPDX-License-Identifier: BSD-3-Clause
// Cases, decks and what solvers leave.
#include "FuzzTargets.h"

#include "Scratch.h"

#include <KetSDK/MeshSolver/Case.h>
#include <KetSDK/MeshSolver/Deck.h>
#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshSolver/FrdFile.h>

using namespace KetSDK::MeshSolver;

namespace FuzzTargets {

namespace {

// Whether a reader takes a file; it may refuse one with this error and no other.
template <typename Read>
bool IsTaken(Read const& read) {
    try {
        read();
        return true;
    } catch (Error const&) {
        return false;
    }
}

bool ConsumeDeck(std::span<std::byte const> bytes) {
    return IsTaken([path = WriteScratch("deck.inp", bytes)] { FindDividingSets(ReadDeck(path, nullptr)); });
}

// The results of a cube of 1 mm with eight nodes.
bool ConsumeFrd(std::span<std::byte const> bytes) {
    static constexpr double corners[8][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                                             {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
    FrdOptions options;
    options.nodes = 8;
    options.index_of = [](std::int32_t id) { return std::optional(static_cast<std::size_t>(id) - 1); };
    options.position_of = [](std::size_t i) { return std::to_array(corners[i]); };
    return IsTaken([path = WriteScratch("results.frd", bytes), &options] { ReadFrd(path, options); });
}

bool ConsumeCase(std::span<std::byte const> bytes) {
    std::string_view const text(reinterpret_cast<char const*>(bytes.data()), bytes.size());
    return IsTaken([text] { ReadCase(text); });
}

} // namespace

std::vector<Target> SolverTargets() {
    return {{"inp", ConsumeDeck}, {"frd", ConsumeFrd}, {"case", ConsumeCase}};
}

} // namespace FuzzTargets
