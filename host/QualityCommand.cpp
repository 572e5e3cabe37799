#include <KetSDK/Common/Progress/BranchingProgressReporter.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>
#include <host/Command.h>
#include <host/FileError.h>
#include <host/HistogramSvg.h>
#include <host/Measuring.h>
#include <host/MeshInput.h>
#include <host/MeshOutput.h>
#include <host/MetricList.h>
#include <host/QualityReport.h>
#include <host/Threads.h>
#include <host/commands/options/BadThreshold.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/NumberCheck.h>

#include <vtkUnstructuredGrid.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

// With more metrics than this, only their summary is printed unless more is asked for.
constexpr std::size_t MostDetailed = 3;

// Measures the quality of every element.
class QualityCommand : public Command {
public:
    void Declare(CLI::App& app) override {
        CLI::App& command = *app.add_subcommand("quality", "Measure the quality of tetrahedra");
        command.footer(
            "Percentiles are those of the nearest rank: the smallest value that so many per cent of the\n"
            "finite values do not exceed. Elements whose value is not finite are counted and head the list\n"
            "of the worst; they are bad only where they are infinite on the bad side. Elements are numbered\n"
            "from 0 in the order of the file. Results are the same on any number of threads.\n\n"
            "Examples:\n"
            "  ketmesh quality head.vtu\n"
            "  ketmesh quality head.vtu --metric MinDihedralAngle --below 10 --width 5 --fail-on 0\n"
            "  ketmesh quality head.vtu --metric all -o head_quality.vtu --plot head_quality.svg\n"
            "  ketmesh quality --list");
        CLI::Option* const file = m_input.Declare(command)->required(false);
        command
            .add_option("--metric", m_names,
                        "Metric, metrics with commas between them, or all (those that the mesh has); "
                        "ScaledJacobian unless given")
            ->type_name("NAMES");
        m_threshold.Declare(command);
        command
            .add_option("--fail-on", m_most_bad,
                        "End with exit status 2 when more than so many elements are bad by one of the "
                        "metrics; values below 0 are bad unless --below or --above says otherwise")
            ->type_name("N")
            ->check(Count());
        _DeclareHistogram(command);
        command
            .add_option("--worst", m_worst,
                        "How many of the worst elements to name for each metric (10 unless given)")
            ->type_name("K")
            ->check(Count());
        m_output.Declare(command, "Volume mesh to write with each metric's values as a cell array");
        m_threads.Declare(command);
        CLI::Option* const list = command.add_flag(
            "--list", m_list, "Show all metrics with their definitions and sources; needs no mesh");
        command.add_flag("--markdown", m_markdown, "With --list: as a page in Markdown")->needs(list);
        command.add_flag("--json", m_json, "Print one JSON object");
        command.callback([this, file] {
            if (!m_list && file->count() == 0)
                throw CLI::RequiredError("file");
        });
    }

    int Run(Progress const& progress) override {
        if (m_list)
            return _List();
        std::vector<QualityMetric const*> metrics = FindMetrics(m_names);
        for (QualityMetric const* const metric : metrics)
            m_binning.Check(*metric);
        m_output.Open();
        std::optional<KetSDK::MeshVTK::OutputFile> plot = _OpenPlot();
        MeshInput::Loaded loaded = m_input.LoadTetrahedra(progress);
        _ChooseMetrics(metrics, *loaded.mesh);
        vtkSmartPointer<vtkUnstructuredGrid> grid;
        if (m_output.IsGiven())
            grid = KetSDK::MeshVTK::GridFromMesh(*loaded.mesh, m_input.GetUnit(), loaded.grid);
        loaded.grid = nullptr;

        std::vector<MetricReport> const reports = _Measure(*loaded.mesh, metrics, grid, progress);
        if (grid)
            m_output.Write(*loaded.mesh, *grid, progress);
        if (plot)
            ForFile(m_plot, [&] { WriteHistogramSvg(*plot, m_input.GetFileName(), reports, m_threshold); });
        if (m_json)
            _PrintJson(*loaded.mesh, reports);
        else
            _Print(*loaded.mesh, reports);
        return _CheckBad(reports);
    }

private:
    void _DeclareHistogram(CLI::App& command) {
        CLI::Option* const partitions =
            command.add_option("--partitions", m_binning.partitions, "Number of bins (10 unless given)")
                ->type_name("N")
                ->check(CLI::Range(1, Binning::MostBins));
        command.add_option("--width", m_binning.width, "Width of the bins, in place of their number")
            ->type_name("W")
            ->check(PositiveNumber())
            ->excludes(partitions);
        command
            .add_option("--max-bound", m_binning.max_bound,
                        "Largest upper end of the bins, where these begin at 0")
            ->type_name("B")
            ->check(PositiveNumber());
        command.add_flag("--histograms", m_histograms,
                         "Print percentiles, histogram and worst elements for more than three metrics too");
        command.add_option("--plot", m_plot, "File to draw the histograms into: .svg");
    }

    int _List() const {
        if (m_markdown)
            PrintMetricPage(std::cout);
        else if (m_json)
            PrintJson(MetricListJson());
        else
            PrintMetricList(std::cout);
        return Done;
    }

