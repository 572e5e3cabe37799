// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/QualityTable.h>

#include <KetSDK/MeshJobs/Metrics.h>
#include <host/commands/MetricTable.h>
#include <host/terminal/Format.h>
#include <host/terminal/HistogramText.h>
#include <host/terminal/Table.h>
#include <host/terminal/Wrapped.h>

#include <limits>
#include <ostream>
#include <string>
#include <vector>

namespace ketmesh {

using KetSDK::Mesh::QualityLimit;
using KetSDK::Mesh::QualityLimitSet;
using KetSDK::Mesh::QualityMetric;
using KetSDK::Mesh::QualityStatistics;
using KetSDK::MeshJobs::DescribeBad;
using KetSDK::MeshJobs::DescribeLimit;
using KetSDK::MeshJobs::DescribeThreshold;
using KetSDK::MeshJobs::LimitReport;
using KetSDK::MeshJobs::MetricReport;
using KetSDK::MeshJobs::TitleOf;
using KetSDK::MeshJobs::WorstElement;

namespace {

char const* OrderOfWorst(QualityMetric const& metric) {
    switch (metric.worst) {
    case QualityMetric::Worst::Highest:
        return "highest";
    case QualityMetric::Worst::NegativeThenHighest:
        return "negative, then highest";
    case QualityMetric::Worst::Lowest:
        break;
    }
    return "lowest";
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
    for (WorstElement const& worst : report.worst)
        table.AddRow({std::to_string(worst.element), FormatGeneral(worst.value),
                      FormatNumber(worst.centre[0], 100.0), FormatNumber(worst.centre[1], 100.0),
                      FormatNumber(worst.centre[2], 100.0), worst.subvolume});
    out << "\n  the worst elements (" << OrderOfWorst(*report.metric) << " first)\n";
    table.Print(out, 2);
}

// For a limit that does not hold for all kinds.
std::string LimitKindsText(QualityLimit const& limit) {
    std::string text;
    if (limit.kinds != QualityMetric::AllKinds)
        for (std::string const& name : KindNames(limit.kinds))
            text += (text.empty() ? " of " : ", ") + name;
    return text;
}

// `kinds` stands only where the limit does not hold for all.
Json LimitJson(QualityLimit const& limit) {
    Json json = {{"metric", limit.metric->name},
                 {"sense", limit.sense == QualityLimit::Sense::AtLeast ? ">=" : "<="},
                 {"value", limit.value}};
    if (limit.kinds != QualityMetric::AllKinds)
        json["kinds"] = KindNames(limit.kinds);
    return json;
}

} // namespace

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
    for (WorstElement const& worst : report.worst)
        json["worst"].push_back({{"element", worst.element},
                                 {"value", worst.value},
                                 {"centre", worst.centre},
                                 {"subvolume", worst.subvolume}});
    return json;
}

void PrintSummary(std::ostream& out, KetSDK::MeshJobs::QualityResult const& quality) {
    Table table({{"metric", Table::Align::Left},
                 {"min", Table::Align::Right},
                 {"mean", Table::Align::Right},
                 {"max", Table::Align::Right},
                 {"not finite", Table::Align::Right},
                 {"bad: " + DescribeThreshold(quality.bad), Table::Align::Right}});
    for (MetricReport const& report : quality.metrics)
        table.AddRow({TitleOf(*report.metric), FormatNumber(report.statistics.min),
                      FormatNumber(report.statistics.mean), FormatNumber(report.statistics.max),
                      std::to_string(report.statistics.nonfinite), std::to_string(report.bad)});
    table.Print(out);
}

void PrintDetails(std::ostream& out, MetricReport const& report, KetSDK::Mesh::QualityThreshold const& bad) {
    QualityStatistics const& statistics = report.statistics;
    out << TitleOf(*report.metric) << ": " << SenseText(*report.metric) << '\n'
        << "  min " << FormatNumber(statistics.min) << ", mean " << FormatNumber(statistics.mean) << ", max "
        << FormatNumber(statistics.max) << '\n'
        << "  bad         " << report.bad << " of " << report.elements << " ("
        << FormatShare(report.bad, report.elements) << ") are " << DescribeBad(*report.metric, bad) << '\n'
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

void PrintLimits(std::ostream& out, KetSDK::MeshJobs::QualityResult const& quality) {
    if (quality.limits.empty())
        return;
    Table table({{"limit", Table::Align::Left},
                 {"failing", Table::Align::Right},
                 {"share", Table::Align::Right},
                 {"", Table::Align::Left}});
    for (LimitReport const& report : quality.limits)
        table.AddRow({DescribeLimit(report.limit) + LimitKindsText(report.limit),
                      std::to_string(report.failing), FormatShare(report.failing, quality.elements),
                      report.failing == 0 ? "pass" : "fail"});
    table.AddRule();
    table.AddRow({"any", std::to_string(quality.failing), FormatShare(quality.failing, quality.elements),
                  quality.failing == 0 ? "pass" : "fail"});
    table.Print(out);
    out << '\n';
}

Json LimitsJson(std::vector<LimitReport> const& limits) {
    Json list = Json::array();
    for (LimitReport const& report : limits) {
        list.push_back(LimitJson(report.limit));
        list.back()["failing"] = report.failing;
    }
    return list;
}

void PrintLimitSets(std::ostream& out) {
    char const* separator = "";
    for (QualityLimitSet const& set : KetSDK::Mesh::QualityLimitSets()) {
        out << separator << set.name << " (" << set.solver << ")\n";
        for (QualityLimit const& limit : set.limits)
            out << "  " << DescribeLimit(limit) << LimitKindsText(limit) << '\n';
        PrintWrapped(out, std::string(set.note), 2);
        PrintWrapped(out, "Source: " + std::string(set.source), 2);
        separator = "\n";
    }
    out << "\nJacobian >= " << FormatGeneral(std::numeric_limits<double>::min())
        << " means a positive one: that is the smallest positive number.\n";
}

Json LimitSetsJson() {
    Json sets = Json::object();
    for (QualityLimitSet const& set : KetSDK::Mesh::QualityLimitSets()) {
        Json& json = sets[std::string(set.name)];
        json = {
            {"solver", set.solver}, {"limits", Json::array()}, {"source", set.source}, {"note", set.note}};
        for (QualityLimit const& limit : set.limits)
            json["limits"].push_back(LimitJson(limit));
    }
    return {{"limits", sets}};
}

} // namespace ketmesh
