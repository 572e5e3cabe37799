// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Jobs.h"
#include "KeptMemory.h"

#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <string>

// How much memory loading takes.
namespace Bench {

inline double ResidentBytes(char const* what) {
    std::ifstream status("/proc/self/status");
    std::string word;
    double kilobytes = 0.0;
    while (status >> word)
        if (word == what)
            status >> kilobytes;
    return kilobytes * 1024.0;
}

// How far the memory of a process grows beyond what it has when it loads: the highest on the way, as a
// multiple of what is left in the heap. In a child process with nothing of its own to fill first.
template <typename Load>
double PeakOverLoaded(Load load) {
    int ends[2];
    if (pipe(ends) != 0)
        throw std::runtime_error("no pipe");
    pid_t const child = fork();
    if (child < 0)
        throw std::runtime_error("no child process");
    if (child == 0) {
        ReleaseFreedMemory();
        std::ofstream("/proc/self/clear_refs") << "5" << std::flush; // the highest is what it is now
        double const before = ResidentBytes("VmRSS:");
        double const heap_before = HeapBytes();
        auto const loaded = load();
        double const loaded_bytes = HeapBytes() - heap_before;
        double const ratio = (ResidentBytes("VmHWM:") - before) / loaded_bytes;
        _exit(write(ends[1], &ratio, sizeof ratio) == sizeof ratio ? 0 : 1);
    }
    close(ends[1]); // or else reading would wait for ever where the child dies
    double ratio = 0.0;
    int status = 0;
    bool const told = read(ends[0], &ratio, sizeof ratio) == sizeof ratio;
    close(ends[0]);
    if (waitpid(child, &status, 0) != child || status != 0 || !told)
        throw std::runtime_error("the child process failed");
    return ratio;
}

// Adds a benchmark that tells it in per cent, under the name job/way of a mesh, of what `save` has written.
template <typename Save, typename Load>
void AddPeak(Recipe const& recipe, std::string const& job, std::string const& way, Save save, Load load) {
    auto const run = [=](benchmark::State& state) {
        Case& c = UseCase(recipe);
        save(c);
        double ratio = 0.0;
        for ([[maybe_unused]] auto step : state)
            ratio = PeakOverLoaded([&] { return load(c); });
        state.counters["%ofloaded"] = 100.0 * ratio;
    };
    benchmark::RegisterBenchmark((recipe.name + "/" + job + "/" + way).c_str(), run)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
}

} // namespace Bench
