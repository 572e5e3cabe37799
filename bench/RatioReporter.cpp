// SPDX-License-Identifier: BSD-3-Clause
#include "RatioReporter.h"

#include "Jobs.h"

#include <algorithm>
#include <iomanip>
#include <ostream>

namespace Bench {

RatioReporter::RatioReporter()
    : ConsoleReporter(OO_Tabular) {}

void RatioReporter::ReportRuns(std::vector<Run> const& runs) {
    ConsoleReporter::ReportRuns(runs);
    for (Run const& run : runs) {
        if (run.run_type != Run::RT_Iteration)
            continue;
        std::string const& name = run.run_name.function_name;
        if (auto const time = run.counters.find("s/element"); time != run.counters.end())
            Note(name, "ns", 1e9 * time->second.value);
        if (auto const memory = run.counters.find("bytes/element"); memory != run.counters.end())
            Note(name, "B", memory->second.value);
        if (auto const peak = run.counters.find("%ofloaded"); peak != run.counters.end())
            Note(name, "%", peak->second.value);
    }
}

void RatioReporter::Finalize() {
    std::string mesh;
    for (Job const& job : m_jobs) {
        if (job.mesh != mesh)
            PrintTableHeader(mesh = job.mesh);
        for (auto const& [way, value] : job.vtk)
            PrintRow(job, way, value);
        if (job.vtk.empty())
            PrintRow(job, "", NotMeasured);
    }
    GetOutputStream().flush();
}

// The name is mesh/job/way.
void RatioReporter::Note(std::string const& benchmark, std::string const& unit, double value) {
    std::size_t const first = benchmark.find('/');
    std::size_t const second = benchmark.find('/', first + 1);
    std::string const way = benchmark.substr(second + 1);
    Job& job = FindJob(benchmark.substr(0, first), benchmark.substr(first + 1, second - first - 1), unit);
    if (way == Ours || way == OursParallel) {
        double& best = way == Ours ? job.ours : job.parallel;
        best = std::min(best, value);
        return;
    }
    auto known = std::find_if(job.vtk.begin(), job.vtk.end(), [&](auto const& w) { return w.first == way; });
    if (known == job.vtk.end())
        job.vtk.emplace_back(way, value);
    else
        known->second = std::min(known->second, value);
}

RatioReporter::Job& RatioReporter::FindJob(std::string const& mesh, std::string const& name,
                                           std::string const& unit) {
    auto const is_it = [&](Job const& job) { return job.mesh == mesh && job.name == name; };
    auto const found = std::find_if(m_jobs.begin(), m_jobs.end(), is_it);
    if (found != m_jobs.end())
        return *found;
    Job job;
    job.mesh = mesh;
    job.name = name;
    job.unit = unit;
    return m_jobs.emplace_back(std::move(job));
}

void RatioReporter::PrintTableHeader(std::string const& mesh) {
    GetOutputStream() << "\n"
                      << std::left << std::setw(32) << mesh + ", per element" << std::right << std::setw(12)
                      << "ours" << std::setw(12) << "VTK" << std::setw(9) << "ratio" << std::setw(12)
                      << std::to_string(NumberOfThreads()) + " threads" << std::setw(9) << "ratio"
                      << "  VTK's way\n";
}

void RatioReporter::PrintRow(Job const& job, std::string const& way, double vtk) {
    GetOutputStream() << std::left << std::setw(32) << job.name << std::right;
    PrintFigure(job.ours, job.unit);
    PrintFigure(vtk, job.unit);
    PrintRatio(vtk, job.ours);
    PrintFigure(job.parallel, job.unit);
    PrintRatio(job.ours, job.parallel);
    GetOutputStream() << way << "\n";
}

void RatioReporter::PrintRatio(double slow, double fast) {
    bool const both = slow != NotMeasured && fast != NotMeasured;
    PrintFigure(both ? slow / fast : NotMeasured, "");
}

void RatioReporter::PrintFigure(double value, std::string const& unit) {
    std::ostream& out = GetOutputStream();
    if (value == NotMeasured)
        out << std::setw(9) << "-"
            << "   ";
    else
        out << std::fixed << std::setprecision(1) << std::setw(9) << value << " " << std::left << std::setw(2)
            << unit << std::right;
}

} // namespace Bench
