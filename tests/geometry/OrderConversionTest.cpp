// SPDX-License-Identifier: BSD-3-Clause
// Conversion between kinds of elements, against what the views of single elements say of them.
#include "TestMeshes.h"
#include "TestProgress.h"

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/geometry/LimitedPolyhedron.h>
#include <KetSDK/Mesh/geometry/MMeshConvertHex8ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet10ToTet4Operator.h>
#include <KetSDK/Mesh/geometry/MMeshConvertTet4ToTet10Operator.h>
#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshOrientOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace {

using TestMeshes::AddElement;
using TestMeshes::AddNodes;
using TestMeshes::Unit;

// The mirror image of an element: inverted.
void AddMirrored(MMeshBase& mesh, unsigned char kind) {
    auto corners = TestMeshes::Corners(kind);
    for (auto& p : corners)
        p[0] = -p[0];
    AddElement(mesh, AddNodes(mesh, corners));
}

// Elements of all kinds on nodes moved at random, on both sides of the origin, in three sub-volumes of which
// one is empty. Some elements are inverted, some nodes lie at one place.
void FillWithAllKinds(MMeshBase& mesh) {
    TestMeshes::FillWithCubes(mesh, 3);
    for (int const kind : {10, 8, 6, 10})
        TestMeshes::AddElementOfKind(mesh, static_cast<unsigned char>(kind));
    AddMirrored(mesh, 4);
    AddMirrored(mesh, 10);
    std::mt19937 random(5);
    for (auto p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
        for (MLong* const c : {&p->x, &p->y, &p->z})
            *c += static_cast<MLong>(random() % Unit) - 2 * Unit;
    *mesh.GetRandomPoint(7) = *mesh.GetRandomPoint(8);
    mesh.NodesMoved();
    mesh.AddSubVolume();
    MMeshSubVolume* const other = mesh.AddSubVolume();
    mesh.GetMainSubVolume()->SetName(L"bone");
    other->SetMatID(7);
    for (MMeshElement& e : mesh.Elements())
        if (random() % 2 == 0)
            mesh.GetMainSubVolume()->MoveElement(e, other);
}

// The conversion in the plainest way: every node of every new element is looked up by its place. `rows` are
// the new elements, as numbers of the points that `view` gives of an old one.
template <typename View>
void ConvertPlainly(MMeshBase& source, MMeshBase& target, View const& view,
                    std::vector<std::vector<unsigned int>> const& rows) {
    target.ClearSubVolumes();
    for (auto it = source.BeginSubVolume(); it != source.EndSubVolume(); ++it) {
        MMeshSubVolume* const part = target.AddSubVolume();
        for (MMeshElement& e : **it)
            for (auto const& row : rows) {
                std::vector<MMeshPoint*> nodes;
                for (unsigned int const i : row)
                    nodes.push_back(
                        &target.AddPointUnique(view(e, i), KetSDK::Common::MInternalUnits::Get()));
                part->AddElement(static_cast<char>(nodes.size()), nodes.data());
            }
    }
}

// The same nodes and elements in the same order, the same slots in masks and members of sub-volumes.
void ExpectSame(MMeshBase& a, MMeshBase& b) {
    ASSERT_EQ(a.NumberOfPoints(), b.NumberOfPoints());
    for (auto p = a.BeginPoint(), q = b.BeginPoint(); p != a.EndPoint(); ++p, ++q)
        ASSERT_TRUE(*p == *q && p->GetMaskIndex() == q->GetMaskIndex());
    EXPECT_EQ(a.GetPointMasks()->GetCapacity(), b.GetPointMasks()->GetCapacity());
    EXPECT_EQ(a.GetBoundingBox().GetMin(), b.GetBoundingBox().GetMin());
    EXPECT_EQ(a.GetBoundingBox().GetMax(), b.GetBoundingBox().GetMax());
    ASSERT_EQ(a.NumberOfElements(), b.NumberOfElements());
    for (std::uint64_t i = 0; i < a.Elements().GetNumElements(); ++i) {
        MMeshElement const &e = *a.GetElement(i), &f = *b.GetElement(i);
        ASSERT_TRUE(std::equal(e.GetNodes(), e.GetNodes() + e.GetNodeCount(), f.GetNodes(),
                               f.GetNodes() + f.GetNodeCount(),
                               [](MMeshPoint* p, MMeshPoint* q) { return p->GetIndex() == q->GetIndex(); }))
            << i;
        ASSERT_EQ(a.GetSubVolume(e)->GetID(), b.GetSubVolume(f)->GetID());
    }
    ASSERT_EQ(a.NumberOfSubVolumes(), b.NumberOfSubVolumes());
    for (auto p = a.BeginSubVolume(), q = b.BeginSubVolume(); p != a.EndSubVolume(); ++p, ++q)
        EXPECT_EQ((*p)->GetNbElements(), (*q)->GetNbElements());
}

void ExpectNamesOf(MMeshBase const& source, MMeshBase const& target) {
    ASSERT_EQ(target.NumberOfSubVolumes(), source.NumberOfSubVolumes());
    for (auto p = source.BeginSubVolume(), q = target.BeginSubVolume(); p != source.EndSubVolume();
         ++p, ++q) {
        EXPECT_EQ((*p)->GetName(), (*q)->GetName());
        EXPECT_EQ((*p)->GetMatID(), (*q)->GetMatID());
        EXPECT_EQ((*p)->GetID(), (*q)->GetID());
    }
}

int Orient(MMeshBase& mesh) {
    MMeshOrientOperator orient;
    orient.SetMesh(&mesh);
    EXPECT_TRUE(orient.Operate());
    return orient.GetNbCorrected();
}

bool AllOriented(MMeshBase const& mesh) {
    return std::ranges::all_of(
        mesh.Elements(), [](MMeshElement const& e) { return TetrahedronBase<double>(&e).Volume() > 0; });
}

// n x n x n unit hexahedra. `chessboard` turns the nodes of every other one by a quarter.
void FillWithHexahedra(MMeshBase& mesh, int n, bool chessboard) {
    std::vector<MMeshPoint*> nodes;
    for (int i = 0; i < (n + 1) * (n + 1) * (n + 1); ++i)
        nodes.push_back(
            mesh.AddPoint(i % (n + 1) * Unit, i / (n + 1) % (n + 1) * Unit, i / (n + 1) / (n + 1) * Unit));
    for (int i = 0; i < n * n * n; ++i) {
        int const x = i % n, y = i / n % n, z = i / n / n;
        std::vector<MMeshPoint*> corners;
        for (int const up : {0, 1})
            for (auto const& [right, back] : {std::pair(0, 0), {1, 0}, {1, 1}, {0, 1}})
                corners.push_back(
                    nodes[static_cast<std::size_t>(((z + up) * (n + 1) + y + back) * (n + 1) + x + right)]);
        if (chessboard && (x + y + z) % 2 == 1) {
            std::rotate(corners.begin(), corners.begin() + 1, corners.begin() + 4);
            std::rotate(corners.begin() + 4, corners.begin() + 5, corners.end());
        }
        AddElement(mesh, corners);
    }
}

std::uint64_t ExteriorTriangles(MMeshBase& mesh) {
    MStlBase stl;
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&mesh);
    extract.SetStl(&stl);
    EXPECT_TRUE(extract.Operate());
    return stl.NumberOfTriangles();
}

} // namespace

