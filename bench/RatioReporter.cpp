// SPDX-License-Identifier: BSD-3-Clause
#include "RatioReporter.h"

#include "Jobs.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <ostream>
#include <string_view>

namespace Bench {

RatioReporter::RatioReporter()
    : ConsoleReporter(OO_Tabular) {}

void RatioReporter::ReportRuns(std::vector<Run> const& runs) {
    ConsoleReporter::ReportRuns(runs);
    for (Run const& run : runs) {
        if (run.run_type != Run::RT_Iteration)
            continue;
        std::string const& name = run.run_name.function_name;
        auto const counter = [&run](char const* of) {
            auto const found = run.counters.find(of);
            return found == run.counters.end() ? NotMeasured : found->second.value;
        };
        double const elements = counter("elements");
        if (double const time = counter("s/element"); time != NotMeasured)
            Note(name, "ns", 1e9 * time, elements);
        if (double const memory = counter("bytes/element"); memory != NotMeasured)
            Note(name, "B", memory, elements);
        if (double const peak = counter("%ofloaded"); peak != NotMeasured)
            Note(name, "%", peak, elements);
    }
}

void RatioReporter::Finalize() {
    std::string mesh;
    for (Job const& job : m_jobs) {
        if (job.mesh != mesh)
            PrintTableHeader(mesh = job.mesh);
        for (Way const& way : job.vtk)
            PrintRow(job, way);
        if (job.vtk.empty())
            PrintRow(job, {});
    }
    GetOutputStream().flush();
}

// The name is mesh/job/way.
void RatioReporter::Note(std::string const& benchmark, std::string const& unit, double value,
                         double elements) {
    std::size_t const first = benchmark.find('/');
    std::size_t const second = benchmark.find('/', first + 1);
    std::string name = benchmark.substr(second + 1);
    Job& job = FindJob(benchmark.substr(0, first), benchmark.substr(first + 1, second - first - 1), unit);
    job.elements = elements;
    bool const on_all = name.ends_with(OnAllCores);
    if (on_all)
        name.resize(name.size() - std::string_view(OnAllCores).size());
    Way* way = &job.ours;
    if (name != Ours) {
        auto found = std::ranges::find(job.vtk, name, &Way::name);
        if (found == job.vtk.end())
            found = job.vtk.insert(found, {name, {}, {}});
        way = &*found;
    }
    (on_all ? way->on_all_cores : way->on_one_core).push_back(value);
}

double RatioReporter::Median(std::vector<double> figures) {
    if (figures.size() > 1)
        figures.erase(figures.begin()); // warmed up
    if (figures.empty())
        return NotMeasured;
    std::ranges::sort(figures);
    return figures[figures.size() / 2];
}

double RatioReporter::Spread(std::vector<double> figures) {
    double const median = Median(figures);
    if (figures.size() < 3)
        return NotMeasured;
    figures.erase(figures.begin());
    std::ranges::sort(figures);
    return (figures[figures.size() * 3 / 4] - figures[figures.size() / 4]) / median;
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
    std::string const all = std::to_string(NumberOfThreads()) + " cores";
    std::ostream& out = GetOutputStream();
    out << "\n" << std::left << std::setw(32) << mesh + ", per element" << std::right;
    for (std::string const& title :
         {std::string("ours"), std::string("VTK"), std::string("ratio"), "ours, " + all, std::string("gain"),
          "VTK, " + all, std::string("ratio"), std::string("spread")})
        out << std::setw(title == "ours" || title == "VTK" ? 12 : title.size() > 6 ? 15 : 9) << title;
    out << "  VTK's way\n";
}

void RatioReporter::PrintRow(Job const& job, Way const& vtk) {
    double const ours = Median(job.ours.on_one_core), ours_on_all = Median(job.ours.on_all_cores);
    double const others = Median(vtk.on_one_core), others_on_all = Median(vtk.on_all_cores);
    GetOutputStream() << std::left << std::setw(32) << job.name << std::right;
    PrintFigure(ours, job.unit);
    PrintFigure(others, job.unit);
    PrintRatio(others, ours);
    GetOutputStream() << "   ";
    PrintFigure(ours_on_all, job.unit);
    PrintRatio(ours, ours_on_all);
    GetOutputStream() << "   ";
    PrintFigure(others_on_all, job.unit);
    PrintRatio(others_on_all, ours_on_all);
    PrintFigure(100 * Spread(job.ours.on_one_core), "%");
    GetOutputStream() << vtk.name << "\n";
}

void RatioReporter::PrintRatio(double slow, double fast) {
    bool const both = slow != NotMeasured && fast != NotMeasured;
    PrintFigure(both ? slow / fast : NotMeasured, "");
}

void RatioReporter::PrintFigure(double value, std::string const& unit) {
    std::ostream& out = GetOutputStream();
    if (!std::isfinite(value))
        out << std::setw(9) << "-"
            << "   ";
    else
        out << std::fixed << std::setprecision(1) << std::setw(9) << value << " " << std::left << std::setw(2)
            << unit << std::right;
}

} // namespace Bench
