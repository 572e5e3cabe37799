// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/QualityPlot.h>

#include <KetSDK/MeshJobs/Metrics.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/ForFile.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace KetSDK::MeshJobs {

namespace {

// Sizes in pixels. A panel's plot lies between the margins.
constexpr double PlotWidth = 760.0;
constexpr double HeaderHeight = 34.0;
constexpr double PanelHeight = 264.0;
constexpr double Left = 84.0;
constexpr double Right = PlotWidth - 28.0;
constexpr double Top = 56.0;
constexpr double Bottom = PanelHeight - 48.0;

constexpr char const* Style = "text{font-family:sans-serif;font-size:12px;fill:#333}"
                              ".title{font-size:15px;font-weight:bold}"
                              ".mesh{font-size:13px;fill:#666}"
                              ".number{font-size:11px;fill:#555}"
                              ".grid{stroke:#e4e4e4}.axis{stroke:#888}"
                              ".bars{fill:#4c78a8}"
                              ".limit{stroke:#c8382e;stroke-width:1.5;stroke-dasharray:5 4}"
                              ".limittext{fill:#c8382e}";

std::string Escape(std::string const& utf8) {
    std::wstring text = MeshVTK::FromUtf8(utf8);
    for (wchar_t& c : text) // what XML knows no way to write
        if (c < L' ' || c == 0xFFFE || c == 0xFFFF)
            c = 0xFFFD;
    std::string escaped;
    for (char const c : MeshVTK::ToUtf8(text))
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        default:
            escaped += c;
        }
    return escaped;
}

// A coordinate in the picture.
std::string Pixel(double value) {
    return FormatGeneral(std::round(value * 100.0) / 100.0, 8);
}

// Places of the labels of an axis: multiples of 1, 2 or 5 times a power of ten.
struct Ticks {
    double step;
    std::vector<double> values;

    std::string Label(std::size_t i) const {
        double const value = values[i];
        double const largest = std::max(std::fabs(values.front()), std::fabs(values.back()));
        if (largest >= 1e7 || step < 1e-4)
            return FormatGeneral(value);
        int const decimals = std::max(0, -static_cast<int>(std::floor(std::log10(step) + 1e-9)));
        char text[40];
        std::snprintf(text, sizeof text, "%.*f", decimals, value + 0.0);
        return text;
    }
};

Ticks MakeTicks(double low, double high, double about, double smallest_step = 0.0) {
    double const raw = std::max((high - low) / about, smallest_step);
    double const power = std::pow(10.0, std::floor(std::log10(raw)));
    double const part = raw / power;
    Ticks ticks;
    ticks.step = (part <= 1.0 ? 1.0 : part <= 2.0 ? 2.0 : part <= 5.0 ? 5.0 : 10.0) * power;
    double const tolerance = 1e-6 * ticks.step;
    for (double k = std::ceil((low - tolerance) / ticks.step); k * ticks.step <= high + tolerance; ++k)
        ticks.values.push_back(k * ticks.step);
    return ticks;
}

// One panel: the histogram of one report, with the places of its axes.
class Panel {
public:
    Panel(std::ostream& out, MetricReport const& report, Mesh::QualityThreshold const& threshold,
          bool shows_threshold)
        : m_out(out)
        , m_report(report)
        , m_threshold(threshold)
        , m_shows_threshold(shows_threshold)
        , m_largest(report.bins.counts.empty() ? 0 : *std::ranges::max_element(report.bins.counts)) {}

    void Draw() {
        Text(Left, 22.0, "title", "start", TitleOf(*m_report.metric));
        Text(Left, 40.0, "number", "start", Subtitle());
        if (m_report.bins.min < m_report.bins.max)
            DrawPlot();
        else
            Text((Left + Right) / 2.0, (Top + Bottom) / 2.0, "", "middle",
                 m_report.statistics.HasFinite()
                     ? "all finite values are " + FormatGeneral(m_report.statistics.min)
                     : "no value is finite");
    }

private:
    std::string Subtitle() const {
        Mesh::QualityStatistics const& statistics = m_report.statistics;
        std::string text = std::to_string(m_report.elements) + " elements, min " +
                           FormatNumber(statistics.min) + ", mean " + FormatNumber(statistics.mean) +
                           ", max " + FormatNumber(statistics.max) + ", " + std::to_string(m_report.bad) +
                           " " + DescribeBad(*m_report.metric, m_threshold);
        if (statistics.nonfinite > 0)
            text += ", " + std::to_string(statistics.nonfinite) + " not finite";
        if (std::uint64_t const outside = m_report.CountOutside(); outside > 0)
            text += ", " + std::to_string(outside) + " outside the bins";
        return text;
    }

    double X(double value) const {
        return Left + (value - m_report.bins.min) / (m_report.bins.max - m_report.bins.min) * (Right - Left);
    }
    double Y(double count) const { return Bottom - count / m_top * (Bottom - Top); }

