// Operations that run out of memory leave a mesh as it was. The allocator of this program fails at the n-th
// call.
#include "TestMeshes.h"

#include <KetSDK/Mesh/persistence/MMeshDifference.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <optional>
#include <string>

namespace {

long CallsLeft = -1; // below 0: as many as it likes

void* Allocate(std::size_t size) {
    if (CallsLeft == 0)
        return nullptr;
    if (CallsLeft > 0)
        --CallsLeft;
    return std::malloc(size);
}

} // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
    if (void* const memory = Allocate(size))
        return memory;
    throw std::bad_alloc();
}
// std::stable_sort asks this one, and frees with the ordinary operator.
[[gnu::noinline]] void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return Allocate(size);
}
[[gnu::noinline]] void* operator new(std::size_t size, std::align_val_t alignment) {
    auto const a = static_cast<std::size_t>(alignment);
    if (void* const memory = CallsLeft == 0 ? nullptr : std::aligned_alloc(a, (size + a - 1) / a * a)) {
        CallsLeft -= CallsLeft > 0;
        return memory;
    }
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
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

// Two cubes in four sub-volumes, one of which is empty.
void FillAndDivide(MMeshBase& mesh) {
    TestMeshes::FillWithCubes(mesh, 2);
    for (wchar_t const* const name : {L"d", L"c", L"b"})
        mesh.AddSubVolume()->SetName(name);
    for (std::uint64_t i = 0; i < 40; ++i)
        mesh.GetMainSubVolume()->MoveElement(*mesh.GetElement(i),
                                             (mesh.BeginSubVolume() + (i < 5 ? 1 : 3))->get());
    mesh.GetElementMasks()->GetGreyValueMask()->SetValue(*mesh.GetElement(7), 7.0);
    MMeshMaterial material;
    mesh.GetMaterialCatalog().AddMaterialNewID(material);
}

} // namespace

TEST(OutOfMemory, LeavesTheMeshAsItWas) {
    struct Case {
        char const* name;
        std::function<void(MMeshBase&)> run;
    };
    MMeshBase other;
    TestMeshes::FillWithCubes(other, 1);
    MMeshBase const source(other);
    for (Case const& c :
         {Case{"remove", [](MMeshBase& mesh) { mesh.RemoveEmptySubVolumes(); }},
          Case{"sort by name",
               [](MMeshBase& mesh) { mesh.SortSubvolumes(MMeshBase::SortByName, MMeshBase::Descending); }},
          Case{"sort by volume",
               [](MMeshBase& mesh) { mesh.SortSubvolumes(MMeshBase::SortByVolume, MMeshBase::Ascending); }},
          Case{"assign", [&source](MMeshBase& mesh) { mesh = source; }},
          Case{"clear", [](MMeshBase& mesh) { mesh.ClearMesh(); }},
          Case{"take", [&other](MMeshBase& mesh) { mesh.TakeContent(other); }}}) {
        SCOPED_TRACE(c.name);
        bool done = false;
        for (long calls = 0; !done; ++calls) {
            MMeshBase mesh;
            FillAndDivide(mesh);
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
                ASSERT_EQ(FindMeshDifference(before, mesh), std::nullopt) << "at call " << calls;
                ASSERT_EQ(FindMeshDifference(source, MMeshBase(other)), std::nullopt) << "at call " << calls;
            }
        }
    }
}
