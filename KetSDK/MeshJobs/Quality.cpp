// SPDX-License-Identifier: BSD-3-Clause
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
#include <utility>

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

constexpr char const* DefaultMetric = "ScaledJacobian";

void Add(Metrics& metrics, QualityMetric const* metric) {
    if (std::ranges::find(metrics, metric) == metrics.end())
        metrics.push_back(metric);
}

// Those that are asked for, by name or by a limit; "all" means those that the model has.
Metrics ChooseMetrics(Model const& model, QualityOptions const& options) {
    Metrics metrics;
    if (!options.metrics.empty())
        metrics = FindMetrics(options.metrics);
    else if (options.limits.empty())
        metrics = FindMetrics(DefaultMetric);
    if (options.metrics == AllMetrics)
        std::erase_if(metrics,
                      [&model](QualityMetric const* m) { return !Mesh::HasMetric(*model.mesh, *m); });
    for (Mesh::QualityLimit const& limit : options.limits)
        Add(metrics, limit.metric);
    if (options.metrics.empty() && CountTenNodeTetrahedra(*model.mesh) > 0)
        Add(metrics, Mesh::FindQualityMetric(MMeshQualityAnalysisOperator::Folded));
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

// Finds and marks the elements that fail.
class Failures {
public:
    // `folds` is empty where no metric sees them.
    Failures(QualityOptions const& options, std::vector<double> folds, std::uint64_t elements)
        : m_options(options)
        , m_folds(std::move(folds))
        , m_marks(elements, 0) {}

    bool HasThreshold() const { return m_options.bad.has_value() || m_options.limits.empty(); }

    // The number of elements that are bad by a metric with these values.
    std::uint64_t CountBad(QualityMetric const& metric, std::vector<double> const& values) {
        bool const is_fold = metric.type == MMeshQualityAnalysisOperator::Folded;
        Mesh::QualityThreshold const threshold = m_options.bad.value_or(Mesh::QualityThreshold());
        auto const is_bad = [&](double v) { return metric.IsFault(v) || (!is_fold && threshold.IsBad(v)); };
        return Count(metric, values, HasThreshold() || is_fold, is_bad);
    }
    std::uint64_t CountFailing(Mesh::QualityLimit const& limit, std::vector<double> const& values) {
        return Count(*limit.metric, values, true, [&limit](double v) { return !limit.Holds(v); });
    }

    std::vector<std::int32_t>& GetMarks() { return m_marks; }

private:
    template <typename Test>
    std::uint64_t Count(QualityMetric const& metric, std::vector<double> const& values, bool marks,
                        Test const& test) {
        bool const sees_folds = Detail::SeesFolds(&metric) && !m_folds.empty();
        std::uint64_t count = 0;
        for (std::size_t i = 0; i < values.size(); ++i)
            if (test(values[i]) || (sees_folds && m_folds[i] != 0.0)) {
                ++count;
                m_marks[i] |= marks;
            }
        return count;
    }

    QualityOptions const& m_options;
    std::vector<double> m_folds;
    std::vector<std::int32_t> m_marks;
};

MetricReport Report(MMeshBase const& mesh, QualityMetric const& metric,
                    MMeshQualityAnalysisOperator const& analysis, QualityOptions const& options) {
    std::vector<double> const& values = analysis.GetQualityHistogram()->GetValues();
    MetricReport report{&metric, values.size(), Mesh::Summarize(values), 0, {}, {}};
    RequireBins(options.binning, options.binning.GetRange(metric, report.statistics), metric);
    report.bins = options.binning.GetBins(analysis, metric, report.statistics);
    report.worst = NameWorst(mesh, metric, values, options.worst);
    return report;
}

MMeshArray AsArray(QualityMetric const& metric, std::vector<double> const& values) {
    return {MeshVTK::FromUtf8(metric.name), MMeshArray::OnElements, 1, L"float64", values};
}

// Each limit once, without failing elements as yet.
std::vector<LimitReport> ListLimits(std::vector<Mesh::QualityLimit> const& limits) {
    std::vector<LimitReport> reports;
    for (Mesh::QualityLimit const& limit : limits)
        if (std::ranges::find(reports, limit, &LimitReport::limit) == reports.end())
            reports.push_back({limit});
    return reports;
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
    if (!(options.binning.width >= 0.0 && options.binning.max_bound > 0.0))
        throw Error("the width and the largest upper end of bins must be above 0");
    for (QualityMetric const* const metric :
         FindMetrics(options.metrics.empty() ? DefaultMetric : options.metrics))
        if (auto const range = options.binning.GetFixedRange(*metric))
            RequireBins(options.binning, *range, *metric);
}

QualityResult Quality(Model const& model, QualityOptions const& options, Context const& context) {
    CheckQualityOptions(options);
    RequireTetrahedra(model);
    Metrics const metrics = ChooseMetrics(model, options);
    bool const looks_for_folds = std::ranges::any_of(metrics, Detail::SeesFolds);
    Common::BranchingProgressReporter reporter(context.progress, "Measuring", true);
    auto const measure = [&](QualityMetric const& metric) {
        auto analysis = std::make_shared<MMeshQualityAnalysisOperator>();
        options.binning.SetUp(*analysis, metric);
        Context part = context;
        part.progress =
            reporter.CreateNestedDelegate(1.0 / static_cast<double>(metrics.size() + looks_for_folds));
        Detail::Measure(*analysis, model, metric, part);
        return analysis;
    };
    QualityMetric const& folded = *Mesh::FindQualityMetric(MMeshQualityAnalysisOperator::Folded);
    auto const folds = looks_for_folds ? measure(folded) : nullptr;
    QualityResult result;
    result.file = model.file;
    result.elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
    Failures failures(options, folds ? folds->GetQualityHistogram()->GetValues() : std::vector<double>(),
                      result.elements);
    result.bad = options.bad.value_or(Mesh::QualityThreshold());
    result.has_threshold = failures.HasThreshold();
    result.limits = ListLimits(options.limits);
    for (QualityMetric const* const metric : metrics) {
        auto const analysis = metric == &folded ? folds : measure(*metric);
        std::vector<double> const& values = analysis->GetQualityHistogram()->GetValues();
        result.metrics.push_back(Report(*model.mesh, *metric, *analysis, options));
        result.metrics.back().bad = failures.CountBad(*metric, values);
        for (LimitReport& limit : result.limits)
            if (limit.limit.metric == metric)
                limit.failing = failures.CountFailing(limit.limit, values);
        if (options.keep_values)
            result.values.push_back(AsArray(*metric, values));
        context.ThrowIfCancelled();
    }
    std::vector<std::int32_t>& marks = failures.GetMarks();
    result.failing = static_cast<std::uint64_t>(std::ranges::count(marks, 1));
    if (options.keep_values)
        result.values.push_back({L"bad", MMeshArray::OnElements, 1, L"uint8", std::move(marks)});
    return result;
}

} // namespace KetSDK::MeshJobs
