// SPDX-License-Identifier: BSD-3-Clause
// Meshes that are swapped out come back as they were, whatever happens to disk, files and processes
// meanwhile.
#include "TestFiles.h"
#include "persistence/FullMesh.h"

#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/Mesh/persistence/MMeshBaseManager.h>
#include <KetSDK/Mesh/persistence/MMeshDifference.h>

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <stdexcept>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using Manager = MMeshBaseManager;
constexpr wchar_t const* Name = L"Sch\u00e4del \U0001F480/..";

class MeshManager : public testing::Test {
protected:
    MeshManager() { EXPECT_TRUE(m_manager.Add(Name, std::move(m_full.mesh))); }

    MMeshBase& Mesh() { return *m_manager.Get(Name); }
    std::vector<fs::path> Files() const {
        return {fs::directory_iterator(m_manager.GetFolder().GetPath()), {}};
    }
    void ExpectFault(bool went_well, Manager::Fault fault) {
        EXPECT_EQ(went_well, fault == Manager::NoFault);
        EXPECT_EQ(m_manager.GetLastFault(), fault);
    }

    MTemporaryDirectory m_parent;
    FullMesh m_full;                  // its fields outlive the mesh, which the manager deletes
    MMeshBase m_before{*m_full.mesh}; // without user masks
    Manager m_manager{m_parent.GetPath()};
};

// Runs something with room for so many bytes in a file.
void WithFileLimit(rlim_t bytes, std::function<void()> const& run) {
    auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit const limit{bytes, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    run();
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
}

} // namespace

TEST_F(MeshManager, GivesMemoryBackAndTheMeshAsItWas) {
    MMeshBase* const mesh = m_manager.Get(Name);
    // Mask indices that are not in the order of the objects, masks of other types, one that dies meanwhile.
    MMeshElementMaskContainer& masks = *mesh->GetElementMasks();
    masks.UnregisterMaskObject(*mesh->GetElement(1));
    masks.RegisterMaskObject(*mesh->GetElement(0));
    masks.RegisterMaskObject(*mesh->GetElement(1));
    for (std::uint64_t i = 0; i < 2; ++i) {
        masks.GetSubvolumeMask()->SetValue(*mesh->GetElement(i), 0);
        masks.GetGreyValueMask()->SetValue(*mesh->GetElement(i), 0.5 * static_cast<double>(i));
    }
    MDataMask<MMeshElement, std::string> words("none");
    masks.RegisterMask(&words, "words");
    for (MMeshElement const& e : mesh->Elements())
        words.SetValue(e, "kind " + std::to_string(e.GetNodeCount()));
    auto dying = std::make_unique<MDataMask<MMeshPoint, std::vector<int>>>();
    mesh->GetPointMasks()->RegisterMask(dying.get());
    mesh->ForbidDuplicatePoints();
    MMeshPoint const& known = *mesh->AddPoint(5, 6, 7);
    MLong const known_index = known.GetIndex();
    mesh->GetNeighborsInfo()->Enable();
    MMeshSubVolume const* const bone = (mesh->BeginSubVolume() + 1)->get();
    MMeshBase const before(*mesh);
    std::size_t const memory = m_manager.MemoryUsed();

    ASSERT_TRUE(m_manager.SwapOut(Name));
    EXPECT_TRUE(m_manager.SwapOut(Name)) << "nothing more to do";
    EXPECT_FALSE(m_manager.IsInMemory(Name));
    EXPECT_LT(m_manager.MemoryUsed(), memory);
    EXPECT_EQ(mesh->NumberOfElements(), 0);
    EXPECT_EQ(masks.GetObjectAt(0), nullptr);
    ASSERT_EQ(Files().size(), 1U);
    dying.reset();
    MDataMask<MMeshPoint, int> late(17);
    EXPECT_TRUE(mesh->GetPointMasks()->RegisterMask(&late));

    ASSERT_EQ(m_manager.Get(Name), mesh) << "the mesh stays at its address";
    EXPECT_TRUE(m_manager.IsInMemory(Name));
    EXPECT_TRUE(Files().empty());
    MMeshBase const after(*mesh); // without user masks, as the other copy
    EXPECT_EQ(FindMeshDifference(before, after), std::nullopt);
    EXPECT_EQ(masks.FindMask("words"), &words);
    for (MMeshElement& e : mesh->Elements()) {
        EXPECT_EQ(words.GetValue(e), "kind " + std::to_string(e.GetNodeCount()));
        EXPECT_EQ(masks.GetObjectAt(e.GetMaskIndex()), &e);
    }
    EXPECT_EQ(m_full.fields[0]->GetValue(*mesh->GetRandomPoint(3)), std::numeric_limits<double>::infinity());
    EXPECT_EQ(m_full.fields[0]->GetValue(*mesh->GetRandomPoint(2)), 36.6);
    EXPECT_EQ(late.GetValue(*mesh->GetRandomPoint(0)), 17);
    EXPECT_EQ(mesh->GetSubVolume(*mesh->GetElement(2)), bone);
    EXPECT_FALSE(mesh->GetNeighborsInfo()->IsEnabled());
    EXPECT_EQ(mesh->AddPoint(5, 6, 7)->GetIndex(), known_index) << "duplicates are still forbidden";
}

