// SPDX-License-Identifier: BSD-3-Clause
#include "Record.h"

#include <KetSDK/Mesh/geometry/QualityLimit.h>
#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <KetSDK/Mesh/materials/MaterialPreset.h>
#include <KetSDK/MeshJobs/Metrics.h>

#include <string>
#include <utility>
#include <vector>

namespace ketmesh {

namespace {

using KetSDK::Mesh::MaterialPreset;
using KetSDK::Mesh::QualityLimit;
using KetSDK::Mesh::QualityLimitSet;
using KetSDK::Mesh::QualityMetric;

char const* WordOfSense(QualityMetric const& metric) {
    using Sense = QualityMetric::Sense;
    return metric.sense == Sense::Higher ? "higher" : metric.sense == Sense::Lower ? "lower" : "none";
}

std::vector<std::string> LimitsOf(QualityLimitSet const& set) {
    std::vector<std::string> texts;
    for (QualityLimit const& limit : set.limits)
        texts.push_back(KetSDK::MeshJobs::DescribeLimit(limit));
    return texts;
}

// The rows of a table by name.
template <typename Rows>
py::dict ByName(Rows const& rows) {
    py::dict table;
    for (auto const& row : rows)
        table[py::str(std::string(row.name))] = py::cast(row);
    return table;
}

} // namespace

void AddTables(py::module_& module) {
    Record<QualityMetric>(module, "Metric", "A quality metric.")
        .Field("name", &QualityMetric::name, "")
        .Field("definition", &QualityMetric::definition, "in words and symbols")
        .Field("unit", &QualityMetric::unit, "empty for a pure number")
        .Field("values", &QualityMetric::values, "that correctly oriented elements can have, as an interval")
        .Field("better", &WordOfSense, "\"higher\", \"lower\" or \"none\"")
        .Field("quadratic", &QualityMetric::quadratic, "it sees mid-edge nodes")
        .Field("best", &QualityMetric::best, "value of the regular tetrahedron")
        .Field("source", &QualityMetric::source, "in the literature");
    Record<MaterialPreset>(module, "Preset", "A published law and modulus.")
        .Field("name", &MaterialPreset::name, "")
        .Field("site", &MaterialPreset::site, "of the bone")
        .Field("law", &MaterialPreset::law, "a, b, c, d, e of density [g/cm3] = a + b x^c + d x^e, x in HU")
        .Field("modulus", &MaterialPreset::modulus, "p, q of E [MPa] = p density^q")
        .Field(
            "density_range",
            [](MaterialPreset const& p) { return std::pair(p.lowest_density, p.highest_density); },
            "g/cm3, of the specimens behind the modulus")
        .Field(
            "grey_range", [](MaterialPreset const& p) { return std::pair(p.LowestGrey(), p.HighestGrey()); },
            "Hounsfield units of those densities")
        .Field("law_source", &MaterialPreset::law_source, "in the literature")
        .Field("modulus_source", &MaterialPreset::modulus_source, "in the literature")
        .Field("compared", &MaterialPreset::compared,
               "how far the figures were compared with a second source");
    Record<QualityLimitSet>(module, "LimitSet", "The limits that a solver documents.")
        .Field("name", &QualityLimitSet::name, "")
        .Field("solver", &QualityLimitSet::solver, "")
        .Field("limits", &LimitsOf, "in words")
        .Field("source", &QualityLimitSet::source, "")
        .Field("note", &QualityLimitSet::note, "what was left out or stands in for something");
    module.def("metrics", [] { return ByName(KetSDK::Mesh::QualityMetrics()); });
    module.def("presets", [] { return ByName(KetSDK::Mesh::MaterialPresets()); });
    module.def("limits", [] { return ByName(KetSDK::Mesh::QualityLimitSets()); });
}

} // namespace ketmesh
