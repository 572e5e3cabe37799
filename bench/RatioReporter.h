// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace Bench {

// Prints what Google Benchmark's console reporter prints, and at the end, mesh by mesh, how our way of
// each job compares with VTK's in this run, and with our own on all cores. Of repetitions the best counts.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    RatioReporter();
    void ReportRuns(std::vector<Run> const& runs) override;
    void Finalize() override;

private:
    static constexpr double NotMeasured = std::numeric_limits<double>::infinity();

    // Figures are per element.
    struct Job {
        std::string mesh;
        std::string name;
        std::string unit;
        double ours = NotMeasured;
        double parallel = NotMeasured;
        std::vector<std::pair<std::string, double>> vtk; // by the name of VTK's way
    };

    void Note(std::string const& benchmark, std::string const& unit, double value);
    Job& FindJob(std::string const& mesh, std::string const& name, std::string const& unit);
    void PrintTableHeader(std::string const& mesh);
    void PrintRow(Job const& job, std::string const& way, double vtk);
    void PrintRatio(double slow, double fast);
    void PrintFigure(double value, std::string const& unit);

    std::vector<Job> m_jobs;
};

} // namespace Bench
