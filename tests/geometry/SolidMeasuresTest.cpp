// SPDX-License-Identifier: BSD-3-Clause
// Measures of hexahedra and wedges against Verdict's.
#include "../TestMeshes.h"
#include "QualityRun.h"
#include "VerdictAdapter.h"

#include <KetSDK/Mesh/geometry/MMeshSolidMeasures.h>
#include <KetSDK/Mesh/geometry/QualityMetric.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <span>

namespace {

using Analysis = MMeshQualityAnalysisOperator;
using KetSDK::Mesh::FindQualityMetric;
using KetSDK::Mesh::QualityMetric;
using KetSDK::Mesh::QualityMetrics;
using KetSDK::Mesh::Detail::VerdictMeasure;

using Corners = std::array<std::array<double, 3>, 8>;

constexpr Corners Cube = {
    {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}}};

MMeshElement* AddSolid(MMeshBase& mesh, Corners const& corners, std::size_t count) {
    std::vector<MMeshPoint*> nodes;
    for (std::size_t i = 0; i < count; ++i) {
        auto const round = [](double c) { return static_cast<MLong>(std::lround(c * TestMeshes::Unit)); };
        nodes.push_back(mesh.AddPoint(round(corners[i][0]), round(corners[i][1]), round(corners[i][2])));
    }
    return mesh.AddElement(static_cast<char>(count), nodes.data());
}

double MeasureSolid(MMeshElement const& element, Analysis::QualityType type, VerdictMeasure verdict) {
    double nodes[8][3];
    for (unsigned int i = 0; i < element.GetNodeCount(); ++i)
        for (std::size_t axis = 0; axis < 3; ++axis)
            nodes[i][axis] = element.GetNode(i)->GetPosition()[axis];
    double const value = verdict(element.GetNodeCount(), nodes);
    // Verdict has 1e30 for infinity, of which it takes thirds and means.
    return value >= 1e28 && type != Analysis::Jacobian ? std::numeric_limits<double>::infinity() : value;
}

Outcome MeasureAll(MMeshBase& mesh, Analysis::QualityType type) {
    Analysis analysis;
    analysis.SetMesh(&mesh);
    analysis.SetCurrentMetric(type);
    analysis.SetEveryKind(true);
    analysis.SetParallel(true);
    EXPECT_TRUE(analysis.Operate());
    Outcome outcome{};
    std::span<double const> const values = analysis.GetQualityHistogram()->GetValues();
    outcome.values.assign(values.begin(), values.end());
    return outcome;
}

TEST(SolidMeasures, AreThoseOfVerdict) {
    std::mt19937 random(20261122);
    std::uniform_real_distribution<double> shift(-0.3, 0.3);
    MMeshBase mesh;
    for (int i = 0; i < 300; ++i) {
        Corners corners = Cube;
        bool const is_wedge = i % 2 == 1;
        if (is_wedge)
            corners = {{{0, 0, 0}, {1, 0, 0}, {0.5, 0.9, 0}, {0, 0, 1}, {1, 0, 1}, {0.5, 0.9, 1}}};
        for (auto& corner : corners)
            for (std::size_t axis = 0; axis < 3; ++axis)
                corner[axis] = (corner[axis] + shift(random)) * double(axis + 2);
        AddSolid(mesh, corners, is_wedge ? 6 : 8);
    }
    for (auto const& [type, hexahedron, wedge] : KetSDK::Mesh::Detail::VerdictSolids) {
        SCOPED_TRACE(FindQualityMetric(type)->name);
        std::vector<double> const values = MeasureAll(mesh, type).values;
        for (std::uint64_t i = 0; i < values.size(); ++i) {
            VerdictMeasure const verdict = i % 2 == 1 ? wedge : hexahedron;
            if (!verdict)
                continue;
            double const expected = MeasureSolid(*mesh.GetElement(i), type, verdict);
            if (std::isinf(expected))
                EXPECT_EQ(values[i], expected) << i;
            else
                EXPECT_NEAR(values[i], expected, 1e-10 * std::max(1.0, std::fabs(expected))) << i;
        }
    }
}

TEST(SolidMeasures, AreStatedForGoodAndFaultyCubes) {
    MMeshBase mesh;
    Corners inside_out = Cube, flat = Cube;
    std::rotate(inside_out.begin(), inside_out.begin() + 4, inside_out.end());
    for (auto& corner : flat)
        corner[2] = 0.0;
    for (Corners const& corners : {Cube, inside_out, flat})
        AddSolid(mesh, corners, 8);
    for (QualityMetric const& metric : QualityMetrics()) {
        SCOPED_TRACE(metric.name);
        if (metric.type == Analysis::JacobianDistortion)
            continue; // of quadratic meshes
        std::vector<double> const values = MeasureAll(mesh, metric.type).values;
        if ((metric.kinds & QualityMetric::Hexahedra) == 0) {
            EXPECT_TRUE(std::ranges::all_of(values, [](double v) { return std::isnan(v); }));
        } else if ((metric.kinds & QualityMetric::Tetrahedra) == 0) {
            EXPECT_NEAR(values[0], metric.best, 1e-12);
            EXPECT_EQ(values[1], metric.inverted);
            EXPECT_EQ(values[2], metric.flat);
        }
    }
    std::vector<double> const volumes = MeasureAll(mesh, Analysis::Volume).values;
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_NEAR(volumes[i], 1.0 - static_cast<double>(i == 1 ? 2 : i == 2), 1e-12);
    EXPECT_EQ(MeasureAll(mesh, Analysis::EdgeMaxMin).values[0], 1.0);
    EXPECT_NEAR(MeasureAll(mesh, Analysis::MinFaceAngle).values[0], 90.0, 1e-12);
    EXPECT_NEAR(MeasureAll(mesh, Analysis::MaxFaceAngle).values[0], 90.0, 1e-12);
}

} // namespace
