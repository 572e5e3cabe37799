// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/mesh/MMeshOrigins.h>
#include <KetSDK/Mesh/operators/MMeshMergeVolumesOperator.h>
#include <KetSDK/Mesh/operators/MMeshOperatorRemoveSubVolume.h>
#include <KetSDK/Mesh/operators/MMeshSplitVolumesOperator.h>
#include <KetSDK/Mesh/operators/MMeshWeldOperator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

namespace {

using VolumeList = MMeshElementMaskContainer::VolumeList;

// All that is known of an element, whatever its place in the mesh.
using Facts = std::tuple<int, std::wstring, int, std::vector<TestMeshes::Coordinates>, double, double, bool,
                         std::size_t, std::size_t, std::vector<int>>;

Facts FactsOf(MMeshBase& mesh, MMeshElement const& e) {
    auto& masks = *mesh.GetElementMasks();
    MMeshSubVolume const* const part = mesh.GetSubVolume(e);
    std::vector<TestMeshes::Coordinates> nodes;
    std::vector<int> node_ids;
    for (unsigned int i = 0; i < e.GetNodeCount(); ++i) {
        MMeshPoint const& p = *e.GetNode(i);
        nodes.push_back({p.x, p.y, p.z});
        node_ids.push_back(mesh.GetPointMasks()->GetOriginalIDs()->GetValue(p));
    }
    MMeshMaterial const* const material = mesh.GetMaterialCatalog().GetMaterialWithID(
        static_cast<unsigned>(masks.GetMaterialMask()->GetValue(e)));
    return {masks.GetOriginalIDs()->GetValue(e),
            part ? part->GetName() : L"(none)",
            part ? part->GetMatID() : -1,
            nodes,
            masks.GetGreyValueMask()->GetValue(e),
            material ? material->GetDensity() : -1.0,
            masks.GetVisibleMask()->GetValue(e),
            masks.GetVolumeIndexMask()->GetValue(e).size(),
            masks.GetSurfaceMask()->GetValue(e).GetSize(),
            node_ids};
}

std::vector<Facts> AllFacts(MMeshBase& mesh) {
    std::vector<Facts> facts;
    for (MMeshElement const& e : mesh.Elements())
        facts.push_back(FactsOf(mesh, e));
    return facts;
}

std::vector<Facts> Sorted(std::vector<Facts> facts) {
    std::ranges::sort(facts);
    return facts;
}

void AddMaterial(MMeshBase& mesh, unsigned int id, double density) {
    MMeshMaterial material;
    material.SetID(id);
    material.SetDensity(density);
    mesh.GetMaterialCatalog().AddMaterial(material);
}

// A block of tetrahedra in three sub-volumes with an element in none, one of every other kind beside it,
// values of all kinds, and a node that nothing uses.
void FillWithEverything(MMeshBase& mesh) {
    TestMeshes::FillWithCubes(mesh, 3);
    for (MLong const kind : {6, 8, 10}) {
        auto corners = TestMeshes::Corners(static_cast<unsigned char>(kind));
        for (auto& corner : corners)
            corner[0] += 10 * kind;
        TestMeshes::AddElement(mesh, TestMeshes::AddNodes(mesh, corners));
    }
    mesh.AddPoint(-1, -1, -1);
    MMeshSubVolume none(&mesh, -1);
    for (wchar_t const* name : {L"B", L"C", L"empty"})
        mesh.AddSubVolume()->SetName(name);
    mesh.GetMainSubVolume()->SetMatID(7);
    for (unsigned int id : {2u, 5u, 9u})
        AddMaterial(mesh, id, 100.0 * id);
    mesh.SetGreyValuesFlag(true);
    mesh.SetMeshType(MMeshBase::Quadratic);
    auto& masks = *mesh.GetElementMasks();
    int i = 0;
    for (MMeshElement& e : mesh.Elements()) {
        masks.GetGreyValueMask()->SetValue(e, 0.5 * i);
        masks.GetMaterialMask()->SetValue(e, i % 4 == 0 ? -1 : i % 4 == 1 ? 2 : i % 4 == 2 ? 5 : 9);
        masks.GetOriginalIDs()->SetValue(e, 1000 - i);
        masks.GetVisibleMask()->SetValue(e, i % 3 != 0);
        masks.GetVolumeIndexMask()->SetValue(e, VolumeList(static_cast<std::size_t>(i % 2)));
        if (i % 5 == 0)
            masks.GetSurfaceMask()->GetSlot(e.GetMaskIndex()).Add(0, 1);
        if (i == 17)
            mesh.GetMainSubVolume()->MoveElement(e, &none);
        else if (i % 3 != 0)
            mesh.GetMainSubVolume()->MoveElement(e, (mesh.BeginSubVolume() + i % 3)->get());
        ++i;
    }
    for (MMeshPointIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
        mesh.GetPointMasks()->GetOriginalIDs()->SetValue(*p, 3 * p->GetIndex());
}

std::unique_ptr<MMeshBase> Without(MMeshBase& mesh, std::vector<int> const& positions) {
    MMeshOperatorRemoveSubVolume remove;
    remove.SetMesh(&mesh);
    for (int const position : positions)
        remove.AddSubVolumeToRemove((mesh.BeginSubVolume() + position)->get());
    EXPECT_TRUE(remove.Operate());
    return std::unique_ptr<MMeshBase>(remove.GetNewMesh());
}

std::vector<std::pair<std::wstring, std::uint64_t>> SubVolumes(MMeshBase const& mesh) {
    std::vector<std::pair<std::wstring, std::uint64_t>> list;
    int number = 0;
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it, ++number) {
        EXPECT_EQ((*it)->GetID(), number);
        EXPECT_EQ(static_cast<std::uint64_t>(std::distance((*it)->begin(), (*it)->end())),
                  (*it)->GetNbElements());
        list.emplace_back((*it)->GetName(), (*it)->GetNbElements());
    }
    return list;
}

} // namespace

