// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Support/SupportExport.h>

#include <cstddef>
#include <limits>
#include <new>
#include <utility>
#include <vector>

namespace KetSDK::Support {

// Memory for blocks of a large container, cut from chunks that grow with it. Chunks of several megabytes ask
// the system for large pages, since it takes longer to hand out memory in small pages than to fill it. No
// more than a quarter of the memory waits for blocks to come, or one large page, but for blocks that were
// told of. Blocks that are given back are used again, those of the size that came back first; all memory goes
// with the arena. Used by one thread at a time.
class KETSDK_SUPPORT_API MArena {
public:
    MArena() = default;
    MArena(MArena const&) = delete;
    MArena& operator=(MArena const&) = delete;
    ~MArena();

    // Bytes of all chunks.
    std::size_t MemoryUsed() const noexcept { return m_total; }
    // Aligned for any type without a stricter alignment of its own. Whoever says how many blocks of this size
    // will follow, this one included, has the system asked for all of them at once.
    void* Allocate(std::size_t bytes, std::size_t to_come = 1) {
        constexpr std::size_t alignment = alignof(std::max_align_t);
        std::size_t const size = (bytes + alignment - 1) / alignment * alignment;
        if (m_free || size > m_left)
            return AllocateOtherwise(bytes, to_come);
        m_left -= size;
        return std::exchange(m_next, m_next + size);
    }
    // So many bytes will probably follow. Then the system is not asked for less than a large page at a time.
    void Expect(std::size_t bytes) noexcept { m_expected = bytes; }
    void Deallocate(void* block, std::size_t bytes) noexcept;

private:
    struct Chunk {
        void* memory;
        std::size_t bytes;
    };
    struct FreeBlock {
        FreeBlock* next;
    };

    // A block that was given back, or one of a new chunk.
    void* AllocateOtherwise(std::size_t bytes, std::size_t to_come);
    // For a block of so many bytes, and for blocks of so many in all.
    void AddChunk(std::size_t bytes, std::size_t to_come);

    std::vector<Chunk> m_chunks;
    std::byte* m_next = nullptr; // what is left of the last chunk
    std::size_t m_left = 0;
    std::size_t m_total = 0;
    std::size_t m_expected = 0;
    FreeBlock* m_free = nullptr; // blocks that were given back, all of one size
    std::size_t m_free_bytes = 0;
};

// For vectors that may grow large: the same large pages, for each piece of memory by itself. From any thread.
// Small pieces have the alignment that is asked for.
KETSDK_SUPPORT_API void* AllocateInLargePages(std::size_t bytes,
                                              std::size_t alignment = alignof(std::max_align_t));
// Freed pieces of 64 KiB or more are kept for the next who asks for as much. New pages take the system longer
// than most work takes that is done in them. The process keeps 272 MiB at most, or what SetMostKeptMemory
// says.
KETSDK_SUPPORT_API void FreeInLargePages(void* memory, std::size_t bytes,
                                         std::size_t alignment = alignof(std::max_align_t)) noexcept;
// Bytes in pieces of 2 MiB and more that may be kept, 256 MiB when nothing is said. A process that runs
// one operator after another on tens of millions of elements may keep gigabytes. On a virtual machine it can
// take longer to get them anew than the operators run. More than that goes back at once.
KETSDK_SUPPORT_API void SetMostKeptMemory(std::size_t bytes) noexcept;
// False under the address sanitizer, which watches freed memory: nothing is ever kept then.
KETSDK_SUPPORT_API bool KeepsFreedMemory() noexcept;
// Gives back what is kept.
KETSDK_SUPPORT_API void ReleaseKeptMemory() noexcept;

template <typename T>
struct MLargePageAllocator {
    using value_type = T;

    MLargePageAllocator() = default;
    template <typename U>
    MLargePageAllocator(MLargePageAllocator<U> const&) noexcept {}

    T* allocate(std::size_t count) {
        if (count > std::numeric_limits<std::size_t>::max() / 2 / sizeof(T))
            throw std::bad_alloc();
        return static_cast<T*>(AllocateInLargePages(count * sizeof(T), alignof(T)));
    }
    void deallocate(T* objects, std::size_t count) noexcept {
        FreeInLargePages(objects, count * sizeof(T), alignof(T));
    }

    template <typename U>
    bool operator==(MLargePageAllocator<U> const&) const noexcept {
        return true;
    }
};

// The same for elements that are written before they are read, by the threads that need them: the vector does
// not touch their memory.
template <typename T>
struct MUninitializedAllocator : MLargePageAllocator<T> {
    MUninitializedAllocator() = default;
    template <typename U>
    MUninitializedAllocator(MUninitializedAllocator<U> const&) noexcept {}

    template <typename U>
    void construct(U* object) noexcept {
        ::new (static_cast<void*>(object)) U;
    }
    template <typename U, typename Argument>
    void construct(U* object, Argument const& argument) {
        ::new (static_cast<void*>(object)) U(argument);
    }
};

} // namespace KetSDK::Support
