#include <host/QualityReport.h>

#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/MeshVTK/Text.h>
#include <host/terminal/Format.h>
#include <host/terminal/HistogramText.h>
#include <host/terminal/Table.h>

#include <numeric>
#include <ostream>

namespace ketmesh {

namespace {

bool IsLower(double a, double b) {
    return a < b;
}
bool IsHigher(double a, double b) {
    return a > b;
}
bool IsNegativeOrHigher(double a, double b) {
    return a < 0.0 || b < 0.0 ? a < b : a > b;
}

struct Order {
    bool (*precedes)(double a, double b);
    char const* name;
};

Order OrderOfWorst(QualityMetric const& metric) {
    switch (metric.worst) {
    case QualityMetric::Worst::Highest:
        return {IsHigher, "highest"};
    case QualityMetric::Worst::NegativeThenHighest:
        return {IsNegativeOrHigher, "negative, then highest"};
    case QualityMetric::Worst::Lowest:
        break;
    }
    return {IsLower, "lowest"};
}

std::string SenseText(QualityMetric const& metric) {
    switch (metric.sense) {
    case QualityMetric::Sense::Higher:
        return "higher is better";
    case QualityMetric::Sense::Lower:
        return "lower is better";
    case QualityMetric::Sense::None:
        break;
    }
    return "neither higher nor lower is better";
}

void PrintWorst(std::ostream& out, MetricReport const& report) {
    Table table({{"element", Table::Align::Right},
                 {"value", Table::Align::Right},
                 {"x [mm]", Table::Align::Right},
                 {"y [mm]", Table::Align::Right},
                 {"z [mm]", Table::Align::Right},
                 {"sub-volume", Table::Align::Left}});
    for (PlacedElement const& place : report.worst)
        table.AddRow({std::to_string(place.element), FormatGeneral(place.value),
                      FormatNumber(place.centre[0], 100.0), FormatNumber(place.centre[1], 100.0),
                      FormatNumber(place.centre[2], 100.0), place.subvolume});
    out << "\n  the worst elements (" << OrderOfWorst(*report.metric).name << " first)\n";
    table.Print(out, 2);
}

} // namespace

std::uint64_t MetricReport::CountOutside() const {
    return elements - statistics.nonfinite -
           std::accumulate(bins.counts.begin(), bins.counts.end(), std::uint64_t{0});
}

std::vector<PlacedElement> FindWorst(MMeshBase const& mesh, QualityMetric const& metric,
                                     std::vector<double> const& values, std::size_t count) {
    std::vector<PlacedElement> worst;
    for (std::uint32_t const i : KetSDK::Mesh::FindFirst(values, count, OrderOfWorst(metric).precedes)) {
        MMeshElement const& element = *mesh.GetElement(i);
        MMeshSubVolume const* const part = mesh.GetSubVolume(element);
        worst.push_back({i, values[i], TetrahedronBase<double>(&element).GetCentroid(),
                         part ? KetSDK::MeshVTK::ToUtf8(part->GetName()) : ""});
    }
    return worst;
}

Json ToJson(MetricReport const& report) {
    QualityStatistics const& statistics = report.statistics;
    Json json = {
        {"unit", report.metric->unit},
        {"min", statistics.min},
        {"mean", statistics.mean},
        {"max", statistics.max},
        {"percentiles", Json::object()},
        {"nonfinite", statistics.nonfinite},
        {"bad", report.bad},
        {"histogram", {{"range", {report.bins.min, report.bins.max}}, {"counts", report.bins.counts}}},
        {"worst", Json::array()}};
    for (std::size_t i = 0; i < statistics.percentiles.size(); ++i)
        json["percentiles"][std::to_string(QualityStatistics::Percents[i])] = statistics.percentiles[i];
    for (PlacedElement const& place : report.worst)
        json["worst"].push_back({{"element", place.element},
                                 {"value", place.value},
                                 {"centre", {place.centre[0], place.centre[1], place.centre[2]}},
                                 {"subvolume", place.subvolume}});
    return json;
}

void PrintSummary(std::ostream& out, std::vector<MetricReport> const& reports,
                  BadThreshold const& threshold) {
    Table table({{"metric", Table::Align::Left},
                 {"min", Table::Align::Right},
                 {"mean", Table::Align::Right},
                 {"max", Table::Align::Right},
                 {"not finite", Table::Align::Right},
                 {"bad: " + threshold.Describe(), Table::Align::Right}});
    for (MetricReport const& report : reports)
        table.AddRow({TitleOf(*report.metric), FormatNumber(report.statistics.min),
                      FormatNumber(report.statistics.mean), FormatNumber(report.statistics.max),
                      std::to_string(report.statistics.nonfinite), std::to_string(report.bad)});
    table.Print(out);
}

void PrintDetails(std::ostream& out, MetricReport const& report, BadThreshold const& threshold) {
    QualityStatistics const& statistics = report.statistics;
    out << TitleOf(*report.metric) << ": " << SenseText(*report.metric) << '\n'
        << "  min " << FormatNumber(statistics.min) << ", mean " << FormatNumber(statistics.mean) << ", max "
        << FormatNumber(statistics.max) << '\n'
        << "  bad         " << report.bad << " of " << report.elements << " ("
        << FormatShare(report.bad, report.elements) << ") are " << threshold.Describe() << '\n'
        << "  not finite  " << statistics.nonfinite << "\n\n";
    std::vector<Table::Column> percents = {{"percentile", Table::Align::Left}};
    std::vector<std::string> values = {"value"};
    for (std::size_t i = 0; i < statistics.percentiles.size(); ++i) {
        percents.push_back({std::to_string(QualityStatistics::Percents[i]) + " %", Table::Align::Right});
        values.push_back(FormatNumber(statistics.percentiles[i]));
    }
    Table table(percents);
    table.AddRow(values);
    table.Print(out, 2);
    out << '\n';
    PrintHistogram(out, report);
    if (!report.worst.empty())
        PrintWorst(out, report);
}

} // namespace ketmesh
