// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/MetricTable.h>

#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <host/terminal/Format.h>
#include <host/terminal/Table.h>
#include <host/terminal/Wrapped.h>

#include <cmath>
#include <ostream>
#include <utility>

namespace ketmesh {

using KetSDK::Mesh::QualityMetric;
using KetSDK::Mesh::QualityMetrics;

namespace {

char const* SenseName(QualityMetric const& metric) {
    switch (metric.sense) {
    case QualityMetric::Sense::Higher:
        return "higher";
    case QualityMetric::Sense::Lower:
        return "lower";
    case QualityMetric::Sense::None:
        break;
    }
    return "none";
}

char const* WorstName(QualityMetric const& metric) {
    switch (metric.worst) {
    case QualityMetric::Worst::Highest:
        return "highest";
    case QualityMetric::Worst::NegativeThenHighest:
        return "negative";
    case QualityMetric::Worst::Lowest:
        break;
    }
    return "lowest";
}

// What the table says of each metric in figures.
constexpr char const* Titles[] = {"metric", "unit",     "values", "best",      "better",
                                  "worst",  "mirrored", "flat",   "not finite"};

std::vector<std::string> Figures(QualityMetric const& metric) {
    auto const number = [](double value) { return FormatGeneral(value, std::abs(value) >= 1e6 ? 3 : 5); };
    return {std::string(metric.name), std::string(metric.unit), std::string(metric.values),
            number(metric.best),      SenseName(metric),        WorstName(metric),
            number(metric.inverted),  number(metric.flat),      number(metric.nonfinite)};
}

// How the columns are to be read, a sentence for each.
constexpr char const* Explanations[] = {
    "values: what elements of the right orientation can have",
    "best: the value of the regular tetrahedron, with edges of 1 mm where size matters. For metrics of "
    "hexahedra and wedges alone the cube takes its place, here and in what follows",
    "better: the values that MMeshQualityAnalysisOperator::IsBetterThan calls better",
    "worst: the values at the head of the list of the worst elements; \"negative\" means negative values "
    "first, then the highest",
    "mirrored, flat, not finite: the values of the regular tetrahedron with two corners exchanged, of four "
    "corners of a square, and of one with a coordinate that is no number. A value that good elements have "
    "too means that the metric does not see the fault",
};

// A text in which Markdown sees nothing but text.
std::string EscapeMarkdown(std::string_view text) {
    std::string escaped;
    for (char const c : text) {
        if (std::string_view("|*_<>\\`").find(c) != std::string_view::npos)
            escaped += '\\';
        escaped += c;
    }
    return escaped;
}

void PrintMarkdownRow(std::ostream& out, auto const& cells) {
    for (auto const& cell : cells)
        out << "| " << EscapeMarkdown(cell) << ' ';
    out << "|\n";
}

std::string MetricKindsText(QualityMetric const& metric) {
    std::string text;
    for (std::string const& name : KindNames(metric.kinds))
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

} // namespace

std::vector<std::string> KindNames(unsigned char kinds) {
    std::vector<std::string> names;
    for (auto const& [kind, name] :
         {std::pair(QualityMetric::Tetrahedra, "tet4"), std::pair(QualityMetric::Tetrahedra, "tet10"),
          std::pair(QualityMetric::Wedges, "wedge6"), std::pair(QualityMetric::Hexahedra, "hex8")})
        if ((kinds & kind) != 0)
            names.emplace_back(name);
    return names;
}

void PrintMetricList(std::ostream& out) {
    std::vector<Table::Column> columns;
    for (char const* const title : Titles)
        columns.push_back({title, Table::Align::Left});
    Table table(columns);
    for (QualityMetric const& metric : QualityMetrics())
        table.AddRow(Figures(metric));
    table.Print(out);
    out << '\n';
    for (char const* const explanation : Explanations)
        PrintWrapped(out, explanation, 0);
    for (QualityMetric const& metric : QualityMetrics()) {
        out << '\n' << metric.name << '\n';
        PrintWrapped(out, std::string(metric.definition), 2);
        PrintWrapped(out, "Of: " + MetricKindsText(metric), 2);
        PrintWrapped(out, "Source: " + std::string(metric.source), 2);
    }
}

void PrintMetricPage(std::ostream& out) {
    out << "# Quality metrics\n\n"
           "What `ketmesh quality --metric NAME` and `MMeshQualityAnalysisOperator` measure of each "
           "element. "
           "This page\nis the output of `ketmesh quality --list --markdown`.\n\n"
           "How to read the table:\n\n";
    for (char const* const explanation : Explanations)
        out << "- " << EscapeMarkdown(explanation) << ".\n";
    out << "\nLengths are in mm, angles in degrees. A metric without unit is a pure number.\n\n";
    PrintMarkdownRow(out, Titles);
    PrintMarkdownRow(out, std::vector<std::string>(std::size(Titles), "---"));
    for (QualityMetric const& metric : QualityMetrics())
        PrintMarkdownRow(out, Figures(metric));
    out << "\n## Definitions and sources\n\n";
    for (QualityMetric const& metric : QualityMetrics())
        out << "- **" << metric.name << "**: " << EscapeMarkdown(metric.definition) << ". Of "
            << MetricKindsText(metric) << ".\n  *" << EscapeMarkdown(metric.source) << "*\n";
}

Json MetricListJson() {
    // JSON has no other way to write these.
    auto const number = [](double value) {
        return std::isfinite(value) ? Json(value) : Json(FormatGeneral(value));
    };
    Json list = Json::object();
    for (QualityMetric const& metric : QualityMetrics())
        list[std::string(metric.name)] = {{"number", static_cast<int>(metric.type)},
                                          {"unit", metric.unit},
                                          {"definition", metric.definition},
                                          {"values", metric.values},
                                          {"best", number(metric.best)},
                                          {"better", SenseName(metric)},
                                          {"worst", WorstName(metric)},
                                          {"quadratic", metric.quadratic},
                                          {"kinds", KindNames(metric.kinds)},
                                          {"mirrored", number(metric.inverted)},
                                          {"flat", number(metric.flat)},
                                          {"nonfinite", number(metric.nonfinite)},
                                          {"source", metric.source}};
    return {{"metrics", list}};
}

} // namespace ketmesh