TEST_F(MeshManager, KeepsMeshesByName) {
    auto other = std::make_unique<MMeshBase>();
    MMeshBase* const address = other.get();
    ExpectFault(m_manager.Add(Name, std::move(other)), Manager::NameTaken);
    EXPECT_NE(other, nullptr) << "the caller keeps it";
    ExpectFault(m_manager.Add(L"", nullptr), Manager::NoMesh);
    ExpectFault(m_manager.Add(L"", std::move(other)), Manager::NoFault);
    EXPECT_EQ(m_manager.GetNames(), (std::vector<std::wstring>{L"", Name}));
    ASSERT_TRUE(m_manager.SwapOut(L"") && m_manager.SwapOut(Name));
    EXPECT_EQ(m_manager.Take(L"").get(), address);
    for (bool const removed : {true, false})
        ExpectFault(m_manager.Remove(Name), removed ? Manager::NoFault : Manager::UnknownName);
    EXPECT_TRUE(Files().empty());
    ExpectFault(m_manager.Get(Name), Manager::UnknownName);
    ExpectFault(m_manager.SwapOut(Name), Manager::UnknownName);
    EXPECT_EQ(m_manager.Take(Name), nullptr);
}

TEST_F(MeshManager, AFullDiskLeavesTheMeshInMemory) {
    FullMesh large;
    TestMeshes::FillWithCubes(*large.mesh, 12);
    MMeshBase const before(*large.mesh);
    MMeshBase* const mesh = large.mesh.get();
    ASSERT_TRUE(m_manager.Add(L"large", std::move(large.mesh)));
    for (rlim_t const bytes : {0u, 1u, 100u, 70000u, 200000u}) {
        bool done = true;
        WithFileLimit(bytes, [&] { done = m_manager.SwapOut(L"large"); });
        ExpectFault(done, Manager::CannotWrite);
        EXPECT_TRUE(m_manager.IsInMemory(L"large"));
        EXPECT_EQ(m_manager.Get(L"large"), mesh);
        EXPECT_EQ(FindMeshDifference(before, MMeshBase(*mesh)), std::nullopt);
        EXPECT_TRUE(Files().empty());
    }
    EXPECT_TRUE(m_manager.SwapOut(L"large"));
    EXPECT_EQ(FindMeshDifference(before, MMeshBase(*m_manager.Get(L"large"))), std::nullopt);
}

TEST_F(MeshManager, FilesThatAreLostOrChangedAreReportedAndCanBeTriedAgain) {
    ASSERT_TRUE(m_manager.SwapOut(Name));
    fs::path const path = Files().front();
    std::string const content = Content(path);
    std::vector<std::pair<Manager::Fault, std::function<void()>>> const cases = {
        {Manager::FileLost, [&] { fs::remove(path); }},
        {Manager::FileChanged, [&] { Save(path, content.substr(1)); }},
        {Manager::FileChanged, [&] { Save(path, content + '\0'); }},
        {Manager::FileChanged, [&] { Save(path, ""); }},
        {Manager::FileLost, [&] { fs::remove(path), fs::create_directory(path); }}};
    for (auto const& [fault, damage] : cases) {
        damage();
        ExpectFault(m_manager.Get(Name), fault);
        EXPECT_FALSE(m_manager.IsInMemory(Name));
        fs::remove(path);
        Save(path, content);
    }
    for (std::size_t at = 0; at < content.size(); at += 5) { // wherever it is
        std::string changed = content;
        changed[at] = static_cast<char>(changed[at] ^ (1 << at % 8));
        Save(path, changed);
        ASSERT_EQ(m_manager.Get(Name), nullptr) << at;
        ASSERT_EQ(m_manager.GetLastFault(), Manager::FileChanged);
    }
    Save(path, content);
    EXPECT_EQ(FindMeshDifference(m_before, MMeshBase(Mesh())), std::nullopt);
}

