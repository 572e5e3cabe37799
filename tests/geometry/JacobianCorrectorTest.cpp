#include "TestMeshes.h"

#include <KetSDK/Mesh/geometry/MMeshJacobianCorrectorOperator.h>
#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace {

using Vector = MMVector<double, 3>;
using Position = MMVector<MLong, 3>;
using Element = Tetrahedron10Base<MLong>;

Position At(MMeshPoint const& p) {
    return {p.x, p.y, p.z};
}

void Move(MMeshPoint& p, Position const& to) {
    p.x = to[0], p.y = to[1], p.z = to[2];
}

std::vector<TestMeshes::Coordinates> Positions(MMeshBase& mesh) {
    std::vector<TestMeshes::Coordinates> all;
    for (MMeshPointIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
        all.push_back({p->x, p->y, p->z});
    return all;
}

// Cubes of ten-node tetrahedra with bent edges; every third edge is bent the stronger.
void FillWithCurvedCubes(MMeshBase& mesh, int n, double bend, unsigned int seed) {
    MMeshBase straight;
    TestMeshes::FillWithCubes(straight, n);
    for (MMeshPointIterator p = straight.BeginPoint(); p != straight.EndPoint(); ++p)
        mesh.AddPoint(p->x, p->y, p->z);
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> shift(-bend * TestMeshes::Unit, bend * TestMeshes::Unit);
    std::map<std::set<MLong>, MMeshPoint*> mid_nodes;
    for (MMeshElement const& e : straight.Elements()) {
        std::vector<MMeshPoint*> nodes;
        for (unsigned int i = 0; i < 4; ++i)
            nodes.push_back(mesh.GetRandomPoint(static_cast<std::uint64_t>(e.GetNode(i)->GetIndex())));
        for (auto const& [i, j] : MMeshElementDescriptor::descr_tet4_tet10_point) {
            MMeshPoint const &a = *nodes[i], &b = *nodes[j];
            MMeshPoint*& mid = mid_nodes[{a.GetIndex(), b.GetIndex()}];
            auto const bent = [&](MLong p, MLong q) {
                double const strength = mid_nodes.size() % 3 == 0 ? 1.0 : 0.2;
                return static_cast<MLong>(std::lround((p + q) / 2.0 + strength * shift(random)));
            };
            if (!mid)
                mid = mesh.AddPoint(bent(a.x, b.x), bent(a.y, b.y), bent(a.z, b.z));
            nodes.push_back(mid);
        }
        TestMeshes::AddElement(mesh, nodes);
    }
}

// The corrector's passes without anything that makes them fast: every element is looked at in every
// pass, and every mid node from each face that it lies on.
struct PlainCorrector {
    double min_alignment = 0.333333, min_ratio = 0.0, max_ratio = 30.0;
    int corrections = 0, passes = 0;
    double smallest_ratio = 0.0, largest_ratio = 0.0;
    std::set<MMeshElement const*> modified = {};

    template <typename Good>
    static double Bisect(Good&& good) {
        double low = 0.0, high = 1.0;
        while (std::fabs(low - high) >= 1e-6) {
            double const middle = (low + high) / 2.0;
            good(middle) ? low = middle : high = middle;
        }
        return low;
    }

    void CorrectMidNode(MMeshPoint& mid, Position const& a, Position const& b) {
        Vector const A(a), B(b), M(At(mid)), C = (A + B) / 2.0;
        auto const candidate = [&](double f) {
            Position p;
            for (std::size_t i = 0; i < 3; ++i)
                p[i] = static_cast<MLong>(std::lround(C[i] + f * (M[i] - C[i])));
            return p;
        };
        auto const good = [&](double f) {
            Vector const u = Vector(candidate(f)) - A, v = B - Vector(candidate(f));
            return u.Dot(v) >= min_alignment * u.Length() * v.Length();
        };
        if (good(1.0) || !good(0.0))
            return;
        Move(mid, candidate(Bisect(good)));
        ++corrections;
    }

    bool Bad(double r) const { return r < min_ratio || r > max_ratio; }

    bool CorrectRatio(MMeshElement& e) {
        Element const as_found(&e, true);
        auto const shrunk = [&](double f) {
            Element copy(as_found);
            copy.ShrinkMidEdges(f);
            return copy;
        };
        double const r = Element(as_found).JacobianRatio(), straight = shrunk(0.0).JacobianRatio();
        smallest_ratio = std::min(smallest_ratio, r);
        largest_ratio = std::max(largest_ratio, r);
        if (!Bad(r) || straight <= min_ratio || straight >= max_ratio)
            return false;
        Element const result = shrunk(Bisect([&](double f) { return !Bad(shrunk(f).JacobianRatio()); }));
        for (unsigned int m = 0; m < 6; ++m)
            Move(*e.GetNode(4 + m), result.GetMidVertex(m));
        modified.insert(&e);
        return true;
    }

    void Operate(MMeshBase& mesh) {
        for (MMeshElement& e : mesh.Elements())
            for (auto const& triple : MMeshElementDescriptor::descr_tet10_midpoints)
                for (unsigned int const place : triple) {
                    auto const& [a, b] = MMeshElementDescriptor::descr_tet4_tet10_point[place - 4];
                    CorrectMidNode(*e.GetNode(place), At(*e.GetNode(a)), At(*e.GetNode(b)));
                }
        for (bool again = true; again; ++passes) {
            again = false;
            smallest_ratio = DBL_MAX, largest_ratio = -DBL_MAX;
            for (MMeshElement& e : mesh.Elements())
                again |= CorrectRatio(e);
        }
    }
};

} // namespace

