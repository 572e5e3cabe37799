// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace Bench {

// Prints what Google Benchmark's console reporter prints, and at the end, mesh by mesh, how our way of
// each job compares with VTK's in this run, on one core and on all. Of the rounds the median counts, and the
// first does not.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    RatioReporter();
    void ReportRuns(std::vector<Run> const& runs) override;
    void Finalize() override;

    // Figures of one way, per element.
    struct Way {
        std::string name;
        std::vector<double> on_one_core;
        std::vector<double> on_all_cores;
    };
    struct Job {
        std::string mesh;
        std::string name;
        std::string unit;
        double elements = 0.0; // of the mesh
        Way ours;
        std::vector<Way> vtk;
    };
    std::vector<Job> const& GetJobs() const noexcept { return m_jobs; }

    static constexpr double NotMeasured = std::numeric_limits<double>::infinity();
    // Of all but the first; NotMeasured when there is none.
    static double Median(std::vector<double> figures);
    // By how much of the median the middle half of them differs.
    static double Spread(std::vector<double> figures);

private:
    void Note(std::string const& benchmark, std::string const& unit, double value, double elements);
    Job& FindJob(std::string const& mesh, std::string const& name, std::string const& unit);
    void PrintTableHeader(std::string const& mesh);
    void PrintRow(Job const& job, Way const& vtk);
    void PrintRatio(double slow, double fast);
    void PrintFigure(double value, std::string const& unit);

    std::vector<Job> m_jobs;
};

} // namespace Bench
