// SPDX-License-Identifier: BSD-3-Clause
// Hexahedra and wedges cut into tetrahedra that fit together, held against counts of faces and against
// volumes.
#include "OriginsWitness.h"
#include "TestMeshes.h"
#include "TestProgress.h"

#include <KetSDK/Mesh/geometry/MMeshConformingCutOperator.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/Mesh/persistence/MMeshCarrying.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <numbers>
#include <numeric>
#include <random>
#include <vector>

namespace {

using TestMeshes::AddElement;
using TestMeshes::Unit;
using Counts = MMeshConformingCutOperator::Counts;

// Bodies of n x n x n cubes, with nodes numbered at random.
class Grid {
public:
    explicit Grid(int n)
        : m_n(n) {
        std::vector<std::size_t> places(static_cast<std::size_t>((n + 1) * (n + 1) * (n + 1)));
        std::iota(places.begin(), places.end(), std::size_t{0});
        std::ranges::shuffle(places, m_random);
        m_nodes.resize(places.size());
        auto const side = static_cast<std::size_t>(n + 1);
        for (std::size_t const i : places)
            m_nodes[i] =
                mesh.AddPoint(static_cast<MLong>(i % side) * Unit, static_cast<MLong>(i / side % side) * Unit,
                              static_cast<MLong>(i / side / side) * Unit);
    }

    // Elements of each cube, in three sub-volumes: one hexahedron, two wedges or six tetrahedra.
    void Fill(std::vector<int> const& kinds) {
        mesh.AddSubVolume()->SetName(L"second");
        std::size_t cube = 0;
        for (int z = 0; z < m_n; ++z)
            for (int y = 0; y < m_n; ++y)
                for (int x = 0; x < m_n; ++x, ++cube)
                    FillCube(CornersAt(x, y, z), kinds[cube % kinds.size()]);
        for (MMeshElement& e : mesh.Elements())
            if (m_random() % 2 == 0)
                mesh.GetMainSubVolume()->MoveElement(e, (mesh.BeginSubVolume() + 1)->get());
    }

    // Moves all nodes.
    template <typename Shape>
    void Deform(Shape const& shape) {
        for (MMeshPoint* const p : m_nodes) {
            double x = p->x, y = p->y, z = p->z;
            shape(x, y, z);
            p->x = static_cast<MLong>(std::lround(x));
            p->y = static_cast<MLong>(std::lround(y));
            p->z = static_cast<MLong>(std::lround(z));
        }
        mesh.NodesMoved();
    }
    // Moves the inner nodes by up to a part of a cube.
    void Shake(double part) {
        MLong const far = m_n * Unit;
        std::uniform_real_distribution<double> way(-part * Unit, part * Unit);
        for (MMeshPoint* const p : m_nodes)
            if (std::ranges::none_of(std::array{p->x, p->y, p->z},
                                     [far](MLong c) { return c == 0 || c == far; }))
                for (MLong* const c : {&p->x, &p->y, &p->z})
                    *c += static_cast<MLong>(way(m_random));
        mesh.NodesMoved();
    }

    MMeshBase mesh;

private:
    using Cube = std::array<MMeshPoint*, 8>;

    Cube CornersAt(int x, int y, int z) const {
        auto const at = [&](int i, int j, int k) {
            return m_nodes[static_cast<std::size_t>(((z + k) * (m_n + 1) + y + j) * (m_n + 1) + x + i)];
        };
        return {at(0, 0, 0), at(1, 0, 0), at(1, 1, 0), at(0, 1, 0),
                at(0, 0, 1), at(1, 0, 1), at(1, 1, 1), at(0, 1, 1)};
    }

