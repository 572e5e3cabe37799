// SPDX-License-Identifier: BSD-3-Clause
// The analysis operator against the measures of single elements, and its promise that threads change
// nothing.
#include "../TestMeshes.h"
#include "../TestProgress.h"
#include "QualityRun.h"

#include <KetSDK/Mesh/geometry/MMeshFold.h>
#include <KetSDK/Mesh/geometry/QualityLimit.h>
#include <KetSDK/Mesh/geometry/QualityMetric.h>
#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace {

using Analysis = MMeshQualityAnalysisOperator;
using KetSDK::Mesh::FindQualityMetric;
using KetSDK::Mesh::QualityMetric;
using KetSDK::Mesh::QualityMetrics;
using Tetrahedron10 = Tetrahedron10Base<double>;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Degrees = 57.29577951308232;

// The smallest cosine at the faces of an element that has no neighbours, by the textbook.
double OrthogonalQuality(TetrahedronBase<double>& t) {
    MMVector<double, 3> const centre = t.GetCentroid();
    double smallest = 1.0;
    for (unsigned int f = 0; f < 4; ++f) {
        MTriangle<double, 3> const face = t.GetFaceOriented(f);
        MMVector<double, 3> const normal = (face[1] - face[0]).Cross(face[2] - face[0]);
        MMVector<double, 3> const line = (face[0] + face[1] + face[2]) * (1.0 / 3.0) - centre;
        double const cosine = normal.Dot(line) / (normal.Length() * line.Length());
        if (!(cosine >= smallest))
            smallest = cosine;
    }
    return smallest < 0.0 ? 0.0 : smallest;
}

// 1 for a folded element, in the coordinates of meshes.
double Folded(Tetrahedron10& q) {
    MMeshBase mesh;
    std::vector<MMeshPoint*> nodes;
    for (unsigned int i = 0; i < 10; ++i) {
        MMVector<double, 3> const p = q.GetNode(i) * double(TestMeshes::Unit);
        if (std::isnan(p[0]))
            return NaN; // no mesh has it
        nodes.push_back(mesh.AddPoint(static_cast<MLong>(std::lround(p[0])),
                                      static_cast<MLong>(std::lround(p[1])),
                                      static_cast<MLong>(std::lround(p[2]))));
    }
    return IsFolded(*mesh.AddElement(10, nodes.data()));
}