TEST(RemoveSubVolume, TheRestIsAsItWasAndMergingGivesBackTheMesh) {
    MMeshBase mesh;
    FillWithEverything(mesh);
    std::vector<Facts> const facts = AllFacts(mesh);
    auto const facts_of = [&facts](auto const& is_meant) {
        std::vector<Facts> list;
        std::ranges::copy_if(facts, std::back_inserter(list),
                             [&](Facts const& f) { return is_meant(std::get<1>(f)); });
        return list;
    };

    auto const rest = Without(mesh, {1});
    EXPECT_EQ(AllFacts(*rest), facts_of([](auto const& name) { return name != L"B"; }));
    EXPECT_EQ(SubVolumes(*rest)[1].first, L"C");
    EXPECT_EQ(SubVolumes(*rest).size(), 3u) << "the empty one stays";
    EXPECT_TRUE(rest->HasGreyValues());
    EXPECT_EQ(rest->GetMeshType(), MMeshBase::Quadratic);
    MLong last = -1;
    for (MMeshPointIterator p = rest->BeginPoint(); p != rest->EndPoint(); ++p)
        EXPECT_LT(std::exchange(last, rest->GetPointMasks()->GetOriginalIDs()->GetValue(*p)),
                  rest->GetPointMasks()->GetOriginalIDs()->GetValue(*p))
            << "nodes keep their order";
    auto const part = Without(mesh, {0, 2, 3});
    EXPECT_EQ(AllFacts(*part), facts_of([](auto const& name) { return name == L"B" || name == L"(none)"; }));

    // The element in none is in both and comes twice.
    rest->GetNeighborsInfo()->Enable();
    MMeshMergeVolumesOperator merge(rest.get(), part.get());
    ASSERT_TRUE(merge.Operate());
    EXPECT_FALSE(rest->GetNeighborsInfo()->IsEnabled());
    std::vector<Facts> expected = facts;
    std::ranges::copy(facts_of([](auto const& name) { return name == L"(none)"; }),
                      std::back_inserter(expected));
    EXPECT_EQ(Sorted(AllFacts(*rest)), Sorted(expected));
    EXPECT_EQ(rest->NumberOfPoints(), mesh.NumberOfPoints() - 1) << "but for the node that nothing used";
    EXPECT_EQ(rest->GetBoundingBox().GetMin()[0], 0);
    EXPECT_EQ(rest->GetMaterialCatalog().NumberOfMaterials(), 3u);
    EXPECT_EQ(SubVolumes(*rest)[3].first, L"B");
}

TEST(RemoveSubVolume, RefusesWhatIsNotInTheMesh) {
    MMeshBase mesh, other;
    TestMeshes::AddElementOfKind(mesh, 4);
    for (MMeshSubVolume* const wrong : {other.GetMainSubVolume(), static_cast<MMeshSubVolume*>(nullptr)}) {
        MMeshOperatorRemoveSubVolume remove;
        EXPECT_FALSE(remove.Operate());
        remove.SetMesh(&mesh);
        remove.AddSubVolumeToRemove(wrong);
        EXPECT_FALSE(remove.Operate());
        EXPECT_EQ(remove.GetNewMesh(), nullptr);
    }
    auto const nothing = Without(mesh, {0});
    EXPECT_FALSE(nothing->IsValid());
    EXPECT_EQ(SubVolumes(*nothing).size(), 1u) << "a mesh that can be filled";
}

