// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Metrics.h>
#include <KetSDK/MeshJobs/Quality.h>
#include <KetSDK/MeshJobs/QualityPlot.h>
#include <KetSDK/MeshVTK/Text.h>
#include <host/commands/Command.h>
#include <host/commands/MetricTable.h>
#include <host/commands/QualityTable.h>
#include <host/commands/SolidsNote.h>
#include <host/commands/options/BadThreshold.h>
#include <host/commands/options/FailOn.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>
#include <host/terminal/NumberCheck.h>

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::DescribeLimit;
using KetSDK::MeshJobs::DescribeThreshold;
using KetSDK::MeshJobs::MetricReport;
using KetSDK::MeshJobs::Model;

// With more metrics than this, only their summary is printed unless more is asked for.
constexpr std::size_t MostDetailed = 3;

constexpr char const* QualityHelp =
    "Percentiles are those of the nearest rank: the smallest value that so many per cent of the\n"
    "finite values do not exceed. Elements whose value is not finite are counted and head the list\n"
    "of the worst; --below and --above find them bad only where they are infinite on that side. Ten-node\n"
    "elements that fold, the solver's worst fault, are bad by each metric that sees mid-edge nodes; Folded\n"
    "is 1 for them. With -o the cell array bad is 1 for elements that fail. Elements are numbered\n"
    "from 0 in the order of the file. Results are the same on any number of threads.\n"
    "Hexahedra and wedges are measured as they are, not cut, by the metrics that are for them.\n\n"
    "Examples:\n"
    "  ketmesh quality head.vtu\n"
    "  ketmesh quality head.vtu --metric MinDihedralAngle --below 10 --width 5 --fail-on 0\n"
    "  ketmesh quality head.vtu --limit 'MinDihedralAngle>=10' --limit 'EdgeMaxMin<=5' --fail-on 0\n"
    "  ketmesh quality head.vtu --limits abaqus -o judged.vtu\n"
    "  ketmesh quality head.vtu --metric all -o head_quality.vtu --plot head_quality.svg\n"
    "  ketmesh quality --list";

// Measures the quality of every element.
class QualityCommand : public Command {
public:
    QualityCommand()
        : Command("quality", "Measure the quality of elements", QualityHelp) {}

private:
    void DeclareOptions(CLI::App& command) override {
        CLI::Option* const file = m_input.Declare(*this, command)->required(false);
        command
            .add_option(
                "--metric", m_options.metrics,
                "Metric, metrics with commas between them, or all (those that the mesh has). "
                "Without it: the metrics of the limits, or else ScaledJacobian, and Folded on ten-node "
                "elements")
            ->type_name("NAMES");
        m_threshold.Declare(command);
        DeclareLimits(command);
        m_fail_on.Declare(
            command,
            "End with exit status 2 when more than so many elements fail: any of the limits, --below or "
            "--above by one of the metrics, or Folded; values below 0 are bad when none of these is given");
        DeclareHistogram(command);
        command
            .add_option("--worst", m_options.worst,
                        "How many of the worst elements to name for each metric (default: 10)")
            ->type_name("K")
            ->check(Count());
        m_output.Declare(*this, command, "Volume mesh to write with each metric's values as a cell array");
        CLI::Option* const list = command.add_flag(
            "--list", m_list, "Show all metrics with their definitions and sources; needs no mesh");
        command.add_flag("--markdown", m_markdown, "With --list: as a page in Markdown")->needs(list);
        command.callback([this, file] {
            if (!m_list && !m_list_limits && file->count() == 0)
                throw CLI::RequiredError("file");
        });
    }

    void DeclareLimits(CLI::App& command) {
        command
            .add_option("--limit", m_limits,
                        "METRIC>=VALUE or METRIC<=VALUE, in quotes: what all elements should have; give it "
                        "again for more. A value that is not a number fails every limit; a folded element "
                        "fails those of metrics that see mid-edge nodes")
            ->type_name("LIMIT")
            ->allow_extra_args(false);
        command
            .add_option("--limits", m_limit_set,
                        "The limits that a solver documents: abaqus, ansys or febio (see --list-limits)")
            ->type_name("SOLVER");
        command.add_flag("--list-limits", m_list_limits,
                         "Show the limits that solvers document, with their sources; needs no mesh");
    }

    void DeclareHistogram(CLI::App& command) {
        KetSDK::Mesh::QualityBinning& binning = m_options.binning;
        CLI::Option* const partitions =
            command.add_option("--partitions", binning.partitions, "Number of bins (default: 10)")
                ->type_name("N")
                ->check(CLI::Range(1, KetSDK::Mesh::QualityBinning::MostBins));
        command.add_option("--width", binning.width, "Width of the bins, in place of their number")
            ->type_name("W")
            ->check(PositiveNumber())
            ->excludes(partitions);
        command
            .add_option("--max-bound", binning.max_bound,
                        "Largest upper end of the bins, where these begin at 0")
            ->type_name("B")
            ->check(PositiveNumber());
        command.add_flag("--histograms", m_histograms,
                         "Print percentiles, histogram and worst elements for more than three metrics too");
        command.add_option("--plot", m_plot, "File to draw the histograms into: .svg");
    }

