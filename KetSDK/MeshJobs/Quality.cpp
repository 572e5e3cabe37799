#include <KetSDK/MeshJobs/Quality.h>

#include <KetSDK/Common/Progress/BranchingProgressReporter.h>
#include <KetSDK/Mesh/geometry/TetrahedronBase.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Metrics.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/Measure.h>
#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <numeric>

namespace KetSDK::MeshJobs {

using Mesh::QualityBinning;
using Mesh::QualityMetric;

namespace {

using Metrics = std::vector<QualityMetric const*>;

void RequireBins(QualityBinning const& binning, QualityBinning::Range const& range,
                 QualityMetric const& metric) {
    double const count = binning.CountBins(range);
    if (!(count <= QualityBinning::MostBins))
        throw Error("--width " + FormatGeneral(binning.width) + " makes " + FormatGeneral(count) +
                    " bins of " + std::string(metric.name) + " (" + FormatGeneral(range.min) + " to " +
                    FormatGeneral(range.max) + "); the most are " + std::to_string(QualityBinning::MostBins));
}

// "all" means those that the model has.
Metrics ChooseMetrics(Model const& model, std::string const& names) {
    Metrics metrics = FindMetrics(names);
    if (names == AllMetrics)
        std::erase_if(metrics,
                      [&model](QualityMetric const* m) { return !Mesh::HasMetric(*model.mesh, *m); });
    for (QualityMetric const* const metric : metrics)
        RequireMetric(model, *metric);
    return metrics;
}

std::vector<WorstElement> NameWorst(MMeshBase const& mesh, QualityMetric const& metric,
                                    std::vector<double> const& values, std::size_t count) {
    std::vector<WorstElement> worst;
    for (std::uint32_t const i : Mesh::FindWorst(metric, values, count)) {
        MMeshElement const& element = *mesh.GetElement(i);
        MMeshSubVolume const* const subvolume = mesh.GetSubVolume(element);
        auto const centre = TetrahedronBase<double>(&element).GetCentroid();
        worst.push_back({i,
                         values[i],
                         {centre[0], centre[1], centre[2]},
                         subvolume ? MeshVTK::ToUtf8(subvolume->GetName()) : ""});
    }
    return worst;
}

MetricReport Report(MMeshBase const& mesh, QualityMetric const& metric,
                    MMeshQualityAnalysisOperator const& analysis, QualityOptions const& options) {
    std::vector<double> const& values = analysis.GetQualityHistogram()->GetValues();
    MetricReport report{&metric, values.size(), Mesh::Summarize(values), 0, {}, {}};
    report.bad = static_cast<std::uint64_t>(
        std::ranges::count_if(values, [&options](double v) { return options.bad.IsBad(v); }));
    RequireBins(options.binning, options.binning.GetRange(metric, report.statistics), metric);
    report.bins = options.binning.GetBins(analysis, metric, report.statistics);
    report.worst = NameWorst(mesh, metric, values, options.worst);
    return report;
}

MMeshArray AsArray(QualityMetric const& metric, std::vector<double> const& values) {
    return {MeshVTK::FromUtf8(metric.name), MMeshArray::OnElements, 1, L"float64", values};
}

} // namespace

std::uint64_t MetricReport::CountOutside() const {
    return elements - statistics.nonfinite -
           std::accumulate(bins.counts.begin(), bins.counts.end(), std::uint64_t{0});
}

void CheckQualityOptions(QualityOptions const& options) {
    int const partitions = options.binning.partitions;
    if (partitions < 1 || partitions > QualityBinning::MostBins)
        throw Error("histograms have 1 to " + std::to_string(QualityBinning::MostBins) + " bins, not " +
                    std::to_string(partitions));
    for (QualityMetric const* const metric : FindMetrics(options.metrics))
        if (auto const range = options.binning.GetFixedRange(*metric))
            RequireBins(options.binning, *range, *metric);
}

QualityResult Quality(Model const& model, QualityOptions const& options, Context const& context) {
    CheckQualityOptions(options);
    RequireTetrahedra(model);
    Metrics const metrics = ChooseMetrics(model, options.metrics);
    QualityResult result;
    result.file = model.file;
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    result.bad = options.bad;
    Common::BranchingProgressReporter reporter(context.progress, "Measuring", true);
    Context part = context;
    for (QualityMetric const* const metric : metrics) {
        MMeshQualityAnalysisOperator analysis;
        options.binning.SetUp(analysis, *metric);
        part.progress = reporter.CreateNestedDelegate(1.0 / static_cast<double>(metrics.size()));
        Detail::Measure(analysis, model, *metric, part);
        result.metrics.push_back(Report(*model.mesh, *metric, analysis, options));
        if (options.keep_values)
            result.values.push_back(AsArray(*metric, analysis.GetQualityHistogram()->GetValues()));
        context.ThrowIfCancelled();
    }
    return result;
}

} // namespace KetSDK::MeshJobs
