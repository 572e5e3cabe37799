// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"
#include "TestProgress.h"

#include <KetSDK/Mesh/geometry/MMeshGrowBadTetsOperator.h>
#include <KetSDK/Mesh/materials/MDataMaskContainer.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>

namespace {

constexpr int N = 4; // cubes along an edge of the meshes

std::unique_ptr<MStlBase> Surface(MMeshBase& mesh) {
    auto stl = std::make_unique<MStlBase>();
    MMeshExtractStlSurfaceOperator extract;
    extract.SetMesh(&mesh);
    extract.SetStl(stl.get());
    EXPECT_TRUE(extract.Operate());
    return stl;
}

// A mesh of cubes with its surface and a mask of bad elements.
struct Setting {
    Setting() {
        TestMeshes::FillWithCubes(m_mesh, N);
        m_stl = Surface(m_mesh);
        m_mesh.GetElementMasks()->RegisterMask(&m_bad);
    }
    void Connect(MMeshGrowBadTetsOperator& grow, int level) {
        grow.SetMesh(&m_mesh);
        grow.SetStlMesh(m_stl.get());
        grow.SetBadMask(&m_bad);
        grow.SetGrowLevel(level);
    }
    std::set<MStlTriangle const*> Run(int level) {
        MMeshGrowBadTetsOperator grow;
        Connect(grow, level);
        EXPECT_TRUE(grow.Operate());
        return Marked(grow);
    }
    std::set<MStlTriangle const*> Marked(MMeshGrowBadTetsOperator const& grow) const {
        std::set<MStlTriangle const*> marked;
        for (MStlTriangle const& t : std::as_const(*m_stl).Triangles())
            if (grow.GetResultMask()->GetValue(t))
                marked.insert(&t);
        return marked;
    }

    MMeshBase m_mesh;
    std::unique_ptr<MStlBase> m_stl;
    MDataMaskBits<MMeshElement> m_bad;
};

using Face = std::set<TestMeshes::Coordinates>;

std::vector<Face> FacesOf(MMeshElement const& e) {
    std::vector<Face> faces(4);
    for (unsigned int f = 0; f < 4; ++f)
        for (unsigned int i = 0; i < 4; ++i)
            if (i != f)
                faces[f].insert({e.GetNode(i)->x, e.GetNode(i)->y, e.GetNode(i)->z});
    return faces;
}

// The triangles to mark, by sets of corner positions alone.
std::set<MStlTriangle const*> Expected(Setting& setting, int level) {
    std::map<Face, std::set<MMeshElement const*>> elements_at;
    std::set<MMeshElement const*> region;
    for (MMeshElement const& e : setting.m_mesh.Elements()) {
        for (Face const& face : FacesOf(e))
            elements_at[face].insert(&e);
        if (setting.m_bad.GetValue(e))
            region.insert(&e);
    }
    for (int ring = 0; ring < level; ++ring)
        for (MMeshElement const* const e : std::set(region))
            for (Face const& face : FacesOf(*e))
                region.insert(elements_at[face].begin(), elements_at[face].end());
    std::set<MStlTriangle const*> expected;
    for (MStlTriangle const& t : std::as_const(*setting.m_stl).Triangles()) {
        Face face;
        for (std::size_t i = 0; i < 3; ++i)
            face.insert({t.GetPoint(i)->GetX(), t.GetPoint(i)->GetY(), t.GetPoint(i)->GetZ()});
        auto const found = elements_at.find(face);
        if (found != elements_at.end() && found->second.size() == 1 && region.count(*found->second.begin()))
            expected.insert(&t);
    }
    return expected;
}

} // namespace

TEST(GrowBadTets, MarksTheBoundaryOfTheGrownSet) {
    for (unsigned int seed = 0; seed < 8; ++seed) {
        Setting setting;
        std::mt19937 random(seed);
        for (MMeshElement const& e : setting.m_mesh.Elements())
            setting.m_bad.SetValue(e, seed != 0 && random() % 100 < seed);
        for (int const level : {-3, 0, 1, 2, 5, 30})
            EXPECT_EQ(setting.Run(level), Expected(setting, level)) << "seed " << seed << " level " << level;
        EXPECT_TRUE(setting.m_mesh.GetNeighborsInfo()->IsEnabled());
    }
}

TEST(GrowBadTets, OneElementMarksItsOwnFacesAndInTheEndAll) {
    Setting setting;
    MMeshElement const* corner = nullptr;
    for (MMeshElement const& e : setting.m_mesh.Elements())
        for (unsigned int i = 0; i < 4 && !corner; ++i)
            if (MMeshPoint const& p = *e.GetNode(i); p.x == 0 && p.y == 0 && p.z == 0)
                corner = &e;
    setting.m_bad.SetValue(*corner, true);
    auto const alone = setting.Run(0);
    EXPECT_FALSE(alone.empty());
    for (MStlTriangle const* const t : alone)
        EXPECT_LE(t->GetPositions()[0].Length(), 1.5);
    EXPECT_EQ(setting.Run(100).size(), 6u * 2u * N * N);
}