    bool Answer() override {
        if (!m_list && !m_list_limits)
            return false;
        if (m_list_limits && IsJson())
            PrintAnswer(LimitSetsJson());
        else if (m_list_limits)
            PrintLimitSets(std::cout);
        else if (m_markdown)
            PrintMetricPage(std::cout);
        else if (IsJson())
            PrintAnswer(MetricListJson());
        else
            PrintMetricList(std::cout);
        return true;
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        if (m_threshold.IsGiven())
            m_options.bad = m_threshold.Get();
        if (!m_limit_set.empty())
            m_options.limits = KetSDK::MeshJobs::FindLimits(m_limit_set);
        for (std::string const& limit : m_limits)
            m_options.limits.push_back(KetSDK::MeshJobs::ParseLimit(limit));
        m_options.keep_values = m_output.IsGiven();
        KetSDK::MeshJobs::CheckQualityOptions(m_options);
        m_output.Open({m_input.GetUnit()});
        std::optional<KetSDK::MeshVTK::OutputFile> plot;
        if (!m_plot.empty())
            plot.emplace(KetSDK::MeshJobs::OpenQualityPlot(m_plot));
        Model model = m_input.Read(context);
        m_result = KetSDK::MeshJobs::Quality(model, m_options, context);
        for (MMeshArray& values : m_result.values)
            KetSDK::MeshJobs::SetArray(model.arrays, std::move(values));
        m_output.Write(model, context);
        if (plot) {
            WriteQualityPlot(m_result, *plot, {m_threshold.IsGiven()}, context);
            AddFile(m_plot);
        }
    }

    Json Report() const override {
        Json report;
        report["elements"] = m_result.elements;
        AddSolids(report, {m_result.solids});
        m_threshold.AddTo(report);
        report["limits"] = LimitsJson(m_result.limits);
        report["failing"] = m_result.failing;
        report["metrics"] = Json::object();
        for (MetricReport const& metric : m_result.metrics)
            report["metrics"][std::string(metric.metric->name)] = ToJson(metric);
        return report;
    }

    void Print(std::ostream& out) const override {
        std::vector<MetricReport> const& metrics = m_result.metrics;
        out << Printable(m_input.GetFileName()) << ": " << m_result.elements << " elements\n\n";
        PrintLimits(out, m_result);
        if (metrics.size() > 1)
            PrintSummary(out, m_result);
        if (metrics.size() <= MostDetailed || m_histograms)
            for (MetricReport const& metric : metrics) {
                out << (metrics.size() > 1 ? "\n" : "");
                PrintDetails(out, metric, m_result.bad);
            }
        PrintSolids(out, {m_result.solids});
    }

    int Check() const override {
        if (!m_fail_on.IsExceededBy(m_result.failing))
            return Done;
        std::cerr << "ketmesh: " << Printable(m_input.GetFileName()) << ": " << m_result.failing
                  << " elements fail (" << Reasons() << "); " << m_fail_on.Describe() << " may\n";
        return CheckFailed;
    }

    // "505 by ScaledJacobian below 0.1, 3 by Folded"
    std::string Reasons() const {
        std::string reasons;
        auto const add = [&reasons](std::uint64_t count, std::string const& by) {
            if (count > 0)
                reasons += (reasons.empty() ? "" : ", ") + std::to_string(count) + " by " + by;
        };
        for (KetSDK::MeshJobs::LimitReport const& limit : m_result.limits)
            add(limit.failing, DescribeLimit(limit.limit));
        for (MetricReport const& metric : m_result.metrics) {
            bool const is_fold = metric.metric->type == MMeshQualityAnalysisOperator::Folded;
            if (is_fold || m_result.has_threshold)
                add(metric.bad, std::string(metric.metric->name) +
                                    (is_fold ? "" : " " + DescribeThreshold(m_result.bad)));
        }
        return reasons;
    }

    ModelInput m_input;
    ModelOutput m_output;
    BadThreshold m_threshold;
    KetSDK::MeshJobs::QualityOptions m_options;
    std::vector<std::string> m_limits;
    std::string m_limit_set;
    std::string m_plot;
    FailOn m_fail_on;
    bool m_histograms = false;
    bool m_list = false;
    bool m_list_limits = false;
    bool m_markdown = false;
    KetSDK::MeshJobs::QualityResult m_result;
};

} // namespace

std::unique_ptr<Command> MakeQualityCommand() {
    return std::make_unique<QualityCommand>();
}

} // namespace ketmesh
