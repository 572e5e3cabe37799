// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"
#include "TestProgress.h"

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperExact.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/operators/MMeshExtractStlSurfaceOperator.h>
#include <KetSDK/Mesh/operators/MMeshOperatorGroupSubVolumes.h>
#include <KetSDK/Mesh/operators/MMeshOperatorLabelSubVolumes.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using TestMeshes::Unit;

std::vector<int> Numbers(MMeshBase& mesh) {
    std::vector<int> numbers;
    for (MMeshElement const& e : mesh.Elements())
        numbers.push_back(mesh.GetSubVolume(e) ? mesh.GetSubVolume(e)->GetID() : -1);
    return numbers;
}

std::vector<std::wstring> Names(MMeshBase const& mesh) {
    std::vector<std::wstring> names;
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
        names.push_back((*it)->GetName());
    return names;
}

// A block of cubes, the one in the middle a sub-volume of its own.
struct Block {
    Block() {
        TestMeshes::FillWithCubes(mesh, 3);
        MMeshSubVolume* const inner = mesh.AddSubVolume();
        for (std::uint64_t i = 13 * 6; i < 14 * 6; ++i)
            mesh.GetMainSubVolume()->MoveElement(*mesh.GetElement(i), inner);
        MMeshExtractStlSurfaceOperator extract;
        extract.SetMesh(&mesh);
        extract.SetStl(&stl);
        extract.SetExtractInterfacesBetweenSubVolumes(true);
        EXPECT_TRUE(extract.Operate());
        given = Numbers(mesh);
    }
    void ForgetSubVolumes() {
        for (auto it = mesh.BeginSubVolume() + 1; it != mesh.EndSubVolume(); ++it)
            (*it)->MoveAllElements(mesh.GetMainSubVolume());
        mesh.RemoveEmptySubVolumes();
    }
    // Makes everything a new sub-volume per region.
    void Label() {
        MMeshOperatorLabelSubVolumes label;
        label.SetMesh(&mesh);
        label.SetStl(&stl);
        EXPECT_TRUE(label.Operate());
    }
    void Group() {
        MMeshOperatorGroupSubVolumes group;
        group.SetMesh(&mesh);
        group.SetStl(&stl);
        EXPECT_TRUE(group.Operate());
    }
    MMeshBase mesh;
    MStlBase stl;
    std::vector<int> given;
};

// Says that a triangle lies on every face, or on none.
class Everywhere : public MMeshCorrespondenceMapper {
public:
    explicit Everywhere(int answer)
        : m_answer(answer) {}
    void Map() override {}
    bool IsMapped() const override { return true; }
    MStlTriangle* GetTriangle(MMeshElement*, unsigned int) override { return nullptr; }
    MStlTriangle* GetSharedTriangle(MMeshElement*, MMeshElement*) override { return nullptr; }
    MMeshElement* GetElement(MStlTriangle const*) override { return nullptr; }
    int IsBoundaryCrossing(MMeshElement*, MMeshElement*) override { return m_answer; }

private:
    int m_answer;
};

// Of another type than the library's own, so that labelling asks it for one pair of elements after another.
class Asked : public MMeshCorrespondenceMapperExact {
public:
    using MMeshCorrespondenceMapperExact::MMeshCorrespondenceMapperExact;
};

// 10368 elements with walls of triangles between every third layer of cubes, for each direction that is asked
// for; some walls have a hole.
struct WalledBlock {
    WalledBlock(bool in_x, bool in_y, bool with_holes) {
        TestMeshes::FillWithCubes(mesh, 12);
        MStlSurface& walls = *stl.AddSurface(nullptr);
        auto const is_wall = [&](MMeshPoint const* const* corners) {
            auto const on = [&](MLong MMeshPoint::*axis) {
                MLong const at = corners[0]->*axis;
                return at % (3 * Unit) == 0 && corners[1]->*axis == at && corners[2]->*axis == at;
            };
            bool const hole = with_holes && corners[0]->z < 2 * Unit && corners[0]->x < 6 * Unit;
            return !hole && ((in_x && on(&MMeshPoint::x)) || (in_y && on(&MMeshPoint::y)));
        };
        for (MMeshElement const& e : mesh.Elements())
            for (auto const& face : MMeshElementDescriptor::descr_triangle_point) {
                MMeshPoint* const corners[3] = {e.GetNode(face[0]), e.GetNode(face[1]), e.GetNode(face[2])};
                MStlPoint* points[3];
                for (int i = 0; i < 3; ++i)
                    points[i] = stl.AddPoint(corners[i]->x, corners[i]->y, corners[i]->z, false);
                if (is_wall(corners))
                    walls.AddTriangle(points[0], points[1], points[2]);
            }
    }
    MMeshBase mesh;
    MStlBase stl;
};

struct Labelled {
    bool done;
    unsigned long long regions;
    std::vector<int> numbers;
    std::vector<double> fractions;
    bool operator==(Labelled const&) const = default;
};