TEST(OrderConversion, NeighboursShareTheNodesOfTheirFace) {
    MMeshBase source;
    auto const n = AddNodes(source, {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}, {0, 0, 2}, {2, 2, 2}});
    AddElement(source, {n[0], n[1], n[2], n[3]});
    AddElement(source, {n[4], n[2], n[1], n[3]});
    MMeshConvertTet4ToTet10Operator to_quadratic;
    to_quadratic.SetMesh(&source);
    ASSERT_TRUE(to_quadratic.Operate());
    std::unique_ptr<MMeshBase> const quadratic(to_quadratic.GetTet10Mesh());
    EXPECT_EQ(quadratic->NumberOfPoints(), 5 + 9);
    EXPECT_DOUBLE_EQ(quadratic->GetVolume(), source.GetVolume());

    // Given a target again, it is added to, and nodes are found at their places.
    to_quadratic.SetMesh(&source);
    ASSERT_TRUE(to_quadratic.Operate());
    EXPECT_EQ(quadratic->NumberOfPoints(), 5 + 9);
    EXPECT_EQ(quadratic->NumberOfElements(), 4);
}

TEST(OrderConversion, RefusesWhatMakesNoSense) {
    MMeshConvertTet4ToTet10Operator to_quadratic;
    MMeshConvertTet10ToTet4Operator to_linear;
    MMeshConvertHex8ToTet4Operator cut;
    auto const run_all = [&](MMeshBase* source, MMeshBase* target) {
        to_quadratic.SetTet10Mesh(target);
        to_linear.SetTet4Mesh(target);
        cut.SetTet4Mesh(target);
        std::vector<bool> done;
        for (MMeshOperator* const op :
             std::initializer_list<MMeshOperator*>{&to_quadratic, &to_linear, &cut}) {
            op->SetMesh(source);
            done.push_back(op->Operate());
        }
        return done;
    };
    MMeshBase mesh, empty;
    TestMeshes::AddElementOfKind(mesh, 8);
    std::vector<bool> const none(3, false), all(3, true);
    EXPECT_EQ(run_all(nullptr, &mesh), none);
    EXPECT_EQ(run_all(&mesh, &mesh), none);
    EXPECT_TRUE(mesh.NumberOfSubVolumes() == 1 && mesh.NumberOfElements() == 1);
    cut.SetTet4Mesh(nullptr);
    EXPECT_FALSE(cut.Operate());
    EXPECT_FALSE(MMeshOrientOperator().Operate());

    mesh.ClearSubVolumes(); // elements without a sub-volume are left out
    EXPECT_EQ(run_all(&mesh, &empty), all);
    EXPECT_TRUE(empty.NumberOfSubVolumes() == 0 && empty.NumberOfPoints() == 0);
}

