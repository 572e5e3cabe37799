// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Solve.h>

#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/AnalysisOf.h>
#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshJobs/detail/NameOf.h>
#include <KetSDK/MeshJobs/detail/ResultArrays.h>
#include <KetSDK/MeshJobs/detail/Threads.h>
#include <KetSDK/MeshSolver/CalculiX.h>
#include <KetSDK/MeshSolver/Solution.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace KetSDK::MeshJobs {

namespace {

using MeshSolver::Analysis;
using MeshSolver::Case;
using MeshSolver::NodeForces;
using Vector = MMVector<double, 3>;

// What there is in a folder of the files that a run leaves.
std::vector<std::filesystem::path> EarlierFiles(std::filesystem::path const& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (std::string const job : {"model", "model-unbalanced-2", "model-unbalanced-3"})
        for (char const* const ending : {".inp", ".frd", ".dat", ".sta", ".cvg", ".log", ".12d"})
            if (std::filesystem::path file = folder / (job + ending);
                std::filesystem::exists(std::filesystem::symlink_status(file, error)))
                files.push_back(std::move(file));
    return files;
}

// Whether an earlier run left files in a folder: a deck with the heading of ours, and the log beside it.
bool HasRun(std::filesystem::path const& folder) {
    std::ifstream deck(folder / "model.inp");
    std::string heading, text;
    std::getline(std::getline(deck, heading), text);
    std::error_code error;
    return heading == "*HEADING" && text.starts_with("volume mesh; ") &&
           std::filesystem::exists(folder / "model.log", error);
}

// Throws FileError for a folder with files that a run would overwrite and that no run left there.
void RequireOwnFiles(std::string const& keep) {
    std::vector<std::filesystem::path> const files = EarlierFiles(keep);
    if (!files.empty() && !HasRun(keep))
        throw FileError(keep,
                        "its file " + files.front().filename().string() +
                            " is of no earlier run and would be lost; another folder is needed (--keep)");
}

// Where the solver works: a private folder, or the one that the user keeps.
class WorkFolder {
public:
    WorkFolder(std::string const& keep, std::string const& temporary) {
        if (keep.empty()) {
            MakePrivate(temporary.empty() ? MTemporaryDirectory::DefaultParent() : MFileName(temporary));
            return;
        }
        std::error_code error;
        std::filesystem::create_directories(keep, error);
        if (!std::filesystem::is_directory(keep, error))
            throw FileError(keep, "no folder for the solver's files can be made there");
        m_path = std::filesystem::absolute(keep, error);
        for (std::filesystem::path const& file : EarlierFiles(m_path))
            std::filesystem::remove(file, error);
    }
    std::filesystem::path const& GetPath() const noexcept { return m_path; }

private:
    void MakePrivate(MFileName const& parent) {
        try {
            m_private.emplace(parent);
        } catch (std::runtime_error const&) {
            throw FileError(parent.GetPath().string(), "no folder for the solver's files can be made in it");
        }
        m_path = m_private->GetPath().GetPath().string();
    }

