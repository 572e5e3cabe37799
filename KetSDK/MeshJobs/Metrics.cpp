// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Metrics.h>

#include <KetSDK/MeshJobs/EditDistance.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/NumberText.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <sstream>
#include <string_view>

namespace KetSDK::MeshJobs {

using Mesh::QualityMetric;

namespace {

// "Volume, VolumeInRange": names that are nearly the text, or else begin with it; empty for none.
std::string NearestNames(std::string const& text) {
    std::size_t nearest = std::max<std::size_t>(text.size() / 3, 1);
    for (QualityMetric const& metric : Mesh::QualityMetrics())
        nearest = std::min(nearest, EditDistance(text, metric.name));
    std::string names;
    for (QualityMetric const& metric : Mesh::QualityMetrics())
        if (EditDistance(text, metric.name) <= nearest ||
            (!text.empty() && EditDistance(text, metric.name.substr(0, text.size())) == 0))
            names += (names.empty() ? "" : ", ") + std::string(metric.name);
    return names;
}

QualityMetric const& MetricByName(std::string const& name) {
    if (QualityMetric const* const metric = Mesh::FindQualityMetric(name))
        return *metric;
    std::string const near = NearestNames(name);
    throw Error("there is no metric \"" + name + "\"" + (near.empty() ? "" : "; near it are " + near) +
                " (ketmesh quality --list shows all)");
}

} // namespace

std::vector<QualityMetric const*> FindMetrics(std::string const& names) {
    std::vector<QualityMetric const*> metrics;
    if (names == AllMetrics) {
        for (QualityMetric const& metric : Mesh::QualityMetrics())
            if (metric.type != MMeshQualityAnalysisOperator::FluentOrthogonalQuality)
                metrics.push_back(&metric);
        return metrics;
    }
    std::istringstream list(names + ",");
    for (std::string name; std::getline(list, name, ',');) {
        QualityMetric const* const metric = &MetricByName(name);
        if (std::ranges::find(metrics, metric) == metrics.end())
            metrics.push_back(metric);
    }
    return metrics;
}

void RequireMetric(Model const& model, QualityMetric const& metric, unsigned char kinds) {
    std::string const name(metric.name);
    if (metric.type == MMeshQualityAnalysisOperator::JacobianDistortion &&
        model.mesh->GetMeshType() != MMeshBase::Quadratic)
        throw FileError(model.file, name + " is a measure of quadratic tetrahedra, and the mesh has none");
    if (Mesh::MeasuresAll(metric, kinds))
        return;
    throw FileError(model.file, name + " does not measure all kinds of elements here (" + KindsText(model) +
                                    "); ketmesh quality --list says which do");
}

std::string KindsText(Model const& model) {
    std::string text;
    for (KindCount const& kind : CountKinds(*model.mesh))
        if (kind.elements > 0)
            text += (text.empty() ? "" : ", ") + std::to_string(kind.elements) + " " + kind.name;
    return text;
}

std::string TitleOf(QualityMetric const& metric) {
    std::string const name(metric.name);
    return metric.unit.empty() ? name : name + " [" + std::string(metric.unit) + "]";
}

Mesh::QualityLimit ParseLimit(std::string const& text) {
    using Sense = Mesh::QualityLimit::Sense;
    std::size_t const at = text.find_first_of("<>");
    double value = 0.0;
    bool is_limit = at != std::string::npos && text.substr(at + 1, 1) == "=";
    if (is_limit) {
        char const* const end = text.data() + text.size();
        auto const [stop, fault] = std::from_chars(text.data() + at + 2, end, value);
        is_limit = fault == std::errc() && stop == end && std::isfinite(value);
    }
    if (!is_limit)
        throw Error("\"" + text + "\" is no limit; METRIC>=VALUE or METRIC<=VALUE would be right");
    return {&MetricByName(text.substr(0, at)), text[at] == '>' ? Sense::AtLeast : Sense::AtMost, value};
}

std::vector<Mesh::QualityLimit> FindLimits(std::string const& name) {
    std::string known;
    for (Mesh::QualityLimitSet const& set : Mesh::QualityLimitSets()) {
        if (set.name == name)
            return {set.limits.begin(), set.limits.end()};
        known += (known.empty() ? "" : ", ") + std::string(set.name);
    }
    throw Error("there are no limits \"" + name + "\"; there are " + known +
                " (ketmesh quality --list-limits shows them)");
}

std::string DescribeLimit(Mesh::QualityLimit const& limit) {
    bool const is_at_most = limit.sense == Mesh::QualityLimit::Sense::AtMost;
    return std::string(limit.metric->name) + (is_at_most ? " <= " : " >= ") + FormatGeneral(limit.value);
}

std::string DescribeBad(QualityMetric const& metric, Mesh::QualityThreshold const& threshold) {
    if (metric.type == MMeshQualityAnalysisOperator::Folded)
        return "folded";
    return DescribeThreshold(threshold) + (metric.quadratic ? " or folded" : "");
}

std::string DescribeThreshold(Mesh::QualityThreshold const& threshold) {
    bool const is_above = threshold.side == Mesh::QualityThreshold::Side::Above;
    return (is_above ? "above " : "below ") + FormatGeneral(threshold.value);
}

} // namespace KetSDK::MeshJobs