TEST(OrderConversion, ReportsProgressAndStopsWhenCancelled) {
    MMeshBase source;
    TestMeshes::FillWithCubes(source, 8);
    MMeshSubVolume* const other = source.AddSubVolume();
    for (std::uint64_t i = 0; i < 1500; ++i)
        source.GetMainSubVolume()->MoveElement(*source.GetElement(i), other);

    MMeshConvertTet4ToTet10Operator to_quadratic;
    to_quadratic.SetMesh(&source);
    auto const listener = std::make_shared<RecordingDelegate>();
    MMeshBase whole;
    to_quadratic.SetTet10Mesh(&whole);
    to_quadratic.SetProgressDelegate(listener);
    ASSERT_TRUE(to_quadratic.Operate());
    EXPECT_EQ(listener->m_labels, std::vector<std::string>{"Label sub volumes"});
    EXPECT_EQ(listener->m_fractions, (std::vector<double>{0.0, 0.5, 1.0})) << "one step in each half";

    for (double const at : {0.0, 0.5}) {
        MMeshBase part;
        to_quadratic.SetTet10Mesh(&part);
        to_quadratic.SetProgressDelegate(std::make_shared<RecordingDelegate>(at));
        EXPECT_FALSE(to_quadratic.Operate());
        EXPECT_EQ(part.NumberOfElements(), at == 0.0 ? 1000 : 1572 + 1000);
        EXPECT_EQ(part.NumberOfSubVolumes(), at == 0.0 ? 1u : 2u);
        EXPECT_EQ(part.GetMeshType(), MMeshBase::Linear);
    }
}

