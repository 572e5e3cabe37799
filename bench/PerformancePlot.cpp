// SPDX-License-Identifier: BSD-3-Clause
#include "PerformancePlot.h"

#include "Jobs.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace Bench {
namespace {

struct Panel {
    char const* job;
    char const* title;
};
constexpr Panel Panels[] = {{"build_arrays", "Mesh from arrays"},
                            {"neighbors_enable", "Neighbours"},
                            {"surface_exterior", "Surface"},
                            {"ScaledJacobian", "Quality (scaled Jacobian)"},
                            {"isosurface", "Isosurface"},
                            {"section", "Section"},
                            {"explode", "Exploded view"},
                            {"tet4_to_tet10", "Conversion to ten nodes"},
                            {"sample_centroid", "Sampling of an image"}};

struct Size {
    char const* mesh;
    double elements;
};
constexpr Size Sizes[] = {
    {"cube_1e4", 10368}, {"cube_1e5", 105456}, {"cube_1e6", 998250}, {"cube_1e7", 10077696}};

using Job = RatioReporter::Job;

struct Line {
    char const* name;
    char const* color;
    char const* dash;
    double (*figure)(Job const& job);
};

template <auto Figures>
double Fastest(Job const& job) {
    double fastest = RatioReporter::NotMeasured;
    for (auto const& way : job.vtk)
        fastest = std::min(fastest, RatioReporter::Median(way.*Figures));
    return fastest;
}

using Way = decltype(Job::ours);
constexpr Line Lines[] = {{"KetSDK, one core", "#1f5fa8", "",
                           [](Job const& job) { return RatioReporter::Median(job.ours.on_one_core); }},
                          {"KetSDK, all cores", "#1f5fa8", "5 3",
                           [](Job const& job) { return RatioReporter::Median(job.ours.on_all_cores); }},
                          {"VTK, one core", "#c1452e", "", Fastest<&Way::on_one_core>},
                          {"VTK, all cores", "#c1452e", "5 3", Fastest<&Way::on_all_cores>}};

constexpr double Width = 240, Height = 170; // of a panel
constexpr double Left = 44, Right = 12, Top = 28, Bottom = 34;
constexpr std::size_t Columns = 3;
constexpr double Legend = 34;

struct Point {
    double elements;
    double nanoseconds;
};

std::vector<Point> PointsOf(std::vector<Job> const& jobs, Panel const& panel, Line const& line) {
    std::vector<Point> points;
    for (Size const& size : Sizes)
        for (Job const& job : jobs)
            if (job.mesh == size.mesh && job.name == panel.job)
                if (double const figure = line.figure(job); std::isfinite(figure))
                    points.push_back({size.elements, figure});
    return points;
}

// Logarithmic axes with whole decades.
class Axes {
public:
    explicit Axes(std::vector<Point> const& points) {
        for (Point const& p : points) {
            m_low = std::min(m_low, std::floor(std::log10(p.nanoseconds)));
            m_high = std::max(m_high, std::ceil(std::log10(p.nanoseconds)));
        }
    }
    static double X(double elements) {
        return Left + (std::log10(elements) - 3.7) / (7.3 - 3.7) * (Width - Left - Right);
    }
    double Y(double nanoseconds) const {
        return Height - Bottom -
               (std::log10(nanoseconds) - m_low) / (m_high - m_low) * (Height - Top - Bottom);
    }
    void Draw(std::ostream& out, char const* title) const {
        out << "<text x='" << Left << "' y='16' class='t'>" << title << "</text>\n";
        for (double decade = m_low; decade <= m_high; ++decade)
            out << "<path d='M" << Left << " " << Y(std::pow(10, decade)) << "H" << Width - Right
                << "' class='g'/><text x='" << Left - 5 << "' y='" << Y(std::pow(10, decade)) + 3
                << "' class='y'>" << std::pow(10, decade) << "</text>\n";
        for (int decade = 4; decade <= 7; ++decade)
            out << "<text x='" << X(std::pow(10, decade)) << "' y='" << Height - Bottom + 14
                << "' class='x'>10<tspan dy='-4' font-size='7'>" << decade << "</tspan></text>\n";
    }

private:
    double m_low = 9;
    double m_high = -9;
};

void Draw(std::ostream& out, std::vector<Job> const& jobs, Panel const& panel) {
    std::vector<Point> all;
    for (Line const& line : Lines)
        std::ranges::copy(PointsOf(jobs, panel, line), std::back_inserter(all));
    if (all.empty())
        return;
    Axes const axes(all);
    axes.Draw(out, panel.title);
    for (Line const& line : Lines) {
        std::ostringstream path;
        for (Point const& p : PointsOf(jobs, panel, line)) {
            path << (path.str().empty() ? "M" : "L") << axes.X(p.elements) << " " << axes.Y(p.nanoseconds);
            out << "<circle cx='" << axes.X(p.elements) << "' cy='" << axes.Y(p.nanoseconds)
                << "' r='2' fill='" << line.color << "'/>\n";
        }
        out << "<path d='" << path.str() << "' fill='none' stroke='" << line.color
            << "' stroke-width='1.5' stroke-dasharray='" << line.dash << "'/>\n";
    }
}

} // namespace

void WritePerformancePlot(std::vector<Job> const& jobs, std::string const& path) {
    std::ofstream out(path);
    std::size_t const rows = (std::size(Panels) + Columns - 1) / Columns;
    out << "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 " << Columns * Width << " "
        << static_cast<double>(rows) * Height + Legend
        << "' font-family='sans-serif' font-size='9'>\n"
           "<title>Nanoseconds an element over the number of elements</title>\n"
           "<style>.t{font-size:11px;font-weight:bold}.g{stroke:#ddd;stroke-width:.7}"
           ".y{text-anchor:end}.x{text-anchor:middle}</style>\n"
           "<rect width='100%' height='100%' fill='white'/>\n";
    double x = Left;
    for (Line const& line : Lines) {
        out << "<path d='M" << x << " 14h22' stroke='" << line.color
            << "' stroke-width='1.5' stroke-dasharray='" << line.dash << "'/><text x='" << x + 27
            << "' y='17'>" << line.name << "</text>\n";
        x += 130;
    }
    out << "<text x='" << x << "' y='17'>ns an element, " << NumberOfThreads() << " cores</text>\n";
    for (std::size_t i = 0; i < std::size(Panels); ++i) {
        out << "<g transform='translate(" << static_cast<double>(i % Columns) * Width << " "
            << static_cast<double>(i / Columns) * Height + Legend << ")'>\n";
        Draw(out, jobs, Panels[i]);
        out << "</g>\n";
    }
    out << "</svg>\n";
    if (!out.flush())
        throw std::runtime_error(path + " cannot be written");
}

} // namespace Bench
