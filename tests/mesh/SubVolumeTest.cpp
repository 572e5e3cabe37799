// SPDX-License-Identifier: BSD-3-Clause
#include "TestMeshes.h"

#include <gtest/gtest.h>

#include <memory>
#include <span>
#include <stdexcept>
#include <vector>

namespace {

// Names of the sub-volumes in order, and for each element the name of its sub-volume.
std::vector<std::wstring> NamesOfElements(MMeshBase& mesh) {
    std::vector<std::wstring> names;
    for (MMeshElement const& e : mesh.Elements())
        names.push_back(mesh.GetSubVolume(e)->GetName());
    return names;
}

std::vector<std::wstring> NamesInOrder(MMeshBase& mesh) {
    std::vector<std::wstring> names;
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it) {
        EXPECT_EQ((*it)->GetID(), it - mesh.BeginSubVolume());
        names.push_back((*it)->GetName());
    }
    return names;
}

// Eight cubes in four sub-volumes: "b" 1 cube, "a" 3 cubes, "c" empty, "a b" 4 cubes.
void Divide(MMeshBase& mesh) {
    TestMeshes::FillWithCubes(mesh, 2);
    mesh.GetMainSubVolume()->SetName(L"b");
    for (wchar_t const* name : {L"a", L"c", L"a b"})
        mesh.AddSubVolume()->SetName(name);
    for (std::uint64_t i = 6; i < 48; ++i)
        mesh.GetMainSubVolume()->MoveElement(*mesh.GetElement(i),
                                             (mesh.BeginSubVolume() + (i < 24 ? 1 : 3))->get());
}

} // namespace

TEST(SubVolume, CountsFollowIncludingMovingAndAdding) {
    MMeshBase mesh;
    MMeshElement& e = *TestMeshes::AddElementOfKind(mesh, 4);
    MMeshSubVolume& main = *mesh.GetMainSubVolume();
    MMeshSubVolume& other = *mesh.AddSubVolume();
    auto nodes = TestMeshes::AddNodes(mesh, TestMeshes::Corners(10));
    MMeshElement const* const added = other.AddElement(10, nodes.data());
    EXPECT_EQ(main.GetNbElements(), 1u);
    EXPECT_EQ(other.GetNbElements(), 1u);
    EXPECT_EQ(other.GetNbPoints(), 10u);
    EXPECT_EQ(&*other.begin(), added);
    EXPECT_EQ(&*main.begin(), &e);
    main.AddElement(4, nodes.data());
    EXPECT_EQ(main.GetNbElements(), 2u);
    main.MoveAllElements(&other);
    EXPECT_EQ(main.GetNbElements(), 0u);
    EXPECT_EQ(other.GetNbElements(), 3u);
    EXPECT_EQ(std::distance(other.begin(), other.end()), 3);
    EXPECT_EQ(other.GetNbPoints(), 14u) << "a node of two elements counts once";
    other.MoveAllElements(&other);
    EXPECT_EQ(other.GetNbElements(), 3u);
    main.IncludeElement(e);
    main.IncludeElement(e);
    EXPECT_EQ(main.GetNbElements(), 2u) << "including counts and does not look";
}

TEST(SubVolume, ManyElementsAreIncludedAtOnce) {
    for (bool const parallel : {false, true}) {
        MMeshBase mesh;
        Divide(mesh);
        mesh.ClearSubVolumes();
        std::vector<int> index(48, 1);
        EXPECT_THROW(mesh.IncludeElements(index, parallel), std::runtime_error) << "none is there";
        mesh.AddSubVolume();
        mesh.AddSubVolume();
        EXPECT_THROW(mesh.IncludeElements(std::span(index).first(47), parallel), std::runtime_error);
        for (int const wrong : {-1, 2}) {
            index[47] = wrong;
            EXPECT_THROW(mesh.IncludeElements(index, parallel), std::runtime_error);
        }
        EXPECT_EQ(mesh.BeginSubVolume()[1]->GetNbElements(), 0u);
        index[47] = index[0] = index[20] = 0;
        mesh.IncludeElements(index, parallel);
        EXPECT_EQ(mesh.BeginSubVolume()[0]->GetNbElements(), 3u);
        EXPECT_EQ(mesh.BeginSubVolume()[1]->GetNbElements(), 45u);
        for (std::size_t i = 0; i < index.size(); ++i)
            EXPECT_EQ(mesh.GetSubVolume(*mesh.GetElement(i)), mesh.BeginSubVolume()[index[i]].get());
    }
}

TEST(SubVolume, EmptyOnesAreRemovedAndTheRestRenumbered) {
    MMeshBase mesh;
    Divide(mesh);
    auto const names = NamesOfElements(mesh);
    EXPECT_EQ(mesh.RemoveEmptySubVolumes(), 1u);
    EXPECT_EQ(NamesInOrder(mesh), (std::vector<std::wstring>{L"b", L"a", L"a b"}));
    EXPECT_EQ(NamesOfElements(mesh), names);

    MMeshBase fresh;
    EXPECT_EQ(fresh.RemoveEmptySubVolumes(), 1u) << "the main sub-volume goes too";
    EXPECT_FALSE(fresh.IsValid());
}

