// SPDX-License-Identifier: BSD-3-Clause
// Operations that run out of memory leave a mesh as it was, and can be tried again. The allocator of this
// program fails at the n-th call.
#include "TestMeshes.h"

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapper.h>
#include <KetSDK/Mesh/operators/MMeshOperatorGroupSubVolumes.h>
#include <KetSDK/Mesh/operators/MMeshOperatorLabelSubVolumes.h>
#include <KetSDK/Mesh/persistence/MMeshDifference.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::atomic<long> CallsLeft = -1; // below 0: as many as it likes

// Whether one more call may succeed.
bool TakeCall() {
    if (CallsLeft == 0)
        return false;
    if (CallsLeft > 0)
        --CallsLeft;
    return true;
}

void* Allocate(std::size_t size) {
    return TakeCall() ? std::malloc(size) : nullptr;
}

} // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
    if (void* const memory = Allocate(size))
        return memory;
    throw std::bad_alloc();
}
// A sanitizer's own operator for arrays would not ask the one above.
[[gnu::noinline]] void* operator new[](std::size_t size) {
    return operator new(size);
}
// std::stable_sort asks this one, and frees with the ordinary operator.
[[gnu::noinline]] void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return Allocate(size);
}
[[gnu::noinline]] void* operator new(std::size_t size, std::align_val_t alignment) {
    auto const a = static_cast<std::size_t>(alignment);
    if (void* const memory = TakeCall() ? std::aligned_alloc(a, (size + a - 1) / a * a) : nullptr)
        return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::nothrow_t const&) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}

