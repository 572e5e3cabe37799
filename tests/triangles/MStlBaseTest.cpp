// SPDX-License-Identifier: BSD-3-Clause
#include "TestProgress.h"

#include <KetSDK/Triangles/Data/MStlBase.h>
#include <KetSDK/Triangles/Data/MStlIteratorFeatureSurfaceConst.h>
#include <KetSDK/Triangles/Data/MStlNewTriangles.h>

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
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

TEST(MStlNewTriangles, AreAddedTogetherOrNotAtAll) {
    MStlBase stl;
    constexpr MLong points = 200;
    for (MLong i = 0; i < points; ++i)
        stl.AddPoint(i, 0, 0, true);
    std::mt19937 random(3);
    auto const corner = [&] { return stl.GetPoint(random() % points); };
    for (int i = 0; i < 500; ++i)
        stl.AddTriangle(corner(), corner(), corner(), nullptr);

    std::vector<MStlNewTriangles::Corners> corners(3000);
    for (auto& of_triangle : corners)
        of_triangle = {corner(), corner(), corner()};
    for (bool const finish : {false, true}) {
        MStlNewTriangles triangles(stl, corners.size());
        for (std::size_t i = 0; i < corners.size(); ++i)
            triangles.EnterInLists(i, corners[i]);
        for (std::size_t i = corners.size(); i-- > 0;)
            triangles.Make(i, corners[i], {static_cast<float>(i), 0.0f, 0.0f});
        EXPECT_EQ(stl.NumberOfTriangles(), 500U);
        if (finish)
            triangles.Finish();
    }
    ASSERT_EQ(stl.NumberOfTriangles(), 3500U);
    ExpectNeighboursInOrder(stl);
    std::uint64_t number = 0;
    for (MStlTriangle& t : stl.GetSurface(0)->Triangles()) {
        ASSERT_EQ(&t, stl.GetTriangle(number++));
        if (number <= 500)
            continue;
        ASSERT_EQ(t.GetNormalFloat()[0], static_cast<float>(number - 501));
        ASSERT_EQ(t.GetPoint(2), corners[number - 501][2]);
    }
    EXPECT_EQ(number, 3500U);

    stl.AddTriangle(corner(), corner(), corner(), nullptr);
    ExpectNeighboursInOrder(stl);
    EXPECT_EQ(stl.GetSurface(0)->NumberOfTriangles(), 3501U);
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

} // namespace