TEST(JacobianCorrector, DoesWhatThePlainPassesDo) {
    struct Case {
        double bend, min_alignment, max_ratio;
    };
    unsigned int seed = 0;
    for (Case const c : {Case{0.1, 0.333333, 30.0}, Case{0.5, 0.333333, 30.0}, Case{0.5, -2.0, 5.0},
                         Case{1.5, 0.8, 3.0}, Case{2.5, -2.0, 30.0}}) {
        SCOPED_TRACE(++seed);
        MMeshBase mesh;
        FillWithCurvedCubes(mesh, 4, c.bend, seed);
        MMeshBase expected(mesh);
        PlainCorrector plain{.min_alignment = c.min_alignment, .max_ratio = c.max_ratio};
        plain.Operate(expected);

        MMeshJacobianCorrectorOperator corrector;
        corrector.SetMinAlignmentThreshold(c.min_alignment);
        corrector.SetMaxRatioThreshold(c.max_ratio);
        corrector.SetMesh(&mesh);
        ASSERT_TRUE(corrector.Operate());
        EXPECT_EQ(Positions(mesh), Positions(expected));
        EXPECT_EQ(corrector.GetNbModified(), static_cast<int>(plain.modified.size()));
        EXPECT_EQ(corrector.GetNbMidNodeCorrections(), plain.corrections);
        EXPECT_EQ(corrector.GetNbPasses(), plain.passes);
        EXPECT_EQ(corrector.GetSmallestRatio(), plain.smallest_ratio);
        EXPECT_EQ(corrector.GetLargestRatio(), plain.largest_ratio);
        EXPECT_EQ(corrector.GetNbOuterElements(), (4 * 4 * 4 - 2 * 2 * 2) * 6);
    }
}

// A mid node that slides along its edge by s edge lengths gives the ratio (1 + 4 s) / (1 - 4 s), and
// folds the element from s = 1/4 on.
TEST(JacobianCorrector, PullsASlidNodeBackJustAsFarAsTheRatioAsks) {
    for (double const max_ratio : {30.0, 10.0, 1.5})
        for (double const slid : {0.24, 0.3, 0.45}) {
            SCOPED_TRACE(testing::Message() << max_ratio << " " << slid);
            MMeshBase mesh;
            MMeshElement* const e = TestMeshes::AddElementOfKind(mesh, 10);
            double const length = 6.0 * TestMeshes::Unit;
            auto const middle = static_cast<MLong>(length / 2.0);
            e->GetNode(4)->x += static_cast<MLong>(slid * length);
            auto expected = Positions(mesh);
            MMeshJacobianCorrectorOperator corrector;
            corrector.SetMesh(&mesh);
            corrector.SetMaxRatioThreshold(max_ratio);
            ASSERT_TRUE(corrector.Operate());
            EXPECT_EQ(corrector.GetNbModified(), 1);
            EXPECT_EQ(corrector.GetNbMidNodeCorrections(), 0);
            double const left = (e->GetNode(4)->x - middle) / length;
            double const limit = (max_ratio - 1.0) / (max_ratio + 1.0) / 4.0;
            EXPECT_LE(left, limit);
            EXPECT_GT(left, limit - 1e-6 * slid - 1.0 / length);
            expected[4][0] = e->GetNode(4)->x;
            EXPECT_EQ(Positions(mesh), expected) << "nothing else moved";
        }
}

