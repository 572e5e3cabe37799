// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/CaseFile.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/MeshJobsExport.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshSolver/DeckWriter.h>
#include <KetSDK/MeshSolver/Materials.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

struct SolveOptions {
    CaseFile load_case;
    MeshSolver::MaterialsAs materials = MeshSolver::MaterialsAs::Bins;
    MeshSolver::DeckOptions::Method method = MeshSolver::DeckOptions::Method::Auto;
    double timeout = 0.0; // seconds; 0 for as long as it takes
    // Folder for the solver's files, which may hold those of an earlier run; empty: a private one that goes.
    std::string keep;
    std::string temporary; // existing folder for the private one; empty: the system's
    std::string path;      // where the solver is searched: "/usr/local/bin:/usr/bin"
};

struct SolveResult {
    using Force = std::array<double, 3>; // N
    struct Reaction {
        std::string place;
        Force force{};
    };
    Force applied{};  // sum of all loads
    Force reaction{}; // sum of what holds the model
    // What holds the model at each place, in the order of the case; where places overlap the first one holds.
    std::vector<Reaction> reactions;
    // Length of the sum of both over the length of the loads; none where loads cancel out or there are none.
    std::optional<double> balance;
    double max_displacement = 0.0; // mm
    double max_von_mises = 0.0;    // MPa
    std::uint64_t unknowns = 0;
    std::string solver_version;
    bool is_iterative = false;
    double solver_seconds = 0.0;
};
// Solves a model under a case with CalculiX and gives it the arrays of Results(). Throws FileError for a
// model that no solver takes, a case that does not fit it, and results that do not balance the loads. Throws
// it also for a solver that is missing, fails, or runs out of time; Cancelled. The model is as it was then,
// and nothing is left behind but what was to be kept.
KETSDK_MESHJOBS_API SolveResult Solve(Model& model, SolveOptions const& options, Context const& context);

} // namespace KetSDK::MeshJobs