template <typename Mapper>
Labelled LabelBy(WalledBlock& block, double cancel_at, bool parallel) {
    block.mesh.SetCorrespondenceMapper(std::make_shared<Mapper>(&block.stl, &block.mesh));
    auto const delegate = std::make_shared<RecordingDelegate>(cancel_at);
    MMeshOperatorLabelSubVolumes label;
    label.SetMesh(&block.mesh);
    label.SetParallel(parallel);
    label.SetProgressDelegate(delegate);
    bool const done = label.Operate();
    return {done, label.GetNbVolumes(), Numbers(block.mesh), delegate->m_fractions};
}

} // namespace

TEST(Label, FindsRegionsAndGroupNamesThem) {
    Block block;
    block.ForgetSubVolumes();
    MMeshOperatorLabelSubVolumes label;
    EXPECT_FALSE(label.Operate());
    label.SetMesh(&block.mesh);
    EXPECT_FALSE(label.Operate()) << "neither mapper nor surface";
    label.SetStl(&block.stl);
    ASSERT_TRUE(label.Operate());
    EXPECT_EQ(label.GetNbVolumes(), 2u);
    EXPECT_EQ(Numbers(block.mesh), block.given);
    EXPECT_TRUE(block.mesh.GetNeighborsInfo()->IsEnabled());
    EXPECT_EQ(block.mesh.GetCorrespondenceMapper(), nullptr);

    // The outer one by its first face outside, the inner one as what lies behind the interface.
    block.Group();
    EXPECT_EQ(Names(block.mesh), (std::vector<std::wstring>{L"Volume Exterior Surface", L"Volume 1"}));
    EXPECT_EQ(Numbers(block.mesh), block.given);

    // Part 2 of the same surface twice: both become one.
    for (MStlSurface& surface : block.stl.Surfaces())
        surface.SetName(L"bone-bone-left");
    block.Group();
    EXPECT_EQ(Names(block.mesh), (std::vector<std::wstring>{L"Volume bone", L"Volume bone-left"}));
    block.stl.GetSurface(0)->SetName(L"bone");
    block.stl.GetSurface(1)->SetName(L"x-bone");
    block.Group();
    EXPECT_EQ(Names(block.mesh), std::vector<std::wstring>{L"Volume bone"});

    MMeshBase empty;
    label.SetMesh(&empty);
    EXPECT_FALSE(label.Operate());
    EXPECT_EQ(label.GetNbVolumes(), 2u) << "as before";
}

TEST(Label, AsksTheMapperOfTheMeshAndOrdersRegionsAsTheirFirstElements) {
    struct {
        int answer;
        int regions;
    } const cases[] = {{1, 48 + 1}, {0, 2}, {-1, 2}};
    for (auto const& [answer, regions] : cases) {
        MMeshBase mesh;
        TestMeshes::AddElementOfKind(mesh, 4); // joined by points to what follows, by no face
        TestMeshes::FillWithCubes(mesh, 2);
        mesh.SetCorrespondenceMapper(std::make_shared<Everywhere>(answer));
        MMeshOperatorLabelSubVolumes label;
        label.SetMesh(&mesh);
        ASSERT_TRUE(label.Operate());
        EXPECT_EQ(label.GetNbVolumes(), static_cast<unsigned>(regions));
        EXPECT_EQ(mesh.NumberOfSubVolumes(), static_cast<unsigned>(regions));
        std::vector<int> const numbers = Numbers(mesh);
        for (std::size_t i = 0; i < numbers.size(); ++i)
            ASSERT_EQ(numbers[i], regions > 2 ? static_cast<int>(i) : i > 0);
    }
}

TEST(Label, FindsAtOnceWhatAWalkFinds) {
    // Where a third element has a face, labelling walks in any case. Whether it reaches all three from one of
    // them depends on where they lie in memory: the neighbour is the one of lowest address.
    struct {
        bool in_x, in_y, with_holes, third_element;
        std::optional<unsigned int> regions;
    } const cases[] = {{false, false, false, false, 1}, {true, false, false, false, 4},
                       {true, true, false, false, 16},  {true, true, true, false, 9},
                       {true, true, true, true, {}},    {false, false, false, true, {}}};
    for (auto const& c : cases) {
        WalledBlock block(c.in_x, c.in_y, c.with_holes);
        if (c.third_element) {
            MMeshElement const& e = *block.mesh.GetElement(5000);
            TestMeshes::AddElement(
                block.mesh, {e.GetNode(0), e.GetNode(1), e.GetNode(2), block.mesh.AddPoint(20 * Unit, 1, 1)});
        }
        for (double const cancel_at : {2.0, 0.35, 0.75}) {
            Labelled const walked = LabelBy<Asked>(block, cancel_at, false);
            EXPECT_EQ(walked.done, cancel_at > 1.0);
            if (walked.done && c.regions) {
                EXPECT_EQ(walked.regions, *c.regions);
            }
            for (bool const parallel : {false, true})
                EXPECT_EQ(LabelBy<MMeshCorrespondenceMapperExact>(block, cancel_at, parallel), walked);
        }
    }
}