namespace {

using TestMeshes::Unit;

// A block of cubes in four sub-volumes, one of which is empty. All places in masks are taken, and in the
// table of nodes by position, so that whatever comes next makes them grow.
void FillAndDivide(MMeshBase& mesh) {
    TestMeshes::FillWithCubes(mesh, 2);
    for (wchar_t const* const name : {L"d", L"c", L"b"})
        mesh.AddSubVolume()->SetName(name);
    for (std::uint64_t i = 0; i < 40; ++i)
        mesh.GetMainSubVolume()->MoveElement(*mesh.GetElement(i),
                                             (mesh.BeginSubVolume() + (i < 5 ? 1 : 3))->get());
    mesh.GetElementMasks()->GetGreyValueMask()->SetValue(*mesh.GetElement(7), 7.0);
    mesh.GetPointMasks()->GetOriginalIDs()->SetValue(*mesh.GetRandomPoint(3), 3);
    MMeshMaterial material;
    mesh.GetMaterialCatalog().AddMaterialNewID(material);
    mesh.ForbidDuplicatePoints();
    while (mesh.NumberOfPoints() < 1024)
        mesh.AddPoint(mesh.NumberOfPoints() * Unit, 0, 5 * Unit);
    while (mesh.NumberOfElements() < 128)
        TestMeshes::AddElement(mesh, {mesh.BeginPoint(), mesh.GetRandomPoint(1), mesh.GetRandomPoint(3),
                                      mesh.GetRandomPoint(9)});
}

// What comparing two meshes does not see: everything has a place of its own in the masks, and sub-volumes
// count their elements.
void ExpectSound(MMeshBase& mesh) {
    std::vector<std::uint64_t> counts(static_cast<std::size_t>(mesh.NumberOfSubVolumes()));
    for (MMeshElement& e : mesh.Elements()) {
        ASSERT_EQ(mesh.GetElementMasks()->GetObjectAt(e.GetMaskIndex()), &e);
        ASSERT_NE(mesh.GetSubVolume(e), nullptr);
        ++counts[static_cast<std::size_t>(mesh.GetSubVolume(e)->GetID())];
    }
    for (auto it = mesh.BeginSubVolume(); it != mesh.EndSubVolume(); ++it)
        ASSERT_EQ((*it)->GetNbElements(), counts[static_cast<std::size_t>((*it)->GetID())]);
    for (MMeshPointIterator p = mesh.BeginPoint(); p != mesh.EndPoint(); ++p)
        ASSERT_EQ(mesh.GetPointMasks()->GetObjectAt(p->GetMaskIndex()), &*p);
}

// Has a triangle on every face between two sub-volumes and outside.
class BetweenSubVolumes : public MMeshCorrespondenceMapper {
public:
    BetweenSubVolumes(MMeshBase& mesh, MStlBase& stl)
        : m_mesh(mesh)
        , m_triangle(stl.NumberOfTriangles() > 0 ? stl.GetTriangle(0) : nullptr) {}
    void Map() override {}
    bool IsMapped() const override { return true; }
    MStlTriangle* GetTriangle(MMeshElement*, unsigned int) override { return m_triangle; }
    MStlTriangle* GetSharedTriangle(MMeshElement*, MMeshElement*) override { return m_triangle; }
    MMeshElement* GetElement(MStlTriangle const*) override { return m_mesh.GetElement(0); }
    int IsBoundaryCrossing(MMeshElement* a, MMeshElement* b) override {
        return m_mesh.GetSubVolume(*a) != m_mesh.GetSubVolume(*b);
    }

private:
    MMeshBase& m_mesh;
    MStlTriangle* m_triangle;
};

template <typename Operator>
void Operate(MMeshBase& mesh, MStlBase& stl) {
    mesh.SetCorrespondenceMapper(std::make_shared<BetweenSubVolumes>(mesh, stl));
    Operator divide;
    divide.SetMesh(&mesh);
    divide.SetStl(&stl);
    EXPECT_TRUE(divide.Operate());
}

// While it lives, as many calls succeed as are asked for.
class Unlimited {
public:
    Unlimited() = default;
    Unlimited(Unlimited const&) = delete;
    Unlimited& operator=(Unlimited const&) = delete;
    ~Unlimited() { CallsLeft = m_left; }

private:
    long m_left = CallsLeft.exchange(-1);
};

void ReplaceAll(MMeshBase& mesh, void (MMeshBase::*replace)(MMeshPointContainer*, MMeshElementContainer*)) {
    auto nodes = std::make_unique<MMeshPointContainer>();
    auto elements = std::make_unique<MMeshElementContainer>();
    {
        Unlimited const unlimited;
        for (MLong i = 0; i < 2000; ++i) {
            std::vector<MMeshPoint*> const corners(4, &nodes->AddPoint(i, 0, 0));
            elements->AddElement(corners);
        }
    }
    (mesh.*replace)(nodes.release(), elements.release());
}

void TakeCopy(MMeshBase& mesh, MMeshBase const& source) {
    std::optional<Unlimited> unlimited(std::in_place);
    MMeshBase copy(source);
    unlimited.reset();
    try {
        mesh.TakeContent(copy);
    } catch (std::bad_alloc const&) {
        CallsLeft = -1;
        EXPECT_EQ(FindMeshDifference(source, copy), std::nullopt);
        throw;
    }
}

void RegisterNamedMask(MMeshBase& mesh) {
    MDataMask<MMeshElement, int> mask;
    std::string const name = "a name that is too long to be kept without an allocation of its own";
    try {
        mesh.GetElementMasks()->RegisterMask(&mask, name);
    } catch (std::bad_alloc const&) {
        EXPECT_EQ(mask.GetOwner(), nullptr);
        EXPECT_EQ(mesh.GetElementMasks()->FindMask(name), nullptr);
        throw;
    }
}

// Leaves the elements no room for further arrays of nodes: so large ones get a piece of memory of their own.
void UseUpRoom(MMeshBase& mesh) {
    mesh.AddElements({std::array<unsigned char, 1>{200}, std::vector<MLong>(40 * 200, 1), {}}, false);
}

MMVector<double, 3> const Far(50.0, 50.0, 50.0);

} // namespace

