#include "TestProgress.h"

#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/Data/MStlIteratorFeatureSurfaceConst.h>

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <tuple>
#include <vector>

namespace {

using Corners = std::array<std::array<MLong, 3>, 3>;

// The outward faces of a cube with edges of two model units, centred at the origin.
std::vector<Corners> CubeFaces() {
    constexpr MLong H = 65536;
    std::vector<Corners> faces;
    for (std::size_t axis = 0; axis < 3; ++axis)
        for (MLong side : {-H, H}) {
            auto const corner = [&](MLong u, MLong v) {
                std::array<MLong, 3> c{};
                c[axis] = side;
                c[(axis + 1) % 3] = side > 0 ? u : v;
                c[(axis + 2) % 3] = side > 0 ? v : u;
                return c;
            };
            faces.push_back({corner(-H, -H), corner(H, -H), corner(H, H)});
            faces.push_back({corner(-H, -H), corner(H, H), corner(-H, H)});
        }
    return faces;
}

void AddAll(MStlSurface& surface, std::vector<Corners> const& faces) {
    for (Corners const& f : faces)
        ASSERT_TRUE(surface.AddTriangle(f[0].data(), f[1].data(), f[2].data()));
}

// The lists that points should hold, found by going through all triangles.
void ExpectNeighboursInOrder(MStlBase& stl) {
    std::vector<std::vector<MStlTriangle*>> expected(static_cast<std::size_t>(stl.NumberOfPoints()));
    for (MStlTriangle& t : stl.Triangles())
        for (std::size_t i = 0; i < 3; ++i) {
            auto& list = expected[static_cast<std::size_t>(t.GetPoint(i)->GetIndex())];
            if (list.empty() || list.back() != &t)
                list.push_back(&t);
        }
    for (MStlPoint& p : stl.Points()) {
        std::vector<MStlTriangle*> found(p.GetNumberOfNeighbourTriangles());
        for (std::uint32_t i = 0; i < found.size(); ++i)
            found[i] = p.GetNeighbourTriangle(i);
        ASSERT_EQ(found, expected[static_cast<std::size_t>(p.GetIndex())]) << "point " << p.GetIndex();
    }
}

// Everything that a reader of a container can see, but for addresses.
using Description = std::vector<std::wstring>;
Description Describe(MStlBase const& stl) {
    Description lines;
    auto const add = [&lines](auto... numbers) {
        std::wstring line;
        ((line += std::to_wstring(numbers) + L" "), ...);
        lines.push_back(line);
    };
    for (MStlPoint const& p : stl.Points())
        add(p.GetX(), p.GetY(), p.GetZ(), p.GetIndex(), p.GetNumberOfNeighbourTriangles());
    auto const add_triangle = [&add](MStlTriangle const& t) {
        auto const& n = t.GetNormalFloat();
        add(t.GetPoint(0)->GetIndex(), t.GetPoint(1)->GetIndex(), t.GetPoint(2)->GetIndex(),
            t.GetSurface()->GetIndex(), n[0], n[1], n[2], t.GetColor().IsDefined(), t.GetColor().GetRGB());
    };
    for (MStlTriangle const& t : stl.Triangles())
        add_triangle(t);
    for (MStlSurface const& s : stl.Surfaces()) {
        lines.push_back(s.GetName());
        for (MStlTriangle const& t : s.Triangles())
            add_triangle(t);
    }
    for (MStlFeature const& f : stl.Features()) {
        lines.push_back(f.GetName());
        for (MStlGraph const& g : f.Graphs()) {
            lines.push_back(g.GetName());
            for (MStlPoint const& p : g.Vertices())
                add(p.GetX(), p.GetY(), p.GetZ(), p.GetIndex());
            for (MStlEdge const& e : g.Edges())
                add(e.GetPoint(0)->GetIndex(), e.GetPoint(1)->GetIndex());
        }
    }
    return lines;
}

void FillWithEverything(MStlBase& stl) {
    MStlSurface* const cube = stl.AddSurface(nullptr);
    cube->SetName(L"Exterior Surface--1");
    AddAll(*cube, CubeFaces());
    stl.AddPoint(65536, 65536, 65536, true);
    stl.AddSurface(cube);
    MStlSurface* const named = stl.AddSurface(nullptr);
    named->SetName(L"\u00e4 \U0001F9B4\t<&\"'>\n");
    stl.AddTriangle(stl.GetPoint(0), stl.GetPoint(0), stl.GetPoint(1), named);
    stl.GetTriangle(3)->SetNormalFloat({1.0F, -2.0F, 0.5F});
    MStlColor colour;
    colour.SetRGB(0xFF0000FFU);
    stl.GetTriangle(4)->SetColor(colour);
    MStlFeature* const feature = stl.AddFeature();
    feature->SetName(L"skeleton");
    MStlGraph* const graph = feature->AddNewGraph();
    graph->SetName(L"Main-");
    graph->AddEdge(graph->AddVertex(1, 2, 3), graph->AddVertex(3, 2, 1));
    graph->AddEdge(graph->AddVertex(3, 2, 1), graph->AddVertex(-7, 0, 7));
    feature->AddNewGraph();
}

class MaskOwner : public IDataMaskOwner {
public:
    bool RemoveMask(IDataMask const*) override { return false; }
};

TEST(MStlBase, ReturnsTheFirstPointAtAPositionUnlessDuplicatesAreAllowed) {
    MStlBase stl;
    MLong const position[] = {-5, INT32_MAX, INT32_MIN};
    MStlPoint* const first = stl.AddPoint(position, true);
    MStlPoint* const second = stl.AddPoint(position, true);
    EXPECT_NE(first, second);
    EXPECT_EQ(stl.AddPoint(position, false), first);
    // The table exists by now: later duplicates must neither hide the first nor be missed themselves.
    MStlPoint* const third = stl.AddPoint(position, true);
    MStlPoint* const lone = stl.AddPoint(1, 2, 3, true);
    EXPECT_EQ(stl.AddPoint(position, false), first);
    EXPECT_EQ(stl.AddPoint(1, 2, 3, false), lone);
    EXPECT_EQ(stl.FindPoint(3, 2, 1), nullptr);
    EXPECT_EQ(third->GetIndex(), 2);
    EXPECT_EQ(lone->GetPosition(), (MMVector<double, 3>(1.0 / 65536, 2.0 / 65536, 3.0 / 65536)));
}

TEST(MStlBase, FindsEveryPointOfALatticeAtItsAddress) {
    // Steps that are powers of two leave the low bits of all coordinates equal.
    for (MLong step : {1, 1024, 1 << 20}) {
        MStlBase stl;
        std::vector<MStlPoint*> added;
        if (step == 1024)
            stl.ReserveLookUps(100'000);
        for (int pass = 0; pass < 2; ++pass)
            for (MLong i = 0; i < 100 * 1000; ++i) {
                MStlPoint* const p = stl.AddPoint((i % 50 - 25) * step, (i / 50 % 50 - 25) * step,
                                                  (i / 2500 - 20) * step, false);
                if (pass == 0)
                    added.push_back(p);
                ASSERT_EQ(p, added[static_cast<std::size_t>(i)]) << "step " << step;
                ASSERT_EQ(p->GetIndex(), i);
            }
        EXPECT_EQ(stl.NumberOfPoints(), 100'000U);
    }
}

TEST(MStlBase, DropsDegenerateTrianglesOfASurfaceButNotItsOwn) {
    MStlBase stl;
    MLong const a[] = {0, 0, 0}, b[] = {9, 0, 0}, c[] = {0, 9, 0};
    MStlSurface* const surface = stl.AddSurface(nullptr);
    EXPECT_EQ(surface->AddTriangle(a, b, b), nullptr);
    EXPECT_EQ(surface->AddTriangle(a, b, a), nullptr);
    EXPECT_EQ(stl.NumberOfPoints(), 0U);
    ASSERT_NE(surface->AddTriangle(a, b, c), nullptr);

    MStlPoint *const p = stl.FindPoint(0, 0, 0), *const q = stl.FindPoint(9, 0, 0);
    MStlSurface* const second = stl.AddSurface(nullptr);
    for (auto const& [r, s, t] : {std::tuple{p, p, q}, std::tuple{q, p, p}, std::tuple{p, q, p}}) {
        EXPECT_EQ(surface->AddTriangle(r, s, t), nullptr);
        // Without a surface in the first one.
        DLIST_ELEMENT<MStlTriangle>* const kept = stl.AddTriangle(r, s, t, nullptr);
        ASSERT_NE(kept, nullptr);
        EXPECT_EQ((*kept)->GetSurface(), surface);
        EXPECT_EQ((*kept)->IndexOfPoint(q), r == q ? 0 : s == q ? 1 : 2);
        EXPECT_EQ(kept->Prev()->Next(), kept);
    }
    EXPECT_EQ(surface->NumberOfTriangles(), 4U);
    EXPECT_EQ(p->GetNumberOfNeighbourTriangles(), 4U);
    EXPECT_EQ(second->NumberOfTriangles(), 0U);
    MStlBase empty;
    MStlPoint* const lone = empty.AddPoint(a, true);
    empty.AddTriangle(lone, lone, lone, nullptr);
    EXPECT_EQ(empty.GetSurface(0)->NumberOfTriangles(), 1U);
}

TEST(MStlBase, ListsTheTrianglesOfAPointInOrderOfAddition) {
    SCOPED_TRACE("seed 20240917");
    std::mt19937 random(20240917);
    MStlBase stl;
    for (MLong i = 0; i < 300; ++i)
        stl.AddPoint(i, i * i, -i, true);
    // Point 0 becomes the hub of a fan with far more triangles than the others.
    auto const add = [&](int count) {
        for (int i = 0; i < count; ++i)
            stl.AddTriangle(stl.GetPoint(random() % 2 ? random() % 300 : 0), stl.GetPoint(random() % 300),
                            stl.GetPoint(random() % 300), nullptr);
    };
    add(20'000);
    ExpectNeighboursInOrder(stl);
    EXPECT_GT(stl.GetPoint(0)->GetNumberOfNeighbourTriangles(), 8192U);

    stl.SetKeepNeighbourInfo(false);
    add(100);
    for (MStlPoint const& p : stl.Points())
        ASSERT_EQ(p.GetNumberOfNeighbourTriangles(), 0U);
    stl.SetKeepNeighbourInfo(true);
    add(100);
    ExpectNeighboursInOrder(stl);
}

TEST(MStlBase, IsAsNewAfterClearing) {
    for (bool features : {false, true}) {
        MStlBase stl;
        FillWithEverything(stl);
        auto masks = std::make_shared<MaskOwner>();
        std::weak_ptr<MaskOwner> const watched = masks;
        stl.SetTriangleMaskOwner(std::move(masks));
        stl.ClearStl(features);
        EXPECT_TRUE(watched.expired());
        EXPECT_EQ(stl.NumberOfFeatures(), features ? 0U : 1U);
        EXPECT_EQ(stl.NumberOfPoints() + stl.NumberOfTriangles() + stl.NumberOfSurfaces(), 0U);
        EXPECT_EQ(stl.FindPoint(65536, 65536, 65536), nullptr);
        AddAll(*stl.AddSurface(nullptr), CubeFaces());
        EXPECT_EQ(stl.NumberOfPoints(), 8U);
        ExpectNeighboursInOrder(stl);
    }
}

TEST(MStlBase, ClonesEverythingAndSharesNothing) {
    for (bool keep : {true, false}) {
        MStlBase stl;
        FillWithEverything(stl);
        stl.SetKeepNeighbourInfo(keep);
        Description const before = Describe(stl);
        std::unique_ptr<MStlBase> const copy(stl.Clone(nullptr));
        ASSERT_TRUE(copy);
        EXPECT_EQ(Describe(*copy), before);

        copy->GetTriangle(0)->SetNormalFloat({9.0F, 9.0F, 9.0F});
        MStlGraph* const graph = copy->GetFeature(0)->GetGraph(0);
        EXPECT_TRUE(graph->FindEdge(graph->AddVertex(3, 2, 1), graph->AddVertex(1, 2, 3), false));
        EXPECT_EQ(graph->NumberOfVertices(), 3U);
        EXPECT_EQ(copy->FindPoint(65536, 65536, 65536)->GetX(), 65536);
        copy->ClearStl(true);
        EXPECT_EQ(Describe(stl), before);
    }
}

TEST(MStlBase, MovesContentsWithoutMovingObjects) {
    MStlBase from;
    FillWithEverything(from);
    Description const before = Describe(from);
    MStlSurface* const surface = from.GetSurface(0);
    MStlPoint* const corner = from.FindPoint(65536, 65536, 65536);
    MStlBase to;
    to.AddPoint(1, 1, 1, false);
    to.AddSurface(nullptr);
    to.AddFeature();
    ASSERT_TRUE(from.MoveTo(to, nullptr));
    EXPECT_EQ(Describe(to), before);
    EXPECT_TRUE(Describe(from).empty());
    EXPECT_EQ(from.FindPoint(65536, 65536, 65536), nullptr);
    EXPECT_EQ(to.FindPoint(1, 1, 1), nullptr);

    // The surface is the same one and adds to its new container from now on.
    EXPECT_EQ(to.GetSurface(0), surface);
    MLong const a[] = {65536, 65536, 65536}, b[] = {1, 0, 0}, c[] = {0, 1, 0};
    EXPECT_EQ(surface->AddTriangle(a, b, c)->GetPoint(0), corner);
    ExpectNeighboursInOrder(to);
    EXPECT_TRUE(to.MoveTo(to, nullptr));
    EXPECT_EQ(to.GetSurface(0)->NumberOfTriangles(), 13U);
}

TEST(MStlBase, ReportsProgressAndStopsWhenCancelled) {
    MStlBase stl;
    for (MLong i = 0; i < 20'000; ++i)
        stl.AddPoint(i, 0, 0, true);
    auto const patient = std::make_shared<RecordingDelegate>(),
               impatient = std::make_shared<RecordingDelegate>(0.5);
    EXPECT_TRUE(std::unique_ptr<MStlBase>(stl.Clone(patient)));
    EXPECT_EQ(patient->Last(), 1.0);
    EXPECT_EQ(stl.Clone(impatient), nullptr);
    EXPECT_LT(impatient->Last(), 0.7);
    EXPECT_FALSE(patient->m_running || impatient->m_running);
    MStlBase to;
    to.AddSurface(nullptr);
    EXPECT_FALSE(stl.MoveTo(to, std::make_shared<RecordingDelegate>(0.0)));
    EXPECT_EQ(stl.NumberOfPoints(), 20'000U);
    EXPECT_EQ(to.NumberOfSurfaces(), 1U);
}

TEST(MStlSurface, KnowsItsAreaAndWhetherItIsClosed) {
    MStlBase stl;
    MStlSurface* const cube = stl.AddSurface(nullptr);
    EXPECT_FALSE(cube->IsClosed());
    AddAll(*cube, CubeFaces());
    EXPECT_TRUE(cube->IsClosed());
    EXPECT_DOUBLE_EQ(cube->GetArea(), 24.0);
    cube->SetName(L"cube");
    MStlBase other;
    other.AddPoint(-65536, -65536, -65536, true);
    MStlSurface* const copy = other.AddSurface(cube);
    EXPECT_TRUE(copy->IsClosed());
    EXPECT_EQ(other.NumberOfPoints(), 8U);
    EXPECT_EQ(other.FindSurface(L"cube"), copy);
    EXPECT_EQ(other.FindSurface(L"Cube"), nullptr);
    stl.AddTriangle(stl.GetPoint(0), stl.GetPoint(1), stl.GetPoint(2), cube);
    EXPECT_FALSE(cube->IsClosed());
}

TEST(MStlIteratorFeatureSurfaceConst, WalksTheSurfacesInOrder) {
    MStlBase stl;
    for (int i = 0; i < 40; ++i)
        stl.AddSurface(nullptr);
    std::uint64_t seen = 0;
    for (auto i = MStlIteratorFeatureSurfaceConst::Begin(&stl);
         i != MStlIteratorFeatureSurfaceConst::End(&stl); ++i) {
        MStlSurface const* const surface = i;
        EXPECT_EQ(surface, stl.GetSurface(seen++));
    }
    EXPECT_EQ(seen, 40U);
}

} // namespace