TEST(GrowBadTets, SurfacesThatFitInPartOnly) {
    Setting setting;
    for (MMeshElement const& e : setting.m_mesh.Elements())
        setting.m_bad.SetValue(e, true);
    std::size_t const points = setting.m_stl->NumberOfPoints();

    // Triangles added between two runs have no mask index at first; this one lies within the mesh.
    EXPECT_EQ(setting.Run(0).size(), setting.m_stl->NumberOfTriangles());
    std::size_t const triangles = setting.m_stl->NumberOfTriangles();
    auto* const inner = setting.m_stl->AddTriangle(setting.m_stl->FindPoint(0, 0, 0),
                                                   setting.m_stl->FindPoint(TestMeshes::Unit, 0, 0),
                                                   setting.m_stl->AddPoint(1, 2, 3, false), nullptr);
    EXPECT_EQ(setting.Run(0).size(), triangles);
    EXPECT_NE(inner->GetMaskIndex(), MDataMaskIndex::NotRegistered);

    // Another surface whose points list no triangles, with one face of the mesh and one unlike any.
    MStlBase part;
    part.SetKeepNeighbourInfo(false);
    MStlTriangle const& first = *setting.m_stl->GetTriangle(0);
    for (MLong const shift : {0, 1}) {
        MLong corners[3][3];
        for (std::size_t i = 0; i < 3; ++i) {
            MStlPoint const& p = *first.GetPoint(i);
            corners[i][0] = p.GetX() + shift;
            corners[i][1] = p.GetY();
            corners[i][2] = p.GetZ();
        }
        (shift ? part.GetSurface(0) : part.AddSurface(nullptr))
            ->AddTriangle(corners[2], corners[1], corners[0]);
    }
    MMeshGrowBadTetsOperator grow;
    setting.Connect(grow, 0);
    grow.SetStlMesh(&part);
    ASSERT_TRUE(grow.Operate());
    EXPECT_TRUE(grow.GetResultMask()->GetValue(*part.GetTriangle(0)));
    EXPECT_FALSE(grow.GetResultMask()->GetValue(*part.GetTriangle(1)));
    EXPECT_FALSE(part.GetKeepNeighbourInfo());
    EXPECT_EQ(part.NumberOfPoints(), 6u);
    EXPECT_EQ(setting.m_stl->NumberOfPoints(), points + 1); // looking up adds none
}

TEST(GrowBadTets, RefusesWithoutItsInputs) {
    class OtherOwner : public IDataMaskOwner {
        bool RemoveMask(IDataMask const*) override { return false; }
    };
    Setting setting;
    MMeshGrowBadTetsOperator grow;
    setting.Connect(grow, 1);
    ASSERT_TRUE(grow.Operate());
    auto const refused = [&grow](auto const& take_away) {
        MMeshGrowBadTetsOperator copy(grow);
        EXPECT_EQ(copy.GetResultMask(), nullptr);
        EXPECT_TRUE(copy.Operate());
        take_away(copy);
        EXPECT_FALSE(copy.Operate());
        EXPECT_EQ(copy.GetResultMask(), nullptr);
    };
    refused([](auto& op) { op.SetMesh(nullptr); });
    refused([](auto& op) { op.SetStlMesh(nullptr); });
    refused([](auto& op) { op.SetBadMask(nullptr); });
    refused([&](auto&) { setting.m_stl->SetTriangleMaskOwner(std::make_shared<OtherOwner>()); });
}

TEST(GrowBadTets, ReportsARingAStepAndCanBeCancelled) {
    class Heard : public MMeshGrowBadTetsOperator {
    public:
        explicit Heard(std::shared_ptr<RecordingDelegate> const& delegate) { m_progress = delegate; }
    };
    Setting setting;
    setting.m_bad.SetValue(*setting.m_mesh.GetElement(0), true);
    for (bool const cancel : {false, true}) {
        auto const delegate = std::make_shared<RecordingDelegate>(cancel ? 0.5 : 2.0);
        Heard grow(delegate);
        setting.Connect(grow, 3);
        EXPECT_EQ(grow.Operate(), !cancel);
        EXPECT_EQ(grow.GetResultMask() == nullptr, cancel);
        EXPECT_EQ(delegate->m_labels, std::vector<std::string>{"MMeshGrowBadTetsOperator"});
        EXPECT_EQ(delegate->m_fractions,
                  cancel ? (std::vector{0.0, 0.25, 0.5}) : (std::vector{0.0, 0.25, 0.5, 0.75, 1.0}));
    }
}