    void FillCube(Cube const& c, int kind) {
        if (kind == 8) {
            AddElement(mesh, {c.begin(), c.end()});
        } else if (kind == -8) { // inverted
            AddElement(mesh, {c[4], c[5], c[6], c[7], c[0], c[1], c[2], c[3]});
        } else if (kind == 6) {
            AddElement(mesh, {c[0], c[1], c[2], c[4], c[5], c[6]});
            AddElement(mesh, {c[0], c[2], c[3], c[4], c[6], c[7]});
        } else if (kind == 86) { // hexahedra that have collapsed to wedges
            AddElement(mesh, {c[0], c[1], c[2], c[2], c[4], c[5], c[6], c[6]});
            AddElement(mesh, {c[0], c[2], c[3], c[3], c[4], c[6], c[7], c[7]});
        } else {
            for (auto const& t : MMeshElementDescriptor::descr_6tetra_point)
                AddElement(mesh, {c[t[0]], c[t[1]], c[t[3]], c[t[2]]});
        }
    }

    int m_n;
    std::mt19937 m_random{11};
    std::vector<MMeshPoint*> m_nodes;
};

// How many faces belong to one tetrahedron, to two and to more.
std::array<std::size_t, 3> FacesByOwners(MMeshBase& mesh) {
    std::map<std::array<MLong, 3>, int> owners;
    for (MMeshElement const& e : mesh.Elements())
        for (auto const& face : MMeshElementDescriptor::descr_triangle_point) {
            std::array<MLong, 3> key{};
            std::ranges::transform(face, key.begin(),
                                   [&e](unsigned char i) { return e.GetNode(i)->GetIndex(); });
            std::ranges::sort(key);
            ++owners[key];
        }
    std::array<std::size_t, 3> counts{};
    for (auto const& entry : owners)
        ++counts[static_cast<std::size_t>(std::min(entry.second, 3) - 1)];
    return counts;
}

struct Result {
    MMeshBase mesh;
    MMeshOrigins origins;
    Counts counts;
    double least = 1e300; // volume
};

void Cut(MMeshBase& source, Result& result) {
    MMeshConformingCutOperator cut;
    cut.SetMesh(&source);
    cut.SetTet4Mesh(&result.mesh);
    cut.SetOrigins(&result.origins);
    ASSERT_TRUE(cut.Operate());
    result.counts = cut.GetCounts();
    for (MMeshElement const& e : result.mesh.Elements()) {
        ASSERT_EQ(e.GetNodeCount(), 4);
        result.least = std::min(result.least, GetElementVolume(e));
    }
}

} // namespace

TEST(ConformingCut, TetrahedraFitTogetherAndFillWhatWasThere) {
    constexpr int n = 4;
    struct Case {
        std::vector<int> kinds;
        double shake;
        bool nodes_inside;
        bool other_diagonals;
    };
    for (auto const& [kinds, shake, nodes_inside, other_diagonals] :
         {Case{{8}, 0.0, false, false}, Case{{6}, 0.0, false, false}, Case{{8, 6, 6}, 0.15, true, true},
          Case{{-8, 8, 86}, 0.15, true, true}, Case{{8}, 0.4, false, false}, Case{{6}, 0.35, false, false},
          Case{{8, 4, 4}, 0.1, true, true}}) {
        SCOPED_TRACE(testing::Message() << kinds.size() << ' ' << kinds.front() << ' ' << shake);
        Grid grid(n);
        grid.Fill(kinds);
        grid.Shake(shake);
        Result cut;
        Cut(grid.mesh, cut);
        EXPECT_GT(cut.least, 0.0);
        EXPECT_EQ(cut.counts.folded, 0u);
        EXPECT_EQ(cut.counts.mismatches, 0u);
        EXPECT_EQ(cut.counts.nodes_inside > 0, nodes_inside);
        EXPECT_EQ(cut.counts.other_diagonals > 0, other_diagonals);
        EXPECT_EQ(static_cast<std::uint64_t>(cut.mesh.NumberOfPoints()),
                  static_cast<std::uint64_t>(grid.mesh.NumberOfPoints()) + cut.counts.nodes_inside);
        EXPECT_NEAR(cut.mesh.GetVolume(), n * n * n, 1e-9);
        // Two triangles for each square outside, and nothing else is open.
        EXPECT_EQ(FacesByOwners(cut.mesh),
                  (std::array<std::size_t, 3>{2 * 6 * n * n, FacesByOwners(cut.mesh)[1], 0}));
        OriginsWitness::CheckMesh(grid.mesh, cut.mesh, cut.origins);
    }
}

