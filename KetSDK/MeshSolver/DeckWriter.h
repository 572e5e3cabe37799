// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/MeshSolver/Analysis.h>
#include <KetSDK/MeshSolver/MeshSolverExport.h>

#include <filesystem>
#include <memory>
#include <string>

namespace KetSDK::MeshSolver {

// Decks in the language that CalculiX and Abaqus share (.inp): nodes in mm, elements by kind, sets and
// surfaces, materials in MPa and tonne/mm3, and the case as a step.

struct DeckOptions {
    enum class Dialect : int { CalculiX, Abaqus };
    enum class Method : int { Auto, Direct, Iterative }; // of the equation solver, where the dialect names it

    Dialect dialect = Dialect::CalculiX;
    Method method = Method::Auto; // iterative above so many unknowns:
    static constexpr std::uint64_t MostUnknownsForDirect = 200000;
    bool print_totals = false; // CalculiX prints the forces at the nodes that each place holds
    // Borrowed: loads of the step, by node, instead of those of the case; what is held then stays where it
    // is.
    NodeForces const* unbalanced = nullptr;
    bool parallel = false; // put it into words on several threads; the deck is the same
};

// The name of the set of the nodes that a place holds along an axis, by index. No other set is named like it.
KETSDK_MESHSOLVER_API std::string TotalsName(std::size_t place, std::size_t axis);

// Whether the equations of an analysis are to be solved iteratively.
KETSDK_MESHSOLVER_API bool IsIterative(Analysis const& analysis, DeckOptions const& options);

// Writes a deck with the step of the case, if there is one. Throws Error when the file cannot be written,
// Cancelled.
KETSDK_MESHSOLVER_API void WriteDeck(Analysis const& analysis, DeckOptions const& options,
                                     std::filesystem::path const& path,
                                     std::shared_ptr<Common::IProgressDelegate> const& progress);
// The same in two files: mesh, sets and materials; and the step, which includes the first under the name
// `mesh_name`. The analysis has a step.
KETSDK_MESHSOLVER_API void WriteSplitDeck(Analysis const& analysis, DeckOptions const& options,
                                          std::filesystem::path const& mesh_path,
                                          std::string const& mesh_name,
                                          std::filesystem::path const& case_path,
                                          std::shared_ptr<Common::IProgressDelegate> const& progress);

} // namespace KetSDK::MeshSolver
