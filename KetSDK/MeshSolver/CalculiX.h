// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshSolver/MeshSolverExport.h>

#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

namespace KetSDK::MeshSolver {

// Runs the solver CalculiX (ccx) as a process of its own.
struct CalculiXOptions {
    std::filesystem::path program; // as FindCalculiX finds it
    std::filesystem::path folder;  // where the deck lies and all files of the solver go
    std::string job;               // name of the deck without .inp
    int threads = 1;
    double timeout = 0.0;                                // seconds; 0 for as long as it takes
    std::shared_ptr<Common::IProgressDelegate> progress; // may be null
};

struct CalculiXReport {
    std::string version; // "2.20"
    double seconds = 0.0;
};

// The program `ccx` in one of the folders of a path like that of the environment ("/usr/local/bin:/usr/bin").
// Throws Error when there is none.
KETSDK_MESHSOLVER_API std::filesystem::path FindCalculiX(std::string const& path);

// The solver has not ended in time.
class KETSDK_MESHSOLVER_API TimedOut : public Error {
public:
    TimedOut();
    ~TimedOut() override;
};

// Solves a deck. Throws Error when the solver fails, with what it says of the reason in one line; TimedOut;
// Cancelled. The solver has ended in any case. A process that ignores SIGCHLD does not hear how its children
// end, so there it throws Error once the solver has ended.
KETSDK_MESHSOLVER_API CalculiXReport RunCalculiX(CalculiXOptions const& options);

// The total forces at sets of nodes that the solver printed (.dat), in N and with more digits than those at
// nodes; of several steps the last. Throws Error for a file that cannot be read.
KETSDK_MESHSOLVER_API std::map<std::string, std::array<double, 3>>
ReadTotals(std::filesystem::path const& path);

} // namespace KetSDK::MeshSolver
