// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/MeshSolver/Analysis.h>
#include <KetSDK/MeshSolver/CalculiX.h>
#include <KetSDK/MeshSolver/DeckWriter.h>
#include <KetSDK/MeshSolver/FrdFile.h>
#include <KetSDK/MeshSolver/MeshSolverExport.h>

#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

namespace KetSDK::MeshSolver {

struct SolutionOptions {
    std::filesystem::path program; // as FindCalculiX finds it
    std::filesystem::path folder;  // for all files: of the first run model.inp, model.frd and so on
    DeckOptions::Method method = DeckOptions::Method::Auto;
    int threads = 1;      // of the solver; with more than one, files are written and read on several, too
    double timeout = 0.0; // seconds; 0 for as long as it takes
    std::shared_ptr<Common::IProgressDelegate> progress; // may be null
};

struct Solution {
    FrdResult result;                                    // at the nodes of the mesh
    std::map<std::string, std::array<double, 3>> totals; // N at the nodes that a place holds, by TotalsName()
    CalculiXReport report;                               // of all runs
    bool is_iterative = false;
};

// Solves an analysis, which numbers nodes by their index and has a step. The iterations of CalculiX end early
// where loads are uneven, and most of all where places are moved. The forces that its result leaves
// unbalanced are then loads of a further run, whose result is added, three runs at most. Throws Error as
// RunCalculiX and ReadFrd do, and when there are no results; Cancelled.
KETSDK_MESHSOLVER_API Solution SolveAnalysis(Analysis const& analysis, SolutionOptions const& options);

} // namespace KetSDK::MeshSolver