    std::optional<MTemporaryDirectory> m_private;
    std::filesystem::path m_path;
};

SolveResult::Force ToForce(Vector const& v) {
    return {v[0], v[1], v[2]};
}

using Totals = std::map<std::string, std::array<double, 3>>;

// What the solver's forces at held axes are without the loads on their nodes, by place.
std::vector<Vector> ReactionsOf(Analysis const& analysis, NodeForces const& loads, Totals const& totals) {
    std::vector<Vector> reactions(analysis.places.size());
    for (MeshSolver::HeldAxis const& held : analysis.held)
        reactions[held.place][held.axis] -= loads[held.node][held.axis];
    for (std::size_t place = 0; place < reactions.size(); ++place)
        for (unsigned int axis = 0; axis < 3; ++axis) {
            auto const found = totals.find(MeshSolver::TotalsName(place, axis));
            if (found != totals.end())
                reactions[place][axis] += found->second[axis];
        }
    return reactions;
}

void SetForces(SolveResult& result, Analysis const& analysis, Totals const& totals) {
    NodeForces const loads = analysis.AllLoads();
    Vector applied;
    double lengths = 0.0;
    for (Vector const& load : loads) {
        applied += load;
        lengths += load.Length();
    }
    Vector reaction;
    std::vector<Vector> const by_place = ReactionsOf(analysis, loads, totals);
    for (std::size_t i = 0; i < by_place.size(); ++i) {
        reaction += by_place[i];
        auto const holds = [&](std::string const& place) { return place == analysis.places[i].name; };
        Case const& load_case = *analysis.load_case;
        if (std::ranges::any_of(load_case.fixes, holds, &Case::Fix::place) ||
            std::ranges::any_of(load_case.displacements, holds, &Case::Displace::place))
            result.reactions.push_back({analysis.places[i].name, ToForce(by_place[i])});
    }
    result.applied = ToForce(applied);
    result.reaction = ToForce(reaction);
    constexpr double negligible = 1e-9; // of forces that cancel out
    if (applied.Length() > negligible * lengths)
        result.balance = (applied + reaction).Length() / applied.Length();
}

// The iterations of the solver end before the loads are balanced to the last digit.
void CheckBalance(SolveResult const& result, Model const& model, Context const& context) {
    double const usual = result.is_iterative ? 1e-4 : 1e-5;
    if (!result.balance || *result.balance <= usual)
        return;
    std::string const message = "the reactions differ from the loads by " +
                                FormatGeneral(*result.balance, 3) + " of the loads, more than " +
                                FormatGeneral(usual) + "; " +
                                (result.is_iterative ? "--solver direct is more exact"
                                                     : "the model may be too soft somewhere to be solved");
    if (!(*result.balance <= 10 * usual))
        throw MeshSolver::Error(message);
    context.Warn(Detail::NameOf(model) + ": " + message);
}

int ThreadsOf(Context const& context) {
    return context.threads > 0 ? context.threads
                               : static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
}

MeshSolver::Solution Run(Analysis const& analysis, SolveOptions const& options,
                         std::filesystem::path const& program, Context const& context) {
    WorkFolder const folder(options.keep, options.temporary);
    MeshSolver::SolutionOptions run;
    run.program = program;
    run.folder = folder.GetPath();
    run.method = options.method;
    run.threads = ThreadsOf(context);
    run.timeout = options.timeout;
    run.progress = context.progress;
    MeshSolver::Solution solution;
    Detail::WithThreads(context, [&](bool) { solution = MeshSolver::SolveAnalysis(analysis, run); });
    return solution;
}

} // namespace

SolveResult Solve(Model& model, SolveOptions const& options, Context const& context) {
    if (!options.keep.empty())
        RequireOwnFiles(options.keep);
    return Detail::ForFile(model.file, [&] {
        std::filesystem::path const program = MeshSolver::FindCalculiX(options.path);
        Analysis const analysis =
            Detail::AnalysisOf(model, {&options.load_case, options.materials, false}, context);
        if (!analysis.HasStep())
            throw FileError(options.load_case.file, "it only names places; [[fix]] must hold the model");
        MeshSolver::Solution solution = Run(analysis, options, program, context);
        SolveResult result;
        result.unknowns = analysis.NumberOfUnknowns();
        result.is_iterative = solution.is_iterative;
        result.solver_version = solution.report.version;
        result.solver_seconds = solution.report.seconds;
        SetForces(result, analysis, solution.totals);
        CheckBalance(result, model, context);
        context.ThrowIfCancelled();
        ResultsReport const report = Detail::TakeResultArrays(model, solution.result);
        result.max_displacement = report.max_displacement.value_or(0.0);
        result.max_von_mises = report.max_von_mises.value_or(0.0);
        return result;
    });
}

} // namespace KetSDK::MeshJobs