    std::optional<KetSDK::MeshVTK::OutputFile> _OpenPlot() const {
        std::optional<KetSDK::MeshVTK::OutputFile> plot;
        if (!m_plot.empty())
            ForFile(m_plot, [this, &plot] {
                CheckSvgFileName(m_plot);
                plot.emplace(m_plot);
            });
        return plot;
    }

    // "all" means those that the mesh has.
    void _ChooseMetrics(std::vector<QualityMetric const*>& metrics, MMeshBase const& mesh) const {
        if (m_names == AllMetrics)
            std::erase_if(metrics, [&mesh](QualityMetric const* m) { return !HasMetric(mesh, *m); });
        for (QualityMetric const* const metric : metrics)
            RequireMetric(mesh, *metric, m_input.GetFileName());
    }

    // Where there is a grid, it gets the values of each metric.
    std::vector<MetricReport> _Measure(MMeshBase& mesh, std::vector<QualityMetric const*> const& metrics,
                                       vtkUnstructuredGrid* grid, Progress const& progress) {
        bool const parallel = m_threads.Start();
        KetSDK::Common::BranchingProgressReporter reporter(progress, "Measuring", true);
        std::vector<MetricReport> reports;
        for (QualityMetric const* const metric : metrics) {
            MMeshQualityAnalysisOperator analysis;
            m_binning.SetUp(analysis, *metric);
            Measure(analysis, mesh, *metric, parallel,
                    reporter.CreateNestedDelegate(1.0 / static_cast<double>(metrics.size())));
            reports.push_back(_Report(mesh, *metric, analysis));
            if (grid)
                KetSDK::MeshVTK::AddCellArray(*grid, mesh, *analysis.GetQualityMask(),
                                              std::string(metric->name));
            ThrowIfCancelled();
        }
        return reports;
    }

    MetricReport _Report(MMeshBase const& mesh, QualityMetric const& metric,
                         MMeshQualityAnalysisOperator const& analysis) const {
        QualityHistogram<int, double> const& histogram = *analysis.GetQualityHistogram();
        std::vector<double> const& values = histogram.GetValues();
        MetricReport report{&metric, values.size(), Summarize(values), 0, {}, {}};
        report.bad = static_cast<std::uint64_t>(
            (m_threshold.Get().side == KetSDK::Mesh::QualityThreshold::Side::Above)
                ? std::ranges::count_if(values, [this](double v) { return m_threshold.Get().IsBad(v); })
                : histogram.GetNbElementsLowerThanThreshold(m_threshold.Get().value));
        report.bins = m_binning.GetBins(analysis, metric, report.statistics);
        report.worst = FindWorst(mesh, metric, values, m_worst);
        return report;
    }

    void _PrintJson(MMeshBase const& mesh, std::vector<MetricReport> const& reports) const {
        Json json;
        json["elements"] = mesh.NumberOfElements();
        m_threshold.AddTo(json);
        json["metrics"] = Json::object();
        for (MetricReport const& report : reports)
            json["metrics"][std::string(report.metric->name)] = ToJson(report);
        json["files"] = _Files();
        PrintJson(json);
    }

    void _Print(MMeshBase const& mesh, std::vector<MetricReport> const& reports) const {
        std::cout << m_input.GetFileName() << ": " << mesh.NumberOfElements() << " elements\n\n";
        if (reports.size() > 1)
            PrintSummary(std::cout, reports, m_threshold);
        if (reports.size() <= MostDetailed || m_histograms)
            for (std::size_t i = 0; i < reports.size(); ++i) {
                std::cout << (reports.size() > 1 ? "\n" : "");
                PrintDetails(std::cout, reports[i], m_threshold);
            }
        std::string separator = "\n";
        for (std::string const& file : _Files()) {
            std::cout << separator << "written: " << file << '\n';
            separator = "";
        }
    }

    // What was written.
    std::vector<std::string> _Files() const {
        std::vector<std::string> files;
        for (std::string const& file : {m_output.GetFileName(), m_plot})
            if (!file.empty())
                files.push_back(file);
        return files;
    }

    // The exit status; says which metrics failed.
    int _CheckBad(std::vector<MetricReport> const& reports) const {
        std::string failed;
        for (MetricReport const& report : reports)
            if (m_most_bad && report.bad > *m_most_bad)
                failed += (failed.empty() ? "" : ", ") + std::to_string(report.bad) + " by " +
                          std::string(report.metric->name);
        if (failed.empty())
            return Done;
        std::cerr << "ketmesh: " << m_input.GetFileName() << ": elements are bad (" << m_threshold.Describe()
                  << "): " << failed << "; at most " << *m_most_bad << " may be\n";
        return CheckFailed;
    }

    MeshInput m_input;
    MeshOutput m_output;
    BadThreshold m_threshold;
    Binning m_binning;
    Threads m_threads;
    std::string m_names = "ScaledJacobian";
    std::string m_plot;
    std::optional<std::uint64_t> m_most_bad;
    std::size_t m_worst = 10;
    bool m_histograms = false;
    bool m_list = false;
    bool m_markdown = false;
    bool m_json = false;
};

} // namespace

std::unique_ptr<Command> MakeQualityCommand() {
    return std::make_unique<QualityCommand>();
}

} // namespace ketmesh
