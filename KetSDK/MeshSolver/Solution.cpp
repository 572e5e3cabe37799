// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/Solution.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshSolver/detail/TextFile.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshSolver {

namespace {

constexpr int MostRuns = 3;
constexpr double WellBalanced = 2e-5;    // of the loads
constexpr double CancellingLoads = 1e-9; // of the sum of their lengths
constexpr double SmallCorrection = 1e-3; // of the displacements: the next would be as much smaller again

FrdResult ReadResult(Analysis const& analysis, std::filesystem::path const& path,
                     SolutionOptions const& options) {
    if (!std::filesystem::exists(path))
        throw Error("CalculiX has left no results; --keep keeps what it printed, in model.log");
    MMeshBase const& mesh = *analysis.mesh;
    FrdOptions how;
    how.nodes = analysis.used_nodes.size();
    how.index_of = [](std::int32_t id) { return std::optional(static_cast<std::size_t>(id) - 1); };
    how.position_of = [&mesh](std::size_t i) {
        auto const p = mesh.GetRandomPoint(i)->GetPosition();
        return std::array<double, 3>{p[0], p[1], p[2]};
    };
    how.progress = options.progress;
    how.parallel = options.threads > 1;
    FrdResult result = ReadFrd(path, how);
    for (char const* const needed : {"DISP", "STRESS", "FORC"})
        if (!result.fields.contains(needed))
            throw Error(std::string("CalculiX has left no results (") + needed + ")");
    return result;
}

Solution Run(Analysis const& analysis, SolutionOptions const& options, std::string const& job,
             NodeForces const* unbalanced, double timeout) {
    DeckOptions deck;
    deck.method = options.method;
    deck.print_totals = true;
    deck.unbalanced = unbalanced;
    deck.parallel = options.threads > 1;
    WriteDeck(analysis, deck, options.folder / (job + ".inp"), options.progress);
    Solution solution;
    solution.is_iterative = IsIterative(analysis, deck);
    solution.report =
        RunCalculiX({options.program, options.folder, job, options.threads, timeout, options.progress});
    solution.result = ReadResult(analysis, options.folder / (job + ".frd"), options);
    solution.totals = ReadTotals(options.folder / (job + ".dat"));
    return solution;
}

// Adds what a further run has found.
void Add(Solution& solution, Solution const& more) {
    for (auto& [name, field] : solution.result.fields) {
        auto const found = more.result.fields.find(name);
        if (found == more.result.fields.end())
            throw Error("CalculiX has left no results (" + name + ")");
        for (std::size_t i = 0; i < field.values.size(); ++i)
            field.values[i] += found->second.values[i];
    }
    for (auto const& [name, total] : more.totals)
        for (std::size_t axis = 0; axis < 3; ++axis)
            solution.totals[name][axis] += total[axis];
    solution.report.seconds += more.report.seconds;
}

// The loads that the solver's forces do not balance, where nothing holds the nodes.
NodeForces Unbalanced(Analysis const& analysis, NodeForces const& loads, FrdResult const& result) {
    std::vector<double> const& forces = result.fields.at("FORC").values;
    NodeForces unbalanced(loads.size());
    for (std::size_t i = 0; i < loads.size(); ++i)
        for (unsigned int axis = 0; axis < 3; ++axis)
            if (analysis.used_nodes[i])
                unbalanced[i][axis] = loads[i][axis] - forces[3 * i + axis];
    for (HeldAxis const& held : analysis.held)
        unbalanced[held.node][held.axis] = 0.0;
    return unbalanced;
}

double LengthOfSum(NodeForces const& forces) {
    MMVector<double, 3> sum(0.0, 0.0, 0.0);
    for (MMVector<double, 3> const& force : forces)
        sum += force;
    return sum.Length();
}

// What balance is measured by: the length of the loads together or, where they cancel out, of each.
double SizeOf(NodeForces const& loads) {
    double sum = 0.0;
    for (MMVector<double, 3> const& load : loads)
        sum += load.Length();
    double const together = LengthOfSum(loads);
    return together > CancellingLoads * sum ? together : sum;
}

double LargestDisplacement(FrdResult const& result) {
    double largest = 0.0;
    for (double const value : result.fields.at("DISP").values)
        largest = std::max(largest, std::fabs(value)); // a value that is no number is not larger
    return largest;
}

Solution SolveInRuns(Analysis const& analysis, SolutionOptions const& options) {
    Solution solution = Run(analysis, options, "model", nullptr, options.timeout);
    if (!solution.is_iterative)
        return solution;
    NodeForces const loads = analysis.AllLoads();
    double const balanced = WellBalanced * SizeOf(loads);
    bool is_rough = std::ranges::any_of(analysis.held, [](HeldAxis const& held) { return held.by != 0.0; });
    for (int run = 2; run <= MostRuns; ++run) {
        NodeForces const unbalanced = Unbalanced(analysis, loads, solution.result);
        if (!is_rough && LengthOfSum(unbalanced) <= balanced)
            break;
        // No time that is left is a limit too; 0 would be none.
        double const left =
            options.timeout > 0.0 ? std::max(options.timeout - solution.report.seconds, 1e-3) : 0.0;
        Solution const more =
            Run(analysis, options, "model-unbalanced-" + std::to_string(run), &unbalanced, left);
        double const whole = LargestDisplacement(solution.result);
        is_rough = LargestDisplacement(more.result) > SmallCorrection * whole;
        Add(solution, more);
    }
    return solution;
}

// "1 second", "0.2 seconds"
std::string SecondsText(double seconds) {
    return Detail::RealText(seconds) + (seconds == 1.0 ? " second" : " seconds");
}

} // namespace

Solution SolveAnalysis(Analysis const& analysis, SolutionOptions const& options) try {
    return SolveInRuns(analysis, options);
} catch (TimedOut const&) {
    DeckOptions deck;
    deck.method = options.method;
    throw Error("CalculiX has not solved it in " + SecondsText(options.timeout) +
                "; --timeout gives it more" +
                (IsIterative(analysis, deck) ? "" : ", and --solver iterative often needs less"));
}

} // namespace KetSDK::MeshSolver
