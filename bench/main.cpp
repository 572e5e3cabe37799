// SPDX-License-Identifier: BSD-3-Clause
// Times the library's jobs beside VTK's on the same meshes, on one core and on all, and prints the ratios.
#include "Figures.h"
#include "Jobs.h"
#include "KeptMemory.h"
#include "PerformancePlot.h"
#include "RatioReporter.h"

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

// Takes every option of that name, as in "--mesh=", out of the arguments; returns what stands behind.
std::vector<std::string> Take(std::string const& option, int& argc, char** argv) {
    std::vector<std::string> values;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::string_view(argv[i]).starts_with(option))
            values.emplace_back(argv[i] + option.size());
        else
            argv[kept++] = argv[i];
    }
    argc = kept;
    return values;
}

std::string NameOfFile(std::string const& path) {
    std::string const name = path.substr(path.find_last_of('/') + 1);
    return name.substr(0, name.find_last_of('.'));
}

std::vector<Bench::Recipe> Recipes(std::vector<std::string> const& files, bool large) {
    if (large) // minutes, and gigabytes, each
        return {{.name = "cube_1e7", .cube = 119, .large = true},
                {.name = "cube_5e7", .cube = 203, .large = true}};
    if (!files.empty()) {
        std::vector<Bench::Recipe> recipes;
        for (std::string const& file : files) {
            recipes.push_back({.name = NameOfFile(file), .file = file});
            recipes.push_back({.name = NameOfFile(file) + "_x8", .file = file, .refinements = 1});
        }
        return recipes;
    }
    std::string const head = KETSDK_DATA_DIR "/head_small_tet4.vtu";
    return {
        {.name = "cube_1e4", .cube = 12},
        {.name = "cube_1e5", .cube = 26},
        {.name = "cube_1e6", .cube = 55},
        {.name = "cube_1e6_shuffled", .cube = 55, .shuffled = true},
        {.name = "curved_1e5", .cube = 26, .curved = true},
        {.name = "hexahedra_1e5", .cube = 47, .hexahedra = true},
        {.name = "head_small", .file = head},
        {.name = "head_small_x8", .file = head, .refinements = 1},
        {.name = "head_small_x64", .file = head, .refinements = 2},
    };
}

void AddJobs(std::vector<Bench::Recipe> const& recipes) {
    for (Bench::Recipe const& recipe : recipes) {
        Bench::AddQualityJobs(recipe);
        Bench::AddBuildJobs(recipe);
        Bench::AddPersistenceJobs(recipe);
        if (recipe.hexahedra)
            continue; // what knows of faces takes the tetrahedra that they are cut into
        Bench::AddSurfaceJobs(recipe);
        Bench::AddLabelJobs(recipe);
        Bench::AddRepairJobs(recipe);
        Bench::AddConversionJobs(recipe);
        if (recipe.curved)
            continue;
        Bench::AddNeighborJobs(recipe);
        Bench::AddIsosurfaceJobs(recipe);
        Bench::AddSubVolumeJobs(recipe);
        Bench::AddMaterialJobs(recipe);
        Bench::AddSolverJobs(recipe);
    }
}

} // namespace

int main(int argc, char** argv) try {
    std::vector<std::string> const files = Take("--mesh=", argc, argv);
    std::vector<std::string> const rounds = Take("--rounds=", argc, argv);
    bool const large = !Take("--large", argc, argv).empty();
    bool const frugal = !Take("--frugal", argc, argv).empty();
    std::vector<std::string> const plots = Take("--plot=", argc, argv);
    std::vector<std::string> const kept = Take("--figures=", argc, argv);
    // Before the caller's own arguments, which win.
    std::string short_runs = "--benchmark_min_time=0.02";
    std::vector<char*> arguments(argv, argv + argc);
    arguments.insert(arguments.begin() + 1, short_runs.data());
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 1;

    std::vector<Bench::Recipe> recipes = Recipes(files, large);
    for (Bench::Recipe& recipe : recipes)
        recipe.frugal |= frugal;
    if (!frugal)
        Bench::KeepFreedMemory();
    AddJobs(recipes);
    if (files.empty() && !large) {
        Bench::AddSolverJobs({.name = "cube_6e6", .cube = 99}); // of a million nodes
        Bench::AddHistogramJobs();
    }
    Bench::RegisterRounds(rounds.empty() ? 5 : static_cast<unsigned int>(std::stoul(rounds.back())));
    Bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    Bench::Figures figures;
    for (std::string const& file : kept)
        figures.Read(file);
    figures.Take(reporter.GetJobs());
    for (std::string const& file : kept) {
        figures.Write(file);
        figures.PrintGrowth(std::cout);
    }
    for (std::string const& plot : plots)
        Bench::WritePerformancePlot(figures, plot);
    if (Bench::AnyAnswerDiffers()) {
        std::fprintf(stderr, "ketsdk_bench: some answers differ; see above\n");
        return 1;
    }
    return 0;
} catch (std::exception const& error) {
    std::fprintf(stderr, "ketsdk_bench: %s\n", error.what());
    return 1;
}
