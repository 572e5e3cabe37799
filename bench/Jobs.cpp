// SPDX-License-Identifier: BSD-3-Clause
#include "Jobs.h"

#include "VtkThreads.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <map>
#include <thread>

namespace Bench {
namespace {

bool any_answer_differs = false;
bool is_parallel = false;

struct Way {
    std::string name;
    std::function<void(benchmark::State&)> run;
};
struct Job {
    std::string name; // mesh/job
    std::vector<Way> ways;
};
std::vector<Job>& Jobs() {
    static std::vector<Job> jobs;
    return jobs;
}

} // namespace

bool IsSameAnswer(std::string const& mesh, std::string const& job, std::optional<double> answer) {
    static std::map<std::string, double> answers;
    if (!answer)
        return true;
    double const first = answers.try_emplace(mesh + "/" + job, *answer).first->second;
    if (std::abs(*answer - first) <= 1e-8 * std::abs(first))
        return true;
    std::fprintf(stderr, "%s/%s: answers %.15g and %.15g\n", mesh.c_str(), job.c_str(), first, *answer);
    any_answer_differs = true;
    return false;
}

bool AnyAnswerDiffers() {
    return any_answer_differs;
}

double ClockSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

unsigned int NumberOfThreads() {
    return std::max(1u, std::thread::hardware_concurrency());
}

bool IsParallel() {
    return is_parallel;
}

void SetParallel(bool parallel) {
    is_parallel = parallel;
    UseVtkThreads(parallel ? static_cast<int>(NumberOfThreads()) : 1);
}

void Keep(std::string const& mesh, std::string const& job, std::string const& way,
          std::function<void(benchmark::State&)> run) {
    std::string const name = mesh + "/" + job;
    auto found = std::ranges::find(Jobs(), name, &Job::name);
    if (found == Jobs().end())
        found = Jobs().insert(found, {name, {}});
    found->ways.push_back({way, std::move(run)});
}

void RegisterRounds(unsigned int rounds) {
    for (Job& job : Jobs())
        for (unsigned int round = 0; round <= rounds; ++round) {
            for (Way const& way : job.ways)
                benchmark::RegisterBenchmark((job.name + "/" + way.name).c_str(), way.run)
                    ->UseManualTime()
                    ->Unit(benchmark::kMillisecond);
            std::ranges::reverse(job.ways);
        }
}

void AddMemory(Recipe const& recipe, std::string const& what, std::string const& way,
               std::function<double(Case&)> bytes) {
    auto const run = [=](benchmark::State& state) {
        Case& c = UseCase(recipe);
        double total = 0.0;
        for ([[maybe_unused]] auto step : state) {
            PrepareFor(c, what, way);
            total = bytes(c);
        }
        auto const elements = static_cast<double>(SizeOf(c));
        state.counters["elements"] = elements;
        state.counters["bytes/element"] = total / elements;
    };
    benchmark::RegisterBenchmark((recipe.name + "/" + what + "/" + way).c_str(), run)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
}

} // namespace Bench