TEST(OutOfMemory, LeavesTheMeshAsItWas) {
    struct Case {
        char const* name;
        std::function<void(MMeshBase&)> run;
        bool ends_with_empty_sub_volumes = false; // what is left is the result but for these
        void (*prepare)(MMeshBase&) = [](MMeshBase&) {};
    };
    MMeshBase source;
    TestMeshes::FillWithCubes(source, 1);
    MStlBase stl;
    MStlSurface* const surface = stl.AddSurface(nullptr);
    surface->SetName(L"the bone in the middle of everything-whatever lies around it");
    stl.AddTriangle(stl.AddPoint(0, 0, 0, true), stl.AddPoint(9, 0, 0, true), stl.AddPoint(0, 9, 0, true),
                    surface);
    for (Case const& c : std::initializer_list<Case>{
             {"remove", [](MMeshBase& mesh) { mesh.RemoveEmptySubVolumes(); }},
             {"sort by name",
              [](MMeshBase& mesh) { mesh.SortSubvolumes(MMeshBase::SortByName, MMeshBase::Descending); }},
             {"sort by volume",
              [](MMeshBase& mesh) { mesh.SortSubvolumes(MMeshBase::SortByVolume, MMeshBase::Ascending); }},
             {"assign", [&source](MMeshBase& mesh) { mesh = source; }},
             {"clear", [](MMeshBase& mesh) { mesh.ClearMesh(); }},
             {"take", [&source](MMeshBase& mesh) { TakeCopy(mesh, source); }},
             {"add node", [](MMeshBase& mesh) { mesh.AddPointUnique(Far, Unit); }},
             {"add known node", [](MMeshBase& mesh) { mesh.AddPoint(1000 * Unit, 0, 5 * Unit); }},
             {"add element",
              [](MMeshBase& mesh) {
                  TestMeshes::AddElement(mesh, {4, mesh.BeginPoint()});
              }},
             {"add nodes in bulk",
              [](MMeshBase& mesh) {
                  mesh.AllowDuplicatePoints();
                  mesh.AddPoints(std::vector<std::array<MLong, 3>>(300, {7, 8, 9}), true);
              }},
             {"add elements in bulk",
              [](MMeshBase& mesh) {
                  mesh.AddElements({std::array<unsigned char, 1>{4}, std::vector<MLong>(4 * 300, 5),
                                    std::vector<int>(300, 1)},
                                   true);
              }},
             {"add element to sub-volume",
              [](MMeshBase& mesh) {
                  std::array<MMeshPoint*, 200> nodes;
                  nodes.fill(mesh.BeginPoint());
                  (mesh.BeginSubVolume() + 1)
                      ->get()
                      ->AddElement(static_cast<char>(nodes.size()), nodes.data());
              },
              false, UseUpRoom},
             {"add sub-volume", [](MMeshBase& mesh) { mesh.AddSubVolume(); }},
             {"add material",
              [](MMeshBase& mesh) {
                  MMeshMaterial material;
                  mesh.GetMaterialCatalog().AddMaterialNewID(material);
              }},
             {"make mask", [](MMeshBase& mesh) { mesh.GetElementMasks()->GetVolumeIndexMask(); }},
             {"register mask", RegisterNamedMask},
             {"set", [](MMeshBase& mesh) { ReplaceAll(mesh, &MMeshBase::_Set); }},
             {"replace", [](MMeshBase& mesh) { ReplaceAll(mesh, &MMeshBase::ReplaceData); }},
             {"label", [&stl](MMeshBase& mesh) { Operate<MMeshOperatorLabelSubVolumes>(mesh, stl); }},
             {"group", [&stl](MMeshBase& mesh) { Operate<MMeshOperatorGroupSubVolumes>(mesh, stl); },
              true}}) {
        SCOPED_TRACE(c.name);
        MMeshBase result;
        FillAndDivide(result);
        c.prepare(result);
        c.run(result);
        bool done = false;
        for (long calls = 0; !done; ++calls) {
            SCOPED_TRACE(calls);
            MMeshBase mesh;
            FillAndDivide(mesh);
            c.prepare(mesh);
            MMeshBase const before(mesh);
            CallsLeft = calls;
            try {
                c.run(mesh);
                done = true;
            } catch (std::bad_alloc const&) {
            }
            CallsLeft = -1;
            if (done) {
                EXPECT_GT(calls, 0) << "nothing was put to the test";
            } else {
                ExpectSound(mesh);
                bool const is_result = mesh.NumberOfSubVolumes() != before.NumberOfSubVolumes();
                if (!is_result || !c.ends_with_empty_sub_volumes) {
                    ASSERT_EQ(FindMeshDifference(before, mesh), std::nullopt);
                }
                c.run(mesh);
            }
            ASSERT_EQ(FindMeshDifference(result, mesh), std::nullopt);
        }
    }
}
