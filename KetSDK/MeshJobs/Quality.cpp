// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Quality.h>

#include <KetSDK/Common/Progress/BranchingProgressReporter.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Metrics.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/Measure.h>
#include <KetSDK/MeshJobs/detail/Threads.h>
#include <KetSDK/MeshVTK/Text.h>

#include <algorithm>
#include <numeric>
#include <span>
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
Metrics ChooseMetrics(Model const& model, QualityOptions const& options,
                      std::vector<Mesh::QualityLimit> const& limits, unsigned char kinds) {
    Metrics metrics;
    if (!options.metrics.empty())
        metrics = FindMetrics(options.metrics);
    else if (limits.empty())
        metrics = FindMetrics(DefaultMetric);
    if (options.metrics == AllMetrics)
        std::erase_if(metrics, [&](QualityMetric const* m) {
            return !Mesh::MeasuresAll(*m, kinds) || !Mesh::HasMetric(*model.mesh, *m);
        });
    for (QualityMetric const* const metric : metrics)
        RequireMetric(model, *metric, kinds);
    for (Mesh::QualityLimit const& limit : limits) {
        RequireMetric(model, *limit.metric, limit.kinds & kinds);
        Add(metrics, limit.metric);
    }
    if (options.metrics.empty() && CountTenNodeTetrahedra(*model.mesh) > 0)
        Add(metrics, Mesh::FindQualityMetric(MMeshQualityAnalysisOperator::Folded));
    return metrics;
}

MMVector<double, 3> CentreOf(MMeshElement const& element) {
    unsigned int const corners = element.GetNodeCount() == 10 ? 4 : element.GetNodeCount();
    MMVector<double, 3> sum;
    for (unsigned int i = 0; i < corners; ++i)
        sum = sum + element.GetNode(i)->GetPosition();
    return sum * (1.0 / corners);
}

std::vector<WorstElement> NameWorst(MMeshBase const& mesh, QualityMetric const& metric,
                                    std::span<double const> values, std::size_t count) {
    std::vector<WorstElement> worst;
    for (std::uint32_t const i : Mesh::FindWorst(metric, values, count)) {
        MMeshElement const& element = *mesh.GetElement(i);
        MMeshSubVolume const* const subvolume = mesh.GetSubVolume(element);
        MMVector<double, 3> const centre = CentreOf(element);
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
    // `folds` are the caller's, and empty where no metric sees them.
    Failures(MMeshBase const& mesh, unsigned char kinds, QualityOptions const& options,
             std::span<double const> folds)
        : m_mesh(mesh)
        , m_kinds(kinds)
        , m_options(options)
        , m_folds(folds)
        , m_marks(static_cast<std::size_t>(mesh.NumberOfElements()), 0) {}

    bool HasThreshold() const { return m_options.bad.has_value() || m_options.limits.empty(); }

    // The number of elements that are bad by a metric with these values, of those that it measures.
    std::uint64_t CountBad(QualityMetric const& metric, std::span<double const> values) {
        bool const is_fold = metric.type == MMeshQualityAnalysisOperator::Folded;
        Mesh::QualityThreshold const threshold = m_options.bad.value_or(Mesh::QualityThreshold());
        return Count({metric, metric.kinds, HasThreshold() || is_fold}, values,
                     [&](double v) { return metric.IsFault(v) || (!is_fold && threshold.IsBad(v)); });
    }
    std::uint64_t CountFailing(Mesh::QualityLimit const& limit, std::span<double const> values) {
        return Count({*limit.metric, limit.kinds, true}, values,
                     [&limit](double v) { return !limit.Holds(v); });
    }

    std::vector<std::int32_t>& GetMarks() { return m_marks; }

private:
    struct Judged {
        QualityMetric const& metric;
        unsigned char kinds; // of elements that are looked at
        bool marks;          // what does not pass fails
    };
    template <typename Test>
    std::uint64_t Count(Judged const& judged, std::span<double const> values, Test const& test) {
        bool const sees_folds = Detail::SeesFolds(&judged.metric) && !m_folds.empty();
        auto const is_meant = [&](std::size_t i) {
            return (m_kinds & ~judged.kinds) == 0 ||
                   (judged.kinds & Mesh::KindOf(m_mesh.GetElement(i)->GetNodeCount())) != 0;
        };
        std::uint64_t count = 0;
        for (std::size_t i = 0; i < values.size(); ++i)
            if ((test(values[i]) || (sees_folds && m_folds[i] != 0.0)) && is_meant(i)) {
                ++count;
                m_marks[i] |= judged.marks;
            }
        return count;
    }

    MMeshBase const& m_mesh;
    unsigned char m_kinds;
    QualityOptions const& m_options;
    std::span<double const> m_folds;
    std::vector<std::int32_t> m_marks;
};

MetricReport Report(MMeshBase const& mesh, QualityMetric const& metric,
                    MMeshQualityAnalysisOperator const& analysis, QualityOptions const& options,
                    Context const& context) {
    std::span<double const> const values = analysis.GetQualityHistogram()->GetValues();
    MetricReport report{&metric, values.size(), {}, 0, {}, {}};
    Detail::WithThreads(context,
                        [&](bool parallel) { report.statistics = Mesh::Summarize(values, parallel); });
    RequireBins(options.binning, options.binning.GetRange(metric, report.statistics), metric);
    report.bins = options.binning.GetBins(analysis, metric, report.statistics);
    report.worst = NameWorst(mesh, metric, values, options.worst);
    return report;
}

MMeshArray AsArray(QualityMetric const& metric, std::span<double const> values) {
    return {MeshVTK::FromUtf8(metric.name), MMeshArray::OnElements, 1, L"float64",
            std::vector<double>(values.begin(), values.end())};
}

// The limits that hold for a kind of element that the model has, each once.
std::vector<Mesh::QualityLimit> ChooseLimits(Model const& model, QualityOptions const& options,
                                             unsigned char kinds) {
    std::vector<Mesh::QualityLimit> limits;
    for (Mesh::QualityLimit limit : options.limits) {
        if ((kinds & ~limit.kinds) == 0) // for all here
            limit.kinds = QualityMetric::AllKinds;
        if ((limit.kinds & kinds) != 0 && std::ranges::find(limits, limit) == limits.end())
            limits.push_back(limit);
    }
    if (limits.empty() && !options.limits.empty())
        throw FileError(model.file,
                        "none of the limits is for its kinds of elements (" + KindsText(model) + ")");
    return limits;
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
    unsigned char const kinds = Mesh::KindsOf(*model.mesh);
    std::vector<Mesh::QualityLimit> const limits = ChooseLimits(model, options, kinds);
    Metrics const metrics = ChooseMetrics(model, options, limits, kinds);
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
    bool const has_solids = (kinds & (Mesh::KindOf(6) | Mesh::KindOf(8))) != 0;
    result.solids = has_solids ? CountSolids(*model.mesh) : 0;
    Failures failures(*model.mesh, kinds, options,
                      folds ? folds->GetQualityHistogram()->GetValues() : std::span<double const>());
    result.bad = options.bad.value_or(Mesh::QualityThreshold());
    result.has_threshold = failures.HasThreshold();
    for (Mesh::QualityLimit const& limit : limits)
        result.limits.push_back({limit});
    for (QualityMetric const* const metric : metrics) {
        auto const analysis = metric == &folded ? folds : measure(*metric);
        std::span<double const> const values = analysis->GetQualityHistogram()->GetValues();
        result.metrics.push_back(Report(*model.mesh, *metric, *analysis, options, context));
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