// On an edge of length 2 h a mid node at the height d above the middle has the alignment
// (h^2 - d^2) / (h^2 + d^2). Box and coordinate index follow it down.
TEST(JacobianCorrector, PullsABulgingNodeBackToTheAlignment) {
    MMeshBase mesh;
    mesh.ForbidDuplicatePoints();
    MMeshElement* const e = TestMeshes::AddElementOfKind(mesh, 10);
    double const h = 3.0 * TestMeshes::Unit;
    e->GetNode(4)->z = -5 * TestMeshes::Unit;
    mesh.NodesMoved();
    MMeshJacobianCorrectorOperator corrector;
    corrector.SetMesh(&mesh);
    corrector.SetMinAlignmentThreshold(0.6);
    corrector.SetMaxRatioThreshold(1e9); // h / 2 below the edge, the element does not fold
    ASSERT_TRUE(corrector.Operate());
    EXPECT_EQ(corrector.GetNbMidNodeCorrections(), 1);
    EXPECT_DOUBLE_EQ(corrector.GetLargestDeviation(), 5.0);
    EXPECT_DOUBLE_EQ(corrector.GetLargestRelativeDeviation(), 5.0 / 6.0);
    EXPECT_DOUBLE_EQ(corrector.GetSmallestAlignment(), (9.0 - 25.0) / (9.0 + 25.0));
    EXPECT_NEAR(-e->GetNode(4)->z, h / 2.0, 1e-6 * 5 * TestMeshes::Unit + 1.0);
    EXPECT_EQ(mesh.GetBoundingBox().GetMin()[2], e->GetNode(4)->z);
    Position const p = At(*e->GetNode(4));
    EXPECT_EQ(mesh.AddPoint(p[0], p[1], p[2])->GetIndex(), e->GetNode(4)->GetIndex());
}

TEST(JacobianCorrector, LeavesAloneWhatItCannotHelp) {
    MMeshJacobianCorrectorOperator corrector;
    EXPECT_FALSE(corrector.Operate());

    MMeshBase mesh;
    for (int const kind : {4, 6, 8, 10})
        TestMeshes::AddElementOfKind(mesh, static_cast<unsigned char>(kind));
    // Flat and bent: no better when straight. Then a mid node on an edge without length.
    auto const add_moved = [&mesh](std::map<unsigned int, TestMeshes::Coordinates> const& moved) {
        auto corners = TestMeshes::Corners(10);
        for (auto const& [node, to] : moved)
            corners[node] = to;
        TestMeshes::AddElement(mesh, TestMeshes::AddNodes(mesh, corners));
    };
    add_moved({{3, {6, 6, 0}}, {7, {3, 3, 1}}, {8, {6, 3, 1}}, {9, {3, 6, -1}}});
    add_moved({{1, {0, 0, 0}}, {5, {0, 3, 0}}, {8, {0, 0, 3}}});
    // Two elements that want one node on different edges, and a mid node that is a corner elsewhere.
    auto const first = TestMeshes::AddNodes(mesh, TestMeshes::Corners(10));
    auto second = TestMeshes::AddNodes(mesh, TestMeshes::Corners(10));
    first[4]->x += 2 * TestMeshes::Unit;
    second[9] = first[4];
    auto third = TestMeshes::AddNodes(mesh, TestMeshes::Corners(10));
    third[5] = first[0];
    for (auto const& of : {first, second, third})
        TestMeshes::AddElement(mesh, of);

    corrector.SetMesh(&mesh);
    for (auto const& [min_ratio, max_ratio] : {std::pair(0.0, 30.0), {0.0, 1.0}, {1.0, 30.0}, {50.0, 30.0}}) {
        SCOPED_TRACE(testing::Message() << min_ratio << " " << max_ratio);
        auto const before = Positions(mesh);
        corrector.SetMinRatioThreshold(min_ratio);
        corrector.SetMaxRatioThreshold(max_ratio);
        ASSERT_TRUE(corrector.Operate());
        EXPECT_EQ(corrector.GetNbModified(), 0);
        EXPECT_EQ(corrector.GetNbPasses(), 1);
        EXPECT_EQ(Positions(mesh), before);
        // With thresholds that exclude the straight form even this one is left alone.
        TestMeshes::AddElementOfKind(mesh, 10)->GetNode(4)->x += 2 * TestMeshes::Unit;
    }
    EXPECT_EQ(corrector.GetNbOuterElements(), mesh.NumberOfElements() - 1);
}