// A row of elements of all kinds, each of which shares a face with the one before.
TEST(SplitVolumes, FacesConnectAndEdgesAndOtherSubVolumesDoNot) {
    MMeshBase mesh;
    auto const n = TestMeshes::AddNodes(mesh, {{0, 0, 0},
                                               {6, 0, 0},
                                               {6, 6, 0},
                                               {0, 6, 0},
                                               {0, 0, 6},
                                               {6, 0, 6},
                                               {6, 6, 6},
                                               {0, 6, 6},
                                               {12, 0, 0},
                                               {12, 0, 6},
                                               {6, 0, 12},
                                               {9, 9, 20},
                                               {0, 0, -6},
                                               {-6, 0, -6},
                                               {30, 0, 0},
                                               {30, 6, 0}});
    TestMeshes::AddElement(mesh, {n[12], n[13], n[0], n[3]});                       // on an edge of the next
    TestMeshes::AddElement(mesh, {n[0], n[1], n[2], n[3], n[4], n[5], n[6], n[7]}); // hexahedron
    TestMeshes::AddElement(mesh, {n[1], n[8], n[2], n[5], n[9], n[6]});             // wedge
    TestMeshes::AddElement(mesh, {n[5], n[9], n[6], n[10]});                        // tetrahedron
    MMeshElement* const between = TestMeshes::AddElement(mesh, {n[5], n[9], n[10], n[11]});
    TestMeshes::AddElement(mesh, {n[5], n[10], n[9], n[14]});   // the third at that face
    TestMeshes::AddElement(mesh, {n[14], n[15], n[14], n[13]}); // collapsed
    TestMeshes::AddElement(mesh, {n[14], n[15], n[14], n[12]});
    MMeshSubVolume* const bone = mesh.GetMainSubVolume();
    bone->SetName(L"Bone");
    bone->SetMatID(3);
    MMeshSubVolume* const other = mesh.AddSubVolume();
    bone->MoveElement(*between, other);

    MMeshSplitVolumesOperator split;
    EXPECT_FALSE(split.Operate());
    split.SetMesh(&mesh);
    split.SetSubVolumes({nullptr});
    EXPECT_FALSE(split.Operate());
    split.SetSubVolumes({other});
    ASSERT_TRUE(split.Operate());
    EXPECT_EQ(split.GetNbNewSubVolumes(), 0u);
    split.SetSubVolumes({});
    ASSERT_TRUE(split.Operate());
    EXPECT_EQ(split.GetNbNewSubVolumes(), 3u);
    EXPECT_EQ(SubVolumes(mesh),
              (std::vector<std::pair<std::wstring, std::uint64_t>>{
                  {L"Bone", 4}, {L"Volume 1", 1}, {L"Bone 2", 1}, {L"Bone 3", 1}, {L"Bone 4", 1}}));
    std::vector<int> numbers;
    for (MMeshElement const& e : mesh.Elements())
        numbers.push_back(mesh.GetSubVolume(e)->GetID());
    EXPECT_EQ(numbers, (std::vector<int>{2, 0, 0, 0, 1, 0, 3, 4})) << "ties in the order of the mesh";
    EXPECT_EQ((*(mesh.BeginSubVolume() + 4))->GetMatID(), 3);
    ASSERT_TRUE(split.Operate());
    EXPECT_EQ(split.GetNbNewSubVolumes(), 0u) << "parts are in one piece";
}