// Every metric, written out for one element: its corners t and all of it q.
using Tetrahedron = TetrahedronBase<double>;
double (*const Evaluators[])(Tetrahedron& t, Tetrahedron10& q) = {
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualitySpheres(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityInsphereEdge(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityMeanRatio(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.Volume(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityAspectRatio(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityAspectRatioTetgen(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityRadiusEdgeTetgen(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityEquiAngleSkew(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityEdgeMaxMin(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityEdgeMinMax(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityJacobian(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityScaledJacobian(); },
    [](Tetrahedron&, Tetrahedron10& q) { return q.QualityJacobianDistortion(); },
    [](Tetrahedron&, Tetrahedron10& q) { return q.MinJacobianDeterminant(); },
    [](Tetrahedron&, Tetrahedron10& q) { return q.JacobianRatio(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.GetMaxEdgeLength(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.GetMinEdgeLength(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.GetMaxCosDihedralAngle(); },
    [](Tetrahedron& t, Tetrahedron10&) { return std::acos(t.GetMaxCosDihedralAngle()) * Degrees; },
    [](Tetrahedron& t, Tetrahedron10&) { return std::acos(t.GetMinCosDihedralAngle()) * Degrees; },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityMinFacangle() * Degrees; },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityMaxFacangle() * Degrees; },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityEquiDihedralAngleSkew(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityEquiSizeSkew(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityAbacusShapeFactor(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityAnsysElementQuality(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityFluentOrthogonalQuality(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityMinCornerAngle() * Degrees; },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityMaxCornerAngle() * Degrees; },
    [](Tetrahedron& t, Tetrahedron10&) { return t.Volume(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.Volume(); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.QualityMinFacangle() * Degrees / 60.0; },
    [](Tetrahedron& t, Tetrahedron10&) { return (180.0 - t.QualityMaxFacangle() * Degrees) / 120.0; },
    [](Tetrahedron& t, Tetrahedron10&) { return OrthogonalQuality(t); },
    [](Tetrahedron&, Tetrahedron10& q) { return Folded(q); },
    [](Tetrahedron& t, Tetrahedron10&) { return t.Volume(); },
};

double Evaluate(QualityMetric const& metric, Tetrahedron10 q) {
    Tetrahedron t(q.GetNode(0), q.GetNode(1), q.GetNode(2), q.GetNode(3));
    return Evaluators[&metric - QualityMetrics().data()](t, q);
}

// An odd number of elements with corners anywhere on a small lattice, many of them flat or inverted. Some
// have ten nodes, and one in nine has too few.
void FillWithFaultyElements(MMeshBase& mesh) {
    std::mt19937 random(20261123);
    std::uniform_int_distribution<MLong> coordinate(-2, 2);
    for (unsigned int i = 0; i < 2001; ++i) {
        std::vector<MMeshPoint*> nodes(i % 9 == 0 ? i % 4 : i % 5 == 0 ? 10 : 4);
        for (MMeshPoint*& node : nodes)
            node = mesh.AddPoint(TestMeshes::Unit * coordinate(random), TestMeshes::Unit * coordinate(random),
                                 TestMeshes::Unit * coordinate(random));
        mesh.AddElement(static_cast<char>(nodes.size()), nodes.data());
    }
}

// A mesh of ten-node elements with nodes of their own, some curved, some folded or inverted.
void FillWithCurvedElements(MMeshBase& mesh, int n) {
    MMeshBase straight;
    TestMeshes::FillWithCubes(straight, n);
    std::mt19937 random(20261121);
    std::uniform_int_distribution<MLong> corner(-TestMeshes::Unit / 4, TestMeshes::Unit / 4);
    std::uniform_int_distribution<MLong> middle(-TestMeshes::Unit / 10, TestMeshes::Unit / 10);
    for (MMeshElement const& e : straight.Elements()) {
        std::vector<MMeshPoint*> nodes;
        for (unsigned int i = 0; i < 4; ++i) {
            MMeshPoint const& p = *e.GetNode(i);
            nodes.push_back(mesh.AddPoint(p.x + corner(random), p.y + corner(random), p.z + corner(random)));
        }
        for (auto const& edge : MMeshElementDescriptor::descr_tet4_tet10_point) {
            MMeshPoint const& a = *nodes[edge[0]];
            MMeshPoint const& b = *nodes[edge[1]];
            nodes.push_back(mesh.AddPoint((a.x + b.x) / 2 + middle(random), (a.y + b.y) / 2 + middle(random),
                                          (a.z + b.z) / 2 + middle(random)));
        }
        TestMeshes::AddElement(mesh, nodes);
    }
    mesh.SetMeshType(MMeshBase::Quadratic);
}

} // namespace

TEST(QualityMetric, TableHoldsForGoodAndFaultyElements) {
    double const h = std::sqrt(3.0) / 2.0;
    MMVector<double, 3> const regular[4] = {
        {0, 0, 0}, {1, 0, 0}, {0.5, h, 0}, {0.5, h / 3.0, std::sqrt(2.0 / 3.0)}};
    MMVector<double, 3> const mirrored[4] = {regular[1], regular[0], regular[2], regular[3]};
    MMVector<double, 3> const square[4] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    MMVector<double, 3> const no_number[4] = {
        regular[0], regular[1], regular[2], {NaN, regular[3][1], regular[3][2]}};

    MMeshBase mesh;
    Tetrahedron10 const ten_nodes(TestMeshes::AddElementOfKind(mesh, 10), false);
    auto const element = [&ten_nodes](MMVector<double, 3> const* corners) {
        Tetrahedron10 t = ten_nodes;
        for (unsigned int i = 0; i < 4; ++i)
            t.SetVertex(i, corners[i]);
        for (unsigned char e = 0; e < 6; ++e)
            t.SetMidVertex(e, t.GetMidEdgePoint(e));
        return t;
    };
    auto const expect = [](double value, double stated) {
        if (std::isnan(stated) || std::isinf(stated))
            EXPECT_TRUE(SameBits(value, stated)) << value << ", not " << stated;
        else
            EXPECT_NEAR(value, stated, 1e-7 * std::max(1.0, std::fabs(stated)));
    };
    std::size_t number = 0;
    for (QualityMetric const& metric : QualityMetrics()) {
        SCOPED_TRACE(metric.name);
        EXPECT_EQ(FindQualityMetric(metric.type), &metric);
        EXPECT_EQ(FindQualityMetric(metric.name), &metric);
        if ((metric.kinds & QualityMetric::Tetrahedra) == 0)
            continue; // see SolidMeasuresTest.cpp
        ++number;
        expect(Evaluate(metric, element(regular)), metric.best);
        expect(Evaluate(metric, element(mirrored)), metric.inverted);
        expect(Evaluate(metric, element(square)), metric.flat);
        expect(Evaluate(metric, element(no_number)), metric.nonfinite);
    }
    EXPECT_EQ(number, std::size(Evaluators));
    EXPECT_EQ(FindQualityMetric(-1), nullptr);
    EXPECT_EQ(FindQualityMetric(Analysis::NumberOfMetrics), nullptr);
    EXPECT_EQ(FindQualityMetric("meanratio"), nullptr);
}

TEST(QualityAnalysis, ValuesAreThoseOfTheElementsWhateverTheThreads) {
    MMeshBase mesh;
    FillWithCurvedElements(mesh, 15); // more than one window of the parallel loop
    for (QualityMetric const& metric : QualityMetrics().first(std::size(Evaluators))) {
        SCOPED_TRACE(metric.name);
        Outcome const sequential = RunAnalysis(mesh, metric.type, false);
        EXPECT_TRUE(sequential.finished);
        EXPECT_EQ(sequential.values.size(), static_cast<std::size_t>(mesh.NumberOfElements()));
        EXPECT_TRUE(std::ranges::equal(sequential.values, sequential.mask, SameBits));
        for (std::uint64_t i = 0; i < sequential.values.size(); ++i)
            ASSERT_TRUE(
                SameBits(sequential.values[i], Evaluate(metric, Tetrahedron10(mesh.GetElement(i), false))))
                << "element " << i;
        ExpectSameOnThreads(mesh, metric.type);
    }
}

TEST(QualityAnalysis, FaultyElementsHaveTheirOwnValuesWhateverStandsBesideThem) {
    MMeshBase mesh;
    FillWithFaultyElements(mesh);
    for (QualityMetric const& metric : QualityMetrics().first(std::size(Evaluators))) {
        if (metric.type == Analysis::JacobianDistortion || metric.type == Analysis::Folded ||
            metric.type == Analysis::OrthogonalQuality)
            continue; // the evaluators above are of whole elements
        SCOPED_TRACE(metric.name);
        std::vector<double> const values = RunAnalysis(mesh, metric.type, false).values;
        ASSERT_EQ(values.size(), static_cast<std::size_t>(mesh.NumberOfElements()));
        for (std::uint64_t i = 0; i < values.size(); ++i)
            ASSERT_TRUE(SameBits(values[i], Evaluate(metric, Tetrahedron10(mesh.GetElement(i), false))))
                << "element " << i;
    }
}

TEST(QualityAnalysis, CancellingIsAskedForAfterEveryHundredElements) {
    for (auto const& [elements, values] : {std::pair(99, 99), {100, 100}, {101, 100}, {250, 100}}) {
        SCOPED_TRACE(elements);
        MMeshBase mesh;
        for (int i = 0; i < elements; ++i)
            TestMeshes::AddElementOfKind(mesh, 4);
        for (bool const parallel : {false, true}) {
            Outcome const outcome = RunAnalysis(mesh, Analysis::Volume, parallel, 0.0);
            EXPECT_EQ(outcome.finished, elements < 100);
            EXPECT_EQ(outcome.values.size(), static_cast<std::size_t>(values));
            EXPECT_EQ(std::ranges::count(outcome.mask, 36.0), values);
        }
    }
}

TEST(QualityAnalysis, TheMaskHoldsZeroWhereNoElementIs) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 36); // so large that memory is kept for the next who asks
    auto& masks = *mesh.GetElementMasks();
    auto const slots_without_element_are_zero = [&] {
        {
            MDataMask<MMeshElement, double> sevens(7.0), more_sevens(7.0);
            sevens.Resize(masks.GetCapacity());
            more_sevens.Resize(masks.GetCapacity());
        }
        Analysis analysis;
        analysis.SetMesh(&mesh);
        analysis.SetCurrentMetric(Analysis::Volume);
        ASSERT_TRUE(analysis.Operate());
        std::vector<bool> has_element(masks.GetCapacity());
        for (MMeshElement const& e : mesh.Elements()) {
            ASSERT_EQ(analysis.GetQualityMask()->GetValue(e), TetrahedronBase<double>(&e).Volume());
            has_element[e.GetMaskIndex()] = true;
        }
        for (std::uint64_t i = 0; i < masks.GetCapacity(); ++i)
            ASSERT_TRUE(has_element[i] || analysis.GetQualityMask()->GetValueAt(i) == 0.0) << i;
    };
    slots_without_element_are_zero();
    MMeshElement& e = *mesh.GetElement(7);
    std::uint64_t const first_index = e.GetMaskIndex();
    masks.RegisterMaskObject(e);
    {
        SCOPED_TRACE("an index is in use, but its element has another one");
        slots_without_element_are_zero();
    }
    std::uint64_t const second_index = e.GetMaskIndex();
    e.SetMaskIndex(first_index);
    masks.UnregisterMaskObject(e);
    e.SetMaskIndex(second_index);
    SCOPED_TRACE("an index between others is free");
    slots_without_element_are_zero();
}

TEST(QualityAnalysis, RangeAndPartitionsFollowTheRulesOfTheMetric) {
    // Volumes of 36 and, mirrored, -36; edges of 6 and 6 sqrt(2); face angles of 45, 60 and 90 degrees.
    MMeshBase mesh;
    TestMeshes::AddElementOfKind(mesh, 4);
    std::vector<MMeshPoint*> nodes = TestMeshes::AddNodes(mesh, TestMeshes::Corners(4));
    std::swap(nodes[0], nodes[1]);
    TestMeshes::AddElement(mesh, nodes);

    double const diagonal = std::sqrt(72.0);
    struct {
        Analysis::QualityType metric;
        int partitions;
        double width, bound, min_range, max_range;
        unsigned int expected_partitions;
        int counted;
    } const cases[] = {
        {Analysis::EdgeMinMax, 10, 0.0, DBL_MAX, 0.0, 1.0, 10, 2},
        {Analysis::EdgeMinMax, 7, 0.0, 0.5, 0.0, 0.5, 7, 0},
        {Analysis::EdgeMinMax, 10, 0.1, DBL_MAX, 0.0, 1.0, 10, 2},
        {Analysis::EdgeMinMax, 10, 0.3, DBL_MAX, 0.0, 4 * 0.3, 4, 2},
        {Analysis::MeanRatio, 10, 0.0, DBL_MAX, 0.0, 1.0, 10, 1}, // not a number for the mirrored one
        {Analysis::MaxEdgeLength, 10, 0.0, DBL_MAX, 0.0, diagonal, 10, 2},
        {Analysis::MaxEdgeLength, 10, 1.0, DBL_MAX, 0.0, 9.0, 9, 2},
        {Analysis::MaxEdgeLength, 10, 0.0, 3.0, 0.0, 3.0, 10, 0},
        {Analysis::VolumeInRange, 10, 0.0, DBL_MAX, 0.0, 36.0, 10, 1},
        {Analysis::VolumeInRange2, 10, 0.0, 40.0, 0.0, 36.0, 10, 1},
        {Analysis::MaxFaceAngle, 18, 0.0, DBL_MAX, 0.0, 180.0, 18, 2},
        {Analysis::MaxFaceAngle, 10, 0.0, 60.0, 0.0, 60.0, 10, 0},
        {Analysis::MaxFaceAngle, 10, 50.0, DBL_MAX, 0.0, 200.0, 4, 2},
        {Analysis::Volume, 12, 0.0, 1.0, -36.0, 36.0, 12, 2}, // the bound does not hold here
        {Analysis::Volume, 12, 5.0, DBL_MAX, -36.0, 36.0, 0, 0},
        {Analysis::EdgeMinMax, -3, 0.0, DBL_MAX, 0.0, 1.0, 0, 0},
        {Analysis::EdgeMinMax, 10, 0.1, -1.0, 0.0, 0.0, 0, 0},      // a negative number of bins is none
        {Analysis::EdgeMinMax, 10, 1e-12, DBL_MAX, 0.0, 0.0, 0, 0}, // more bins than can be counted
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(FindQualityMetric(c.metric)->name);
        SCOPED_TRACE(c.width);
        Analysis analysis;
        analysis.SetMesh(&mesh);
        analysis.SetCurrentMetric(c.metric);
        analysis.SetNbPartitions(c.partitions);
        analysis.SetPartitionWidth(c.width);
        analysis.SetMaxBound(c.bound);
        ASSERT_TRUE(analysis.Operate());
        auto const& histogram = *analysis.GetQualityHistogram();
        EXPECT_EQ(histogram.GetNbPartitions(), c.expected_partitions);
        EXPECT_EQ(histogram.GetTotalSum(), c.counted);
        EXPECT_EQ(histogram.GetValues().size(), 2u);
        if (c.max_range > c.min_range) {
            EXPECT_NEAR(histogram.GetMinRange(), c.min_range, 1e-12);
            EXPECT_NEAR(histogram.GetMaxRange(), c.max_range, 1e-12);
        }
    }
}

TEST(QualityAnalysis, BetterFollowsTheSenseOfTheMetric) {
    Analysis::QualityType const higher[] = {Analysis::Spheres,        Analysis::InsphereEdge,
                                            Analysis::MeanRatio,      Analysis::AspectRatio,
                                            Analysis::EquiAngleSkew,  Analysis::EdgeMinMax,
                                            Analysis::ScaledJacobian, Analysis::MinDihedralAngle,
                                            Analysis::MinFaceAngle,   Analysis::OrthogonalQuality};
    Analysis::QualityType const lower[] = {Analysis::AspectRatioTetgen,
                                           Analysis::RadiusEdgeTetgen,
                                           Analysis::EdgeMaxMin,
                                           Analysis::MaxDihedralAngle,
                                           Analysis::MinJacobianDeterminant,
                                           Analysis::MaxFaceAngle,
                                           Analysis::JacobianRatio,
                                           Analysis::Folded};
    for (int metric = -1; metric <= Analysis::CornerVolume + 1; ++metric) {
        SCOPED_TRACE(metric);
        Analysis analysis;
        analysis.SetCurrentMetric(static_cast<Analysis::QualityType>(metric));
        EXPECT_EQ(analysis.IsBetterThan(0.5, 0.4), std::ranges::count(higher, metric) == 1);
        EXPECT_EQ(analysis.IsBetterThan(0.4, 0.5), std::ranges::count(lower, metric) == 1);
        EXPECT_FALSE(analysis.IsBetterThan(0.5, 0.5));
    }
}

TEST(QualityAnalysis, RefusesWhatItCannotMeasure) {
    Analysis analysis;
    EXPECT_FALSE(analysis.Operate());
    EXPECT_EQ(analysis.GetQualityHistogram(), nullptr);
    EXPECT_EQ(analysis.GetQualityMask(), nullptr);

    MMeshBase mesh;
    TestMeshes::AddElementOfKind(mesh, 4);
    analysis.SetMesh(&mesh);
    for (int const metric : {int{Analysis::JacobianDistortion}, -1, 33}) {
        auto const progress = std::make_shared<RecordingDelegate>();
        analysis.SetProgressDelegate(progress);
        analysis.SetCurrentMetric(static_cast<Analysis::QualityType>(metric));
        EXPECT_FALSE(analysis.Operate());
        EXPECT_TRUE(analysis.GetQualityHistogram()->GetValues().empty());
        EXPECT_EQ(analysis.GetQualityMask()->GetValue(*mesh.GetElement(0)), 0.0);
        EXPECT_EQ(progress->Last(), 1.0);
        EXPECT_FALSE(progress->m_running);
    }
    // The other quadratic metrics take a linear element as straight-sided.
    for (auto const& [metric, value] :
         {std::pair(Analysis::MinJacobianDeterminant, 216.0), {Analysis::JacobianRatio, 1.0}}) {
        analysis.SetCurrentMetric(metric);
        EXPECT_TRUE(analysis.Operate());
        EXPECT_EQ(analysis.GetQualityMask()->GetValue(*mesh.GetElement(0)), value);
    }
}

TEST(QualityAnalysis, FluentOrthogonalQualityLooksAcrossFacesOnceNeighboursAreKnown) {
    // The normal of the shared face, as the other element winds it, is compared with the line to the
    // centroid of the other one. The second element is inverted and winds the face like the first.
    MMeshBase mesh;
    std::vector<MMeshPoint*> const n =
        TestMeshes::AddNodes(mesh, {{0, 0, 0}, {6, 0, 0}, {0, 6, 0}, {1, 2, 6}, {2, 1, -4}});
    TestMeshes::AddElement(mesh, {n[0], n[1], n[2], n[3]});
    TestMeshes::AddElement(mesh, {n[0], n[1], n[2], n[4]});
    MMVector<double, 3> const line(1.0 / 4.0, -1.0 / 4.0, -10.0 / 4.0); // from the first centroid
    double const across = line[2] / line.Length();

    std::vector<double> const alone = RunAnalysis(mesh, Analysis::FluentOrthogonalQuality, false).values;
    mesh.GetNeighborsInfo()->Enable();
    std::vector<double> const together = RunAnalysis(mesh, Analysis::FluentOrthogonalQuality, true).values;
    EXPECT_NEAR(together[0], across, 1e-15);
    EXPECT_GT(alone[0], 0.5);
    EXPECT_EQ(together[1], alone[1]); // the line back has the direction of the normal: the best value
    mesh.GetNeighborsInfo()->Disable();
    EXPECT_EQ(RunAnalysis(mesh, Analysis::FluentOrthogonalQuality, false).values, alone);
}

TEST(QualityAnalysis, OrthogonalQualityTakesTheOutwardNormalOnBothSides) {
    MMeshBase mesh;
    std::vector<MMeshPoint*> const n =
        TestMeshes::AddNodes(mesh, {{0, 0, 0}, {6, 0, 0}, {0, 6, 0}, {1, 2, 6}, {5, 5, -4}});
    TestMeshes::AddElement(mesh, {n[0], n[1], n[2], n[3]});
    TestMeshes::AddElement(mesh, {n[1], n[0], n[2], n[4]});
    std::vector<double> const alone = RunAnalysis(mesh, Analysis::OrthogonalQuality, false).values;
    mesh.GetNeighborsInfo()->Enable();
    std::vector<double> const together = RunAnalysis(mesh, Analysis::OrthogonalQuality, true).values;
    MMVector<double, 3> const line(4.0 / 4.0, 3.0 / 4.0, -10.0 / 4.0); // from one centroid to the other
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_GT(alone[i], 0.1);
        EXPECT_NEAR(together[i], std::min(alone[i], 10.0 / 4.0 / line.Length()), 1e-15);
    }
}
