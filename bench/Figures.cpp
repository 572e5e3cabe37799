// SPDX-License-Identifier: BSD-3-Clause
#include "Figures.h"

#include "Jobs.h"

#include <cmath>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace Bench {
namespace {

constexpr char const* Titles = "mesh\tjob\tway\tcores\telements\tunit\tmedian\tspread";
constexpr char const* Cubes[] = {"cube_1e5", "cube_1e6", "cube_1e7", "cube_5e7"};
constexpr std::size_t Million = 1, Largest = 3; // of these

} // namespace

void Figures::Read(std::string const& path) {
    std::ifstream in(path);
    std::string line;
    if (!in || !std::getline(in, line))
        return;
    if (line != Titles)
        throw std::runtime_error(path + " does not hold figures of this program");
    while (std::getline(in, line)) {
        std::istringstream columns(line);
        Key key;
        std::string elements, unit, median, spread;
        for (std::string* column :
             {&key.mesh, &key.job, &key.way, &key.cores, &elements, &unit, &median, &spread})
            std::getline(columns, *column, '\t');
        if (!columns)
            throw std::runtime_error(path + ": columns are missing: " + line);
        m_figures[key] = {std::stod(elements), unit, std::stod(median),
                          spread == "-" ? RatioReporter::NotMeasured : std::stod(spread)};
    }
}

void Figures::Take(std::vector<RatioReporter::Job> const& jobs) {
    for (RatioReporter::Job const& job : jobs) {
        auto const take = [&](RatioReporter::Way const& way, std::string const& name) {
            auto const put = [&](std::vector<double> const& measured, char const* cores) {
                if (double const median = RatioReporter::Median(measured); std::isfinite(median))
                    m_figures[{job.mesh, job.name, name, cores}] = {job.elements, job.unit, median,
                                                                    RatioReporter::Spread(measured)};
            };
            put(way.on_one_core, "one");
            put(way.on_all_cores, "all");
        };
        take(job.ours, Ours);
        for (RatioReporter::Way const& way : job.vtk)
            take(way, way.name);
    }
}

void Figures::Write(std::string const& path) const {
    std::ofstream out(path);
    out << Titles << "\n";
    for (auto const& [key, figure] : m_figures) {
        out << key.mesh << '\t' << key.job << '\t' << key.way << '\t' << key.cores << '\t'
            << std::llround(figure.elements) << '\t' << figure.unit << '\t' << std::setprecision(4)
            << figure.median << '\t';
        if (std::isfinite(figure.spread))
            out << std::setprecision(2) << figure.spread << "\n";
        else
            out << "-\n";
    }
    if (!out.flush())
        throw std::runtime_error(path + " cannot be written");
}

void Figures::PrintGrowth(std::ostream& out) const {
    out << "\n" << std::left << std::setw(36) << "ours, per element" << std::right;
    for (char const* const cube : Cubes)
        out << std::setw(14) << cube;
    out << std::setw(14) << "5e7 / 1e6"
        << "\n"
        << std::fixed << std::setprecision(1);
    for (auto const& [first, figure] : m_figures) {
        if (first.mesh != Cubes[Million] || first.way != Ours)
            continue;
        out << std::left << std::setw(36)
            << first.job + (first.cores == "all" ? OnAllCores : "") + ", " + figure.unit << std::right;
        double of_cube[std::size(Cubes)];
        for (std::size_t i = 0; i < std::size(Cubes); ++i) {
            auto const found = m_figures.find({Cubes[i], first.job, Ours, first.cores});
            of_cube[i] = found == m_figures.end() ? NAN : found->second.median;
            if (std::isnan(of_cube[i]))
                out << std::setw(14) << "-";
            else
                out << std::setw(14) << of_cube[i];
        }
        if (!std::isnan(of_cube[Largest]))
            out << std::setprecision(2) << std::setw(14) << of_cube[Largest] / of_cube[Million]
                << std::setprecision(1);
        out << "\n";
    }
}

} // namespace Bench