TEST(MergeVolumes, NodesAtOnePlaceBecomeOneButForThoseOfTheFirstMesh) {
    MMeshBase first, second;
    TestMeshes::AddElementOfKind(first, 4);
    TestMeshes::AddElementOfKind(first, 4); // at the same positions
    first.ForbidDuplicatePoints();          // does not know the nodes that are there
    TestMeshes::AddElementOfKind(second, 8);
    TestMeshes::AddElementOfKind(second, 6);
    second.AddPoint(-5, 0, 0);
    for (MMeshBase* const missing : {static_cast<MMeshBase*>(nullptr), &first}) {
        EXPECT_FALSE(MMeshMergeVolumesOperator(&first, missing).Operate());
        EXPECT_FALSE(MMeshMergeVolumesOperator(missing, &first).Operate());
    }
    MMeshMergeVolumesOperator merge(&first, &second);
    ASSERT_TRUE(merge.Operate());
    EXPECT_EQ(first.NumberOfPoints(), 8 + 4 + 1);
    EXPECT_EQ(first.GetBoundingBox().GetMin()[0], -5);
    EXPECT_EQ(SubVolumes(first),
              (std::vector<std::pair<std::wstring, std::uint64_t>>{{L"Volume 0", 2}, {L"Volume 0", 2}}));
    for (std::size_t i = 0; i < merge.GetNodes().size(); ++i) {
        MMeshPoint const& p = *second.GetRandomPoint(i);
        MMeshPoint const& q = *merge.GetNodes()[i];
        EXPECT_TRUE(p.x == q.x && p.y == q.y && p.z == q.z);
        EXPECT_EQ(first.GetRandomPoint(static_cast<std::uint64_t>(q.GetIndex())), &q);
    }
    EXPECT_EQ(first.GetElement(2)->GetNode(0), first.GetRandomPoint(0)) << "the first of two";
    EXPECT_EQ(first.GetElement(3)->GetNode(5), first.GetElement(2)->GetNode(7));
    EXPECT_EQ(second.NumberOfElements(), 2);
}

// Each mesh has one element for every identifier in the list.
TEST(MergeVolumes, MaterialsKeepTheirMeaning) {
    auto const fill = [](MMeshBase& mesh, std::vector<int> const& ids,
                         std::map<unsigned, double> const& catalog) {
        for (int const id : ids)
            mesh.GetElementMasks()->GetMaterialMask()->SetValue(*TestMeshes::AddElementOfKind(mesh, 4), id);
        for (auto const& [id, density] : catalog)
            AddMaterial(mesh, id, density);
    };
    MMeshBase first, second;
    // 8 and 9 are in no catalog.
    fill(first, {-1, 1, 2, 8}, {{1, 10.0}, {2, 20.0}, {4, 40.0}});
    // One was given no identifier: no element has it.
    fill(second, {-1, 2, 1, 3, 8, 9, 4}, {{1, 20.0}, {2, 50.0}, {3, 60.0}, {8, 10.0}, {0xFFFFFFFF, 40.0}});
    ASSERT_TRUE(MMeshMergeVolumesOperator(&first, &second).Operate());
    std::vector<int> ids;
    for (MMeshElement const& e : first.Elements())
        ids.push_back(first.GetElementMasks()->GetMaterialMask()->GetValue(e));
    // 2 is displaced to 5, 1 and 8 are known under other identifiers, 3 and 9 are free, and what the second
    // mesh calls 4 without knowing it gives way to the material 4.
    EXPECT_EQ(ids, (std::vector<int>{-1, 1, 2, 8, -1, 5, 2, 3, 1, 9, 6}));
    std::map<unsigned, double> catalog;
    for (auto const& [id, material] : first.GetMaterialCatalog()) {
        EXPECT_EQ(material->GetID(), id);
        catalog[id] = material->GetDensity();
    }
    EXPECT_EQ(catalog, (std::map<unsigned, double>{{1, 10.0}, {2, 20.0}, {3, 60.0}, {4, 40.0}, {5, 50.0}}));
}

// Two tetrahedra that lie side by side, and far from them nodes of no element.
TEST(Weld, ManyNodesAtOnePlaceBecomeOneAndTheirNeighboursWithThem) {
    MMeshBase mesh;
    TestMeshes::AddElementOfKind(mesh, 4);
    TestMeshes::AddElementOfKind(mesh, 4);
    constexpr int copies = 200'000, from = 8, last = from + copies + 1;
    for (int i = 0; i < copies; ++i)
        mesh.AddPoint(40 * TestMeshes::Unit + (i % 2 == 0 ? 0 : 3), 0, 0);
    mesh.AddPoint(40 * TestMeshes::Unit + 5, 0, 0); // near by way of the others
    mesh.AddPoint(40 * TestMeshes::Unit + 9, 0, 0);
    MMeshBase welded;
    MMeshOrigins origins;
    MMeshWeldOperator weld;
    weld.SetMesh(&mesh);
    weld.SetTarget(&welded);
    weld.SetTolerance(3.0 / TestMeshes::Unit);
    weld.SetOrigins(&origins);
    ASSERT_TRUE(weld.Operate());
    EXPECT_EQ(welded.NumberOfElements(), 2);
    EXPECT_EQ(origins.nodes,
              (std::vector<MMeshOrigins::Node>{{0, 0}, {1, 1}, {2, 2}, {3, 3}, {from, from}, {last, last}}));
}