TEST_F(MeshManager, AMeshThatWasTouchedWhileItWasOutIsNotOverwritten) {
    MMeshBase* const mesh = m_manager.Get(Name);
    ASSERT_TRUE(m_manager.SwapOut(Name));
    mesh->AddPoint(1, 2, 3);
    ExpectFault(m_manager.Get(Name), Manager::MeshChanged);
    EXPECT_EQ(mesh->NumberOfPoints(), 1);
    mesh->ClearMesh(); // user masks and indices are gone, so the nodes cannot have theirs
    ExpectFault(m_manager.Get(Name), Manager::MeshChanged);
    EXPECT_EQ(mesh->NumberOfPoints(), 0);
}

TEST_F(MeshManager, ATemporaryStateEndsOnEveryWayOut) {
    using Switch = Manager::TempStateSwitch;
    try {
        Switch const out(m_manager, Name);
        EXPECT_TRUE(out.IsOut());
        EXPECT_FALSE(m_manager.IsInMemory(Name));
        throw std::domain_error("on the way");
    } catch (std::domain_error const&) {
    }
    EXPECT_TRUE(m_manager.IsInMemory(Name));
    EXPECT_EQ(FindMeshDifference(m_before, MMeshBase(Mesh())), std::nullopt);

    ASSERT_TRUE(m_manager.SwapOut(Name));
    { EXPECT_FALSE(Switch(m_manager, Name).IsOut()); }
    EXPECT_FALSE(m_manager.IsInMemory(Name)) << "was out before";
    ASSERT_TRUE(m_manager.Get(Name));

    fs::path file;
    std::string content;
    {
        Switch out(m_manager, Name);
        file = Files().front();
        content = Content(file);
        fs::remove(file);
        EXPECT_FALSE(out.Restore());
        EXPECT_EQ(out.GetFault(), Manager::FileLost);
        EXPECT_TRUE(out.IsOut());
    } // the destructor fails too, in silence
    EXPECT_FALSE(m_manager.IsInMemory(Name));
    Save(file, content);
    EXPECT_EQ(FindMeshDifference(m_before, MMeshBase(Mesh())), std::nullopt);

    WithFileLimit(10, [this] {
        Switch out(m_manager, Name);
        EXPECT_FALSE(out.IsOut());
        EXPECT_EQ(out.GetFault(), Manager::CannotWrite);
        EXPECT_TRUE(out.Restore());
    });
    EXPECT_EQ(Switch(m_manager, L"nobody").GetFault(), Manager::UnknownName);
}