TEST(OrderConversion, HexahedraConformWhereTheirDiagonalsAgree) {
    constexpr int n = 4;
    constexpr int interior = 3 * n * n * (n - 1), boundary = 6 * n * n;
    for (bool const chessboard : {false, true}) {
        for (bool const inside_out : {false, true}) {
            SCOPED_TRACE(testing::Message() << chessboard << inside_out);
            MMeshBase hexahedra, linear;
            FillWithHexahedra(hexahedra, n, chessboard);
            for (MMeshElement& e : hexahedra.Elements())
                for (unsigned int i = 0; i < 4 && inside_out; ++i)
                    e.SwapNodes(i, i + 4);
            auto const diagonals = MMeshConvertHex8ToTet4Operator::CompareDiagonals(hexahedra);
            EXPECT_EQ(diagonals.interior, interior);
            EXPECT_EQ(diagonals.different, chessboard ? 0 : interior);

            MMeshConvertHex8ToTet4Operator cut;
            cut.SetMesh(&hexahedra);
            cut.SetTet4Mesh(&linear);
            ASSERT_TRUE(cut.Operate());
            MMeshBase plain;
            ConvertPlainly(hexahedra, plain,
                           [](MMeshElement& e, unsigned int i) { return LimitedPolyhedron(&e).GetVertex(i); },
                           {{0, 1, 2, 5}, {0, 2, 3, 7}, {7, 5, 4, 0}, {7, 6, 5, 2}, {0, 2, 7, 5}});
            Orient(plain);
            ExpectSame(linear, plain);
            EXPECT_EQ(linear.NumberOfElements(), 5 * n * n * n);
            EXPECT_EQ(linear.NumberOfPoints(), (n + 1) * (n + 1) * (n + 1));
            EXPECT_EQ(cut.GetNbCorrected(), inside_out ? 5 * n * n * n : 0);
            EXPECT_TRUE(AllOriented(linear));
            EXPECT_NEAR(linear.GetVolume(), n * n * n, 1e-9);
            // A face that does not match leaves two triangles on either side without a neighbour.
            EXPECT_EQ(ExteriorTriangles(linear), 2u * boundary + (chessboard ? 0 : 4 * interior));
        }
    }
}

TEST(OrderConversion, CuttingCopiesOtherElements) {
    MMeshBase source, target;
    FillWithAllKinds(source);
    MMeshConvertHex8ToTet4Operator cut;
    cut.SetMesh(&source);
    cut.SetTet4Mesh(&target);
    ASSERT_TRUE(cut.Operate());
    ExpectNamesOf(source, target);
    EXPECT_EQ(target.NumberOfElements(), source.NumberOfElements() + 4);
    auto const count = [](MMeshBase const& mesh, unsigned char kind) {
        return std::ranges::count_if(mesh.Elements(),
                                     [kind](MMeshElement const& e) { return e.GetNodeCount() == kind; });
    };
    EXPECT_EQ(count(target, 10), 3);
    EXPECT_EQ(count(target, 6), 1);
    EXPECT_EQ(count(target, 8), 0);
    EXPECT_EQ(target.NumberOfPoints(), source.NumberOfPoints() - 1) << "two nodes lay at one place";
}

TEST(Orientation, InvertedTetrahedraAreTurnedWithTheirMidNodes) {
    MMeshBase mesh;
    for (int const kind : {4, 10, 6, 8}) {
        TestMeshes::AddElementOfKind(mesh, static_cast<unsigned char>(kind));
        AddMirrored(mesh, static_cast<unsigned char>(kind));
    }
    AddElement(mesh, AddNodes(mesh, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}})); // flat
    MMeshBase const before(mesh);
    MMeshOrientOperator orient;
    orient.SetMesh(&mesh);
    for (int run = 0; run < 2; ++run) {
        ASSERT_TRUE(orient.Operate());
        EXPECT_EQ(orient.GetNbCorrected(), 2) << "nothing new in the second run, and the count stays";
    }
    for (std::uint64_t i = 0; i < mesh.Elements().GetNumElements(); ++i) {
        MMeshElement const &e = *mesh.GetElement(i), &old = *before.GetElement(i);
        bool const turned = i == 1 || i == 3;
        double const volume = GetElementVolume(e);
        EXPECT_EQ(volume, (turned ? -1 : 1) * GetElementVolume(old)) << i;
        for (unsigned int k = 0; k < e.GetNodeCount() && !turned; ++k)
            EXPECT_EQ(e.GetNode(k)->GetIndex(), old.GetNode(k)->GetIndex());
    }
    EXPECT_TRUE(Tetrahedron10Base<double>(mesh.GetElement(3), false).CheckMidVertices(1e-6));
}
