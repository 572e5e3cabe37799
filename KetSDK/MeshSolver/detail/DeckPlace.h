// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshSolver/detail/LineFile.h>

#include <cstdint>
#include <string>

namespace KetSDK::MeshSolver::Detail {

// Where a deck is being read.
struct DeckPlace {
    LineFile* file = nullptr;
    std::string included; // its name, where it is not the deck itself

    // Throws Error of the line that was read last, or of another one.
    [[noreturn]] void Fail(std::string const& message) const { Fail(message, file->GetLineNumber()); }
    [[noreturn]] void Fail(std::string const& message, std::uint64_t line) const {
        throw Error(included + "line " + std::to_string(line) + ": " + message);
    }
};

} // namespace KetSDK::MeshSolver::Detail