TEST(SubVolume, SortingKeepsEveryElementInItsSubVolume) {
    struct Case {
        MMeshBase::SubvolumesSortMode mode;
        MMeshBase::SortDirection direction;
        std::vector<std::wstring> expected;
    };
    auto const other_direction = static_cast<MMeshBase::SortDirection>(17);
    for (Case const& c : {Case{MMeshBase::SortByName, MMeshBase::Ascending, {L"a", L"a b", L"b", L"c"}},
                          Case{MMeshBase::SortByName, other_direction, {L"c", L"b", L"a b", L"a"}},
                          Case{MMeshBase::SortByVolume, MMeshBase::Ascending, {L"c", L"b", L"a", L"a b"}},
                          Case{MMeshBase::SortByVolume, MMeshBase::Descending, {L"a b", L"a", L"b", L"c"}}}) {
        MMeshBase mesh;
        Divide(mesh);
        auto const names = NamesOfElements(mesh);
        mesh.SortSubvolumes(c.mode, c.direction);
        EXPECT_EQ(NamesInOrder(mesh), c.expected);
        EXPECT_EQ(NamesOfElements(mesh), names);
    }
    MMeshBase mesh;
    try {
        mesh.SortSubvolumes(static_cast<MMeshBase::SubvolumesSortMode>(2), MMeshBase::Ascending);
        FAIL();
    } catch (std::invalid_argument const& e) {
        EXPECT_STREQ(e.what(), "not implemented case");
    }
}

TEST(SubVolume, BecomesAMeshOfItsOwn) {
    MMeshBase mesh;
    Divide(mesh);
    for (MMeshElement& e : mesh.Elements())
        mesh.GetElementMasks()->GetGreyValueMask()->SetValue(e, 10.0 * e.GetNode(0)->GetIndex());
    MMeshSubVolume const& part = **(mesh.BeginSubVolume() + 1);
    std::unique_ptr<MMeshBase> const copy(mesh.GetSubVolumeAsMMeshBase(part));
    EXPECT_EQ(copy->NumberOfElements(), 18);
    EXPECT_EQ(static_cast<std::uint64_t>(copy->NumberOfPoints()), part.GetNbPoints());
    EXPECT_DOUBLE_EQ(copy->GetVolume(), 3.0);
    EXPECT_EQ(copy->GetMainSubVolume()->GetName(), L"a");
    auto source = part.begin();
    for (MMeshElement const& e : copy->Elements()) {
        EXPECT_EQ(e.GetNode(3)->x, source->GetNode(3)->x);
        EXPECT_EQ(copy->GetElementMasks()->GetGreyValueMask()->GetValue(e),
                  10.0 * source->GetNode(0)->GetIndex());
        ++source;
    }
}

// Who kept a sub-volume must neither see what got its number nor touch a mesh that is gone.
TEST(SubVolume, DroppedFromTheListHasNoElements) {
    auto mesh = std::make_unique<MMeshBase>();
    Divide(*mesh);
    std::shared_ptr<MMeshSubVolume> const full = mesh->BeginSubVolume()[1];
    std::shared_ptr<MMeshSubVolume> const empty = mesh->BeginSubVolume()[2];
    std::shared_ptr<MMeshSubVolume> const kept = mesh->BeginSubVolume()[3];
    mesh->RemoveEmptySubVolumes();
    EXPECT_EQ(empty->GetParent(), nullptr);
    EXPECT_EQ(kept->GetNbElements(), 24u);
    mesh->ClearSubVolumes();
    for (int i = 0; i < 4; ++i)
        mesh->AddSubVolume()->SetName(L"new");
    MMeshElement& element = *mesh->GetElement(0);
    for (auto const& dropped : {full, empty, kept}) {
        EXPECT_EQ(dropped->GetParent(), nullptr);
        EXPECT_EQ(dropped->GetNbElements(), 0u);
        EXPECT_EQ(dropped->GetNbPoints(), 0u);
        EXPECT_EQ(dropped->GetVolume(), 0.0);
        EXPECT_TRUE(dropped->begin() == dropped->end());
        EXPECT_THROW(dropped->IncludeElement(element), std::runtime_error);
        EXPECT_THROW(dropped->AddElement(4, nullptr), std::runtime_error);
        dropped->MoveAllElements(mesh->GetMainSubVolume());
        std::unique_ptr<MMeshBase> const none(mesh->GetSubVolumeAsMMeshBase(*dropped));
        EXPECT_EQ(none->NumberOfElements(), 0);
        EXPECT_EQ(none->GetMainSubVolume()->GetName(), dropped->GetName());
    }
    std::shared_ptr<MMeshSubVolume> const last = mesh->BeginSubVolume()[0];
    mesh->ClearMesh();
    EXPECT_EQ(last->GetParent(), nullptr);
    mesh.reset();
    EXPECT_TRUE(full->begin() == full->end());
}

TEST(SubVolume, OfAnotherMeshIsCopiedFromThere) {
    MMeshBase mesh, other;
    TestMeshes::FillWithCubes(mesh, 1);
    Divide(other);
    std::shared_ptr<MMeshSubVolume> const part = other.BeginSubVolume()[1];
    std::unique_ptr<MMeshBase> const copy(mesh.GetSubVolumeAsMMeshBase(*part));
    EXPECT_EQ(static_cast<std::uint64_t>(copy->NumberOfElements()), part->GetNbElements());
    EXPECT_EQ(copy->GetVolume(), part->GetVolume());
    part->SetParent(nullptr);
    std::unique_ptr<MMeshBase> const none(mesh.GetSubVolumeAsMMeshBase(*part));
    EXPECT_EQ(none->NumberOfElements(), 0);
}
