// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Meshes.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// A job is done by us and by VTK. Each way of doing it becomes one benchmark "mesh/job/way", and the
// figures that both come to are compared before either time counts.
namespace Bench {

// The name of our way; every other one is VTK's. Each is measured on one core and, with this behind its name,
// on all.
inline constexpr char const* Ours = "ours";
inline constexpr char const* OnAllCores = ", all cores";

// Whether the answer of one way is that of the ways before it, to rounding. The first is taken as given.
bool IsSameAnswer(std::string const& mesh, std::string const& job, std::optional<double> answer);
// Whether IsSameAnswer was ever false.
bool AnyAnswerDiffers();

// By the clock, on one core as on all: what a gain compares must be measured in one way. The time of the
// processor leaves out waiting for pages and files.
double ClockSeconds();

// Whether the way that runs now may use all cores; tells VTK as well.
bool IsParallel();
void SetParallel(bool parallel);

// Number of threads that parallel work runs on.
unsigned int NumberOfThreads();

// The ways of a job are measured in turn, forwards and backwards, so that what the machine does meanwhile
// hits all of them; the first round warms up and does not count. Keeps a way until all are known.
void Keep(std::string const& mesh, std::string const& job, std::string const& way,
          std::function<void(benchmark::State&)> run);
// Registers what was kept, each way for so many rounds and one more.
void RegisterRounds(unsigned int rounds);

// Before a way is measured on what it works on.
inline void PrepareFor(Case& c, std::string const& job, std::string const& way) {
    c.PrepareFor(job, way == Ours);
}
inline void PrepareFor(std::vector<double> const&, std::string const&, std::string const&) {}

// Number of things that a time is divided by.
inline std::size_t SizeOf(Case const& c) {
    return c.elements.Count();
}
inline std::size_t SizeOf(std::vector<double> const& values) {
    return values.size();
}

// Adds one way of doing a job on what `subject` returns, a mesh or a list of values. `prepare` and `answer`
// are not timed, nor is the destruction of what `work` returns. `answer` gives the figure to compare, or
// nothing.
template <typename Subject, typename Prepare, typename Work, typename Answer>
void AddWayOn(std::string const& mesh, Subject subject, std::string const& job, std::string const& way,
              Prepare prepare, Work work, Answer answer) {
    auto const run = [=](benchmark::State& state, bool parallel) {
        auto& c = subject();
        SetParallel(parallel);
        for ([[maybe_unused]] auto step : state) {
            PrepareFor(c, job, way);
            prepare(c);
            double const begin = ClockSeconds();
            auto result = work(c);
            state.SetIterationTime(ClockSeconds() - begin);
            if (!IsSameAnswer(mesh, job, answer(c, result))) {
                state.SkipWithError("the answer differs from that of the other way");
                return;
            }
        }
        auto const elements = static_cast<double>(SizeOf(c));
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(elements));
        using Counter = benchmark::Counter;
        state.counters["elements"] = elements;
        state.counters["s/element"] =
            Counter(elements, Counter::kIsIterationInvariantRate | Counter::kInvert);
    };
    for (bool const parallel : {false, true})
        Keep(mesh, job, parallel ? way + OnAllCores : way,
             [run, parallel](benchmark::State& state) { run(state, parallel); });
}

// The same on a mesh.
template <typename Prepare, typename Work, typename Answer>
void AddWay(Recipe const& recipe, std::string const& job, std::string const& way, Prepare prepare, Work work,
            Answer answer) {
    // Only of linear tetrahedra do both say the same: VTK cuts other elements up in its own ways.
    auto const compared = [answer, with_others = way == Ours || recipe.IsOfLinearTetrahedra()](
                              Case& c, auto const& result) -> std::optional<double> {
        return with_others ? answer(c, result) : std::nullopt;
    };
    AddWayOn(
        recipe.name, [recipe]() -> Case& { return UseCase(recipe); }, job, way, prepare, work, compared);
}

inline constexpr auto NothingToPrepare = [](auto&) {};
inline constexpr auto NoAnswer = [](auto&, auto const&) { return std::optional<double>(); };

// Adds one way of holding something in memory: bytes per element that `bytes` returns, not timed.
void AddMemory(Recipe const& recipe, std::string const& what, std::string const& way,
               std::function<double(Case&)> bytes);

// The themes; each adds its jobs for one mesh, some of them for linear tetrahedra only.
void AddBuildJobs(Recipe const& recipe);
void AddNeighborJobs(Recipe const& recipe);
void AddQualityJobs(Recipe const& recipe);
void AddRepairJobs(Recipe const& recipe);
void AddConversionJobs(Recipe const& recipe);
void AddSurfaceJobs(Recipe const& recipe);
void AddIsosurfaceJobs(Recipe const& recipe);
void AddLabelJobs(Recipe const& recipe);
void AddSubVolumeJobs(Recipe const& recipe);
void AddMaterialJobs(Recipe const& recipe);
void AddPersistenceJobs(Recipe const& recipe);
void AddSolverJobs(Recipe const& recipe);
// Those on plain values.
void AddHistogramJobs();

} // namespace Bench
