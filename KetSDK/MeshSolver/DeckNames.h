// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshSolver/MeshSolverExport.h>

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshSolver {

// A name that a deck cannot have as it is.
struct Renaming {
    std::string kind; // "subvolume", "surface", "place"
    std::string name; // in UTF-8
    std::string deck;
};

// Gives everything in a deck a name of its own that every solver takes: A-Z, 0-9 and _, a letter first, at
// most 60 characters. Solvers take names that differ only in case or blanks for one.
class KETSDK_MESHSOLVER_API DeckNames {
public:
    // The name for what is called `name`; a renaming is kept.
    std::string Take(std::string const& kind, std::string_view name);

    std::vector<Renaming> const& GetRenamings() const noexcept { return m_renamings; }

private:
    std::set<std::string> m_taken;
    std::vector<Renaming> m_renamings;
};

} // namespace KetSDK::MeshSolver