// A cube whose top is turned against the bottom.
void CutTwisted(double degrees, Result& result) {
    Grid grid(1);
    grid.Fill({8});
    double const c = std::cos(degrees * std::numbers::pi / 180),
                 s = std::sin(degrees * std::numbers::pi / 180);
    grid.Deform([c, s](double& x, double& y, double& z) {
        double const u = x - 0.5 * Unit, v = y - 0.5 * Unit;
        if (z > 0) {
            x = c * u - s * v + 0.5 * Unit;
            y = s * u + c * v + 0.5 * Unit;
        }
    });
    Cut(grid.mesh, result);
}

TEST(ConformingCut, WarpedHexahedraGetANodeInside) {
    Result cut, other;
    CutTwisted(-60, cut);
    CutTwisted(60, other);
    EXPECT_GT(other.least, 0.0);
    EXPECT_EQ(other.counts.nodes_inside, 0u);
    EXPECT_GT(cut.least, 0.0);
    ASSERT_EQ(cut.counts.nodes_inside, 1u);
    ASSERT_EQ(cut.origins.inside.size(), 1u);
    EXPECT_EQ(cut.mesh.NumberOfElements(), 12);
    auto const& [node, corners] = *cut.origins.inside.begin();
    EXPECT_EQ(corners.size(), 8u);

    // Its values are the mean of those of the corners, or the smallest.
    std::vector<double> numbers;
    for (int i = 0; i < 8; ++i)
        numbers.push_back(i);
    MMeshArray const reals{L"reals", MMeshArray::OnNodes, 1, L"float64", numbers};
    MMeshArray const integers{L"integers", MMeshArray::OnNodes, 1, L"int32",
                              std::vector<std::int32_t>{9, 8, 7, 6, 5, 4, 3, 2}};
    auto const carried = CarryArrays({reals, integers}, cut.origins);
    auto const at = static_cast<std::size_t>(node);
    EXPECT_EQ(std::get<std::vector<double>>(carried[0].values).at(at), 3.5);
    EXPECT_EQ(std::get<std::vector<std::int32_t>>(carried[1].values).at(at), 2);

    // Midway from there to a corner lies the mean of nine: the corner counts as much as all others.
    MMeshOrigins middle;
    middle.nodes = {{node, node}, {node + 1, node}};
    MMeshOrigins const composed = ComposeOrigins(cut.origins, middle);
    EXPECT_EQ(composed.inside.at(0), corners);
    auto const corner = static_cast<double>(cut.origins.nodes.at(at + 1).a);
    EXPECT_EQ(std::get<std::vector<double>>(CarryArrays({reals}, composed)[0].values).at(1),
              0.5 * (corner + 3.5));
}

TEST(ConformingCut, SaysWhatIsFoldedAndRefusesWhatItCannotRead) {
    // The top crosses itself.
    Grid grid(1);
    grid.Fill({8});
    grid.Deform([](double& x, double& y, double& z) {
        if (y > 0 && z > 0)
            x = Unit - x;
    });
    Result cut;
    Cut(grid.mesh, cut);
    EXPECT_EQ(cut.counts.folded, 1u);
    EXPECT_LE(cut.least, 0.0);

    MMeshConformingCutOperator refused;
    EXPECT_FALSE(refused.Operate());
    refused.SetMesh(&grid.mesh);
    refused.SetTet4Mesh(&grid.mesh);
    EXPECT_FALSE(refused.Operate());
    MMeshBase target;
    refused.SetTet4Mesh(&target);
    refused.SetProgressDelegate(std::make_shared<RecordingDelegate>(0.0));
    EXPECT_FALSE(refused.Operate());
}

TEST(ConformingCut, LeavesNoStaleNeighbours) {
    Grid grid(1);
    grid.Fill({8});
    MMeshBase target;
    TestMeshes::AddElementOfKind(target, 4);
    target.GetNeighborsInfo()->Enable();
    MMeshConformingCutOperator cut;
    cut.SetMesh(&grid.mesh);
    cut.SetTet4Mesh(&target);
    ASSERT_TRUE(cut.Operate());
    EXPECT_FALSE(target.GetNeighborsInfo()->IsEnabled());
}
