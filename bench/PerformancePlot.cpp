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
                            {"GetVolume", "Volume"},
                            {"ScaledJacobian", "Quality (scaled Jacobian)"},
                            {"sample_centroid", "Sampling of an image"},
                            {"isosurface", "Isosurface"},
                            {"section", "Section"},
                            {"explode", "Exploded view"},
                            {"tet4_to_tet10", "Conversion to ten nodes"},
                            {"save_binary", "Saving to a file"},
                            {"load_binary", "Loading from a file"}};

constexpr char const* Cubes[] = {"cube_1e5", "cube_1e6", "cube_1e7", "cube_5e7"};

// One of the four curves: its style, whose figures it shows, and on how many cores.
struct Line {
    char const* name;
    char const* style;
    bool ours;
    char const* cores;
};
constexpr Line Lines[] = {{"KetSDK, one core", "k", true, "one"},
                          {"KetSDK, all cores", "k d", true, "all"},
                          {"VTK, one core", "v", false, "one"},
                          {"VTK, all cores", "v d", false, "all"}};

constexpr double Width = 240, Height = 170; // of a panel
constexpr double Left = 44, Right = 12, Top = 28, Bottom = 34;
constexpr std::size_t Columns = 3;
constexpr double Legend = 34;

struct Point {
    double elements;
    double nanoseconds;
};

// Of the fastest way on each cube.
std::vector<Point> PointsOf(Figures const& figures, Panel const& panel, Line const& line) {
    std::vector<Point> points;
    for (char const* const cube : Cubes) {
        Point fastest{0.0, RatioReporter::NotMeasured};
        for (auto const& [key, figure] : figures.All())
            if (key.mesh == cube && key.job == panel.job && (key.way == Ours) == line.ours &&
                key.cores == line.cores && figure.median < fastest.nanoseconds)
                fastest = {figure.elements, figure.median};
        if (fastest.elements > 0.0)
            points.push_back(fastest);
    }
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
        return Left + (std::log10(elements) - 4.9) / (7.8 - 4.9) * (Width - Left - Right);
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
        for (int decade = 5; decade <= 7; ++decade)
            out << "<text x='" << X(std::pow(10, decade)) << "' y='" << Height - Bottom + 14
                << "' class='x'>10<tspan dy='-4' font-size='7'>" << decade << "</tspan></text>\n";
    }

private:
    double m_low = 9;
    double m_high = -9;
};

void Draw(std::ostream& out, Figures const& figures, Panel const& panel) {
    std::vector<Point> all;
    for (Line const& line : Lines)
        std::ranges::copy(PointsOf(figures, panel, line), std::back_inserter(all));
    if (all.empty())
        return;
    Axes const axes(all);
    axes.Draw(out, panel.title);
    for (Line const& line : Lines) {
        std::ostringstream path;
        for (Point const& p : PointsOf(figures, panel, line)) {
            path << (path.str().empty() ? "M" : "L") << axes.X(p.elements) << " " << axes.Y(p.nanoseconds);
            out << "<circle cx='" << axes.X(p.elements) << "' cy='" << axes.Y(p.nanoseconds)
                << "' r='2' class='" << line.style << "'/>\n";
        }
        out << "<path d='" << path.str() << "' class='" << line.style << "'/>\n";
    }
}

constexpr char const* Style = R"(<style>
svg{fill:#1f2933} .b{fill:#fff} .g{stroke:#ddd;stroke-width:.7}
.t{font-size:11px;font-weight:bold} .y{text-anchor:end} .x{text-anchor:middle}
path.k,path.v{fill:none;stroke-width:1.5} path.d{stroke-dasharray:5 3}
circle.k{fill:#1f5fa8} path.k{stroke:#1f5fa8} circle.v{fill:#c1452e} path.v{stroke:#c1452e}
@media (prefers-color-scheme: dark){
svg{fill:#d5dbe1} .b{fill:#14181d} .g{stroke:#3a424b}
circle.k{fill:#6cb0f5} path.k{stroke:#6cb0f5} circle.v{fill:#f08a6c} path.v{stroke:#f08a6c}}
</style>
)";

void DrawLegend(std::ostream& out) {
    double x = Left;
    for (Line const& line : Lines) {
        out << "<path d='M" << x << " 14h22' class='" << line.style << "'/><text x='" << x + 27 << "' y='17'>"
            << line.name << "</text>\n";
        x += 130;
    }
    out << "<text x='" << x << "' y='17'>ns an element, " << NumberOfThreads() << " cores</text>\n";
}

} // namespace

void WritePerformancePlot(Figures const& figures, std::string const& path) {
    std::ofstream out(path);
    std::size_t const rows = (std::size(Panels) + Columns - 1) / Columns;
    out << "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 " << Columns * Width << " "
        << static_cast<double>(rows) * Height + Legend
        << "' font-family='sans-serif' font-size='9'>\n"
           "<title>Nanoseconds an element over the number of elements</title>\n"
        << Style << "<rect width='100%' height='100%' rx='8' class='b'/>\n";
    DrawLegend(out);
    for (std::size_t i = 0; i < std::size(Panels); ++i) {
        out << "<g transform='translate(" << static_cast<double>(i % Columns) * Width << " "
            << static_cast<double>(i / Columns) * Height + Legend << ")'>\n";
        Draw(out, figures, Panels[i]);
        out << "</g>\n";
    }
    out << "</svg>\n";
    if (!out.flush())
        throw std::runtime_error(path + " cannot be written");
}

} // namespace Bench