TEST(Label, LooksAtCancellationEvery1001stElement) {
    Block block;
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 7); // 2058 elements: two looks
    MMeshOperatorLabelSubVolumes label;
    label.SetMesh(&mesh);
    label.SetStl(&block.stl);
    mesh.SetCorrespondenceMapper(std::make_shared<Everywhere>(0));
    for (double const cancel_at : {2.0, 0.5, 0.0}) {
        SCOPED_TRACE(cancel_at);
        MMeshSubVolume* const extra = mesh.AddSubVolume();
        mesh.BeginSubVolume()->get()->MoveElement(*mesh.GetElement(0), extra);
        std::vector<int> const before = Numbers(mesh);
        auto const delegate = std::make_shared<RecordingDelegate>(cancel_at);
        label.SetProgressDelegate(delegate);
        EXPECT_EQ(label.Operate(), cancel_at > 1.0);
        EXPECT_EQ(label.GetNbVolumes(), 1u);
        EXPECT_EQ(delegate->m_labels, std::vector<std::string>{"Label sub volumes"});
        std::vector<double> const steps = cancel_at == 0.0   ? std::vector{0.0}
                                          : cancel_at == 0.5 ? std::vector{0.0, 0.5}
                                                             : std::vector{0.0, 0.5, 1.0};
        EXPECT_EQ(delegate->m_fractions, steps);
        if (cancel_at <= 1.0)
            EXPECT_EQ(Numbers(mesh), before);
        else
            EXPECT_EQ(mesh.NumberOfSubVolumes(), 1u);
    }
}

TEST(Group, GivesTheEmptyPartWhereNothingTells) {
    // Surfaces without triangles on the mesh, or of another container than the mapper's.
    for (bool const foreign : {false, true}) {
        Block block;
        block.mesh.AddSubVolume(); // without elements
        MStlBase other;
        other.AddSurface(nullptr)->SetName(L"Exterior Surface-1");
        if (foreign)
            block.mesh.SetCorrespondenceMapper(
                std::make_shared<MMeshCorrespondenceMapperExact>(&block.stl, &block.mesh));
        std::vector<std::shared_ptr<MMeshSubVolume>> const before(block.mesh.BeginSubVolume(),
                                                                  block.mesh.EndSubVolume());
        MMeshOperatorGroupSubVolumes group;
        EXPECT_FALSE(group.Operate());
        group.SetMesh(&block.mesh);
        EXPECT_FALSE(group.Operate()) << "no surfaces";
        group.SetStl(&other);
        auto const delegate = std::make_shared<RecordingDelegate>();
        group.SetProgressDelegate(delegate);
        ASSERT_TRUE(group.Operate());
        EXPECT_EQ(delegate->Last(), 2.0 / 3.0);
        EXPECT_EQ(Names(block.mesh), std::vector<std::wstring>{L"Volume"});
        EXPECT_EQ(before[0]->GetMatID(), 0);
        EXPECT_EQ(before[1]->GetMatID(), 0);
        EXPECT_EQ(before[2]->GetMatID(), -1);
        EXPECT_EQ(block.mesh.GetMainSubVolume()->GetNbElements(), block.given.size());
        EXPECT_EQ(block.mesh.GetMainSubVolume()->GetMatID(), 1) << "as AddSubVolume gives it";
    }
}

TEST(Group, LeavesTheSubVolumesAsTheyWereWhenCancelled) {
    Block block;
    std::vector<std::wstring> const names = Names(block.mesh);
    MMeshOperatorGroupSubVolumes group;
    group.SetMesh(&block.mesh);
    group.SetStl(&block.stl);
    group.SetProgressDelegate(std::make_shared<RecordingDelegate>(0.0));
    EXPECT_FALSE(group.Operate());
    EXPECT_EQ(Names(block.mesh), names);
    EXPECT_EQ(Numbers(block.mesh), block.given);
}

TEST(Group, NumbersPartsAsTheyComeAndSkipsFacesWithoutTriangle) {
    Block block;
    block.Label();
    // The exterior surface as two, the first of which does not lie on the mesh.
    block.stl.GetSurface(0)->SetName(L"Exterior Surface-1");
    std::vector<std::shared_ptr<MMeshSubVolume>> const before(block.mesh.BeginSubVolume(),
                                                              block.mesh.EndSubVolume());
    block.Group();
    EXPECT_EQ(before[0]->GetMatID(), 1); // Exterior Surface; 1 is the 2nd, Interface Surface0 the 3rd
    EXPECT_EQ(before[1]->GetMatID(), 2);
    EXPECT_EQ(before[1]->GetName(), L"Volume 1");
}