// A child dies with a mesh swapped out; the next manager removes its folder and nobody else's.
TEST_F(MeshManager, FoldersOfCrashedProcessesGoWithTheNextStart) {
    ASSERT_TRUE(m_manager.SwapOut(Name));
    fs::path const parent = m_parent.GetPath().GetPath();
    fs::path const ours = m_manager.GetFolder().GetPath();
    fs::path const outside = parent / "outside";
    fs::create_directory(outside);
    Save(outside / "file", "stays");
    for (bool const by_signal : {false, true}) {
        pid_t const child = fork();
        if (child == 0) {
            Manager manager(m_parent.GetPath());
            manager.Add(L"a", std::make_unique<MMeshBase>());
            fs::create_directories(manager.GetFolder().GetPath() / "b/c");
            fs::create_directory_symlink(outside, manager.GetFolder().GetPath() / "link");
            if (!manager.SwapOut(L"a") || by_signal)
                std::raise(SIGKILL);
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_EQ(WIFSIGNALED(status), by_signal);
    }
    // What only looks like such a folder stays as well.
    std::string const left = "ketsdk-tmp-0123456789abcde";
    fs::create_directory(parent / (left + "f"));
    fs::permissions(parent / (left + "f"), fs::perms(0755));
    fs::create_directory_symlink(outside, parent / (left + "0"));
    Save(parent / (left + "1"), "a file");
    auto const count = [&parent] { return std::distance(fs::directory_iterator(parent), {}); };
    EXPECT_EQ(count(), 6) << "ours, outside, the child's that died last, and three that look like one";
    EXPECT_EQ(MTemporaryDirectory::RemoveStale(m_parent.GetPath()), 1);
    EXPECT_EQ(MTemporaryDirectory::RemoveStale(m_parent.GetPath()), 0);
    EXPECT_EQ(count(), 5);
    EXPECT_TRUE(fs::exists(ours));
    EXPECT_EQ(Content(outside / "file"), "stays");
    EXPECT_EQ(FindMeshDifference(m_before, MMeshBase(Mesh())), std::nullopt);
}

TEST_F(MeshManager, WhatCouldNotBeReadBackStaysInMemory) {
    MMeshPoint stray;
    std::vector<std::function<void(MMeshBase&)>> const faults = {
        [](MMeshBase& mesh) { // of five nodes
            MMeshPoint* const p = mesh.AddPoint(1, 2, 3);
            TestMeshes::AddElement(mesh, {p, p, p, p, p});
        },
        [&stray](MMeshBase& mesh) {
            TestMeshes::AddElement(mesh, {&stray, &stray, &stray, &stray});
        },
        [&stray](MMeshBase& mesh) { // a copy, with the index of a node
            stray = *mesh.GetRandomPoint(0);
            TestMeshes::AddElement(mesh, {&stray, &stray, &stray, &stray});
        },
        [](MMeshBase& mesh) { mesh.GetRandomPoint(1)->SetMaskIndex(mesh.GetRandomPoint(0)->GetMaskIndex()); },
        [](MMeshBase& mesh) { mesh.GetElement(1)->SetMaskIndex(mesh.GetElement(0)->GetMaskIndex()); }};
    for (std::size_t i = 0; i < faults.size(); ++i) {
        std::wstring const name = std::to_wstring(i);
        auto mesh = std::make_unique<MMeshBase>();
        TestMeshes::FillWithCubes(*mesh, 1);
        faults[i](*mesh);
        MLong const elements = mesh->NumberOfElements();
        ASSERT_TRUE(m_manager.Add(name, std::move(mesh)));
        ExpectFault(m_manager.SwapOut(name), Manager::NotConsistent);
        ASSERT_TRUE(m_manager.IsInMemory(name));
        EXPECT_EQ(m_manager.Get(name)->NumberOfElements(), elements);
    }
}

TEST_F(MeshManager, SubVolumesMayBeSortedWhileTheMeshIsOut) {
    auto filled = std::make_unique<MMeshBase>();
    MMeshBase& mesh = *filled;
    TestMeshes::FillWithCubes(mesh, 2);
    for (wchar_t const* const name : {L"empty", L"a"})
        mesh.AddSubVolume()->SetName(name);
    for (std::uint64_t i = 0; i < 10; ++i)
        mesh.GetMainSubVolume()->MoveElement(*mesh.GetElement(i), mesh.BeginSubVolume()[2].get());
    auto const names = [&mesh] {
        std::vector<std::wstring> of_elements;
        for (MMeshElement const& e : mesh.Elements())
            of_elements.push_back(mesh.GetSubVolume(e)->GetName());
        return of_elements;
    };
    auto const before = names();
    ASSERT_TRUE(m_manager.Add(L"sorted", std::move(filled)) && m_manager.SwapOut(L"sorted"));
    mesh.RemoveEmptySubVolumes();
    mesh.SortSubvolumes(MMeshBase::SortByName, MMeshBase::Descending);
    mesh.AddSubVolume();
    ASSERT_TRUE(m_manager.Get(L"sorted"));
    EXPECT_EQ(names(), before);
    EXPECT_EQ(mesh.GetMainSubVolume()->GetName(), L"a");
}