    void DrawPlot() {
        Ticks const counts = MakeTicks(0.0, std::max(m_largest, 1), 5.0, 1.0);
        m_top = std::max(counts.values.back(), static_cast<double>(m_largest));
        for (std::size_t i = 0; i < counts.values.size(); ++i) {
            double const y = Y(counts.values[i]);
            Line(Left, y, Right, y, "grid");
            Text(Left - 8.0, y + 4.0, "number", "end", counts.Label(i));
        }
        DrawBars();
        Line(Left, Bottom, Right, Bottom, "axis");
        Ticks const values = MakeTicks(m_report.bins.min, m_report.bins.max, 10.0);
        for (std::size_t i = 0; i < values.values.size(); ++i) {
            double const x = X(values.values[i]);
            Line(x, Bottom, x, Bottom + 5.0, "axis");
            Text(x, Bottom + 18.0, "number", "middle", values.Label(i));
        }
        Text((Left + Right) / 2.0, Bottom + 36.0, "", "middle", TitleOf(*m_report.metric));
        m_out << "<text transform=\"translate(18 " << Pixel((Top + Bottom) / 2.0)
              << ") rotate(-90)\" text-anchor=\"middle\">elements</text>\n";
        DrawThreshold();
    }

    void DrawBars() const {
        Mesh::QualityBins const& bins = m_report.bins;
        double const width = (Right - Left) / static_cast<double>(bins.counts.size());
        double const gap = width > 5.0 ? 1.0 : 0.0;
        m_out << "<path class=\"bars\" d=\"";
        for (std::size_t i = 0; i < bins.counts.size(); ++i)
            if (bins.counts[i] > 0)
                m_out << 'M' << Pixel(Left + width * static_cast<double>(i) + gap / 2.0) << ' '
                      << Pixel(Bottom) << 'V' << Pixel(std::min(Y(bins.counts[i]), Bottom - 1.0)) << 'h'
                      << Pixel(width - gap) << 'V' << Pixel(Bottom) << 'z';
        m_out << "\"/>\n";
    }

    void DrawThreshold() const {
        double const value = m_threshold.value;
        bool const has_threshold = m_report.metric->type != MMeshQualityAnalysisOperator::Folded;
        if (!m_shows_threshold || !has_threshold || value < m_report.bins.min || value > m_report.bins.max)
            return;
        double const x = X(value);
        bool const on_the_left = x > (Left + Right) / 2.0;
        Line(x, Top - 12.0, x, Bottom, "limit");
        Text(x + (on_the_left ? -6.0 : 6.0), Top - 3.0, "number limittext", on_the_left ? "end" : "start",
             "bad: " + DescribeThreshold(m_threshold));
    }

    void Line(double x1, double y1, double x2, double y2, char const* style) const {
        m_out << "<line class=\"" << style << "\" x1=\"" << Pixel(x1) << "\" y1=\"" << Pixel(y1) << "\" x2=\""
              << Pixel(x2) << "\" y2=\"" << Pixel(y2) << "\"/>\n";
    }
    void Text(double x, double y, char const* style, char const* anchor, std::string const& text) const {
        m_out << "<text class=\"" << style << "\" x=\"" << Pixel(x) << "\" y=\"" << Pixel(y)
              << "\" text-anchor=\"" << anchor << "\">" << Escape(text) << "</text>\n";
    }

    std::ostream& m_out;
    MetricReport const& m_report;
    Mesh::QualityThreshold m_threshold;
    bool m_shows_threshold;
    int m_largest;
    double m_top = 1.0; // count at the upper edge
};

void Draw(std::ostream& out, QualityResult const& quality, QualityPlotOptions const& options) {
    double const height = HeaderHeight + PanelHeight * static_cast<double>(quality.metrics.size());
    std::string const name = Escape(quality.file);
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << PlotWidth << "\" height=\"" << height
        << "\" viewBox=\"0 0 " << PlotWidth << ' ' << height << "\">\n<title>Quality of " << name
        << "</title>\n<style>" << Style << "</style>\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n"
        << "<text class=\"mesh\" x=\"" << Left << "\" y=\"24\">" << name << "</text>\n";
    for (std::size_t i = 0; i < quality.metrics.size(); ++i) {
        out << "<g transform=\"translate(0 " << HeaderHeight + PanelHeight * static_cast<double>(i)
            << ")\">\n";
        Panel(out, quality.metrics[i], quality.bad, options.show_threshold).Draw();
        out << "</g>\n";
    }
    out << "</svg>\n";
}

} // namespace

MeshVTK::OutputFile OpenQualityPlot(std::string const& path) {
    return Detail::ForFile(path, [&path] {
        if (MeshVTK::LowerCaseEnding(path) != ".svg")
            throw MeshVTK::Error("histograms are drawn into .svg files only");
        return MeshVTK::OutputFile(path);
    });
}

void WriteQualityPlot(QualityResult const& quality, MeshVTK::OutputFile& file,
                      QualityPlotOptions const& options, Context const& context) {
    Detail::WritingFile(file.GetPath().string(), context, [&] {
        std::ostringstream out;
        Draw(out, quality, options);
        file.Write(out.str());
        file.Commit();
    });
}

void WriteQualityPlot(QualityResult const& quality, std::string const& path,
                      QualityPlotOptions const& options) {
    MeshVTK::OutputFile file = OpenQualityPlot(path);
    WriteQualityPlot(quality, file, options);
}

} // namespace KetSDK::MeshJobs
