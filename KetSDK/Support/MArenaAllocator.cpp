// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Support/MArenaAllocator.h>

#include <algorithm>
#include <iterator>
#include <mutex>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace KetSDK::Support {
namespace {

constexpr std::size_t LargePage = std::size_t{2} << 20;
constexpr std::size_t LargestChunk = std::size_t{64} << 20;
constexpr std::size_t SmallestInLargePages = LargePage;
// From here on the system may be asked for pages, and given them back, each time.
constexpr std::size_t SmallestKept = std::size_t{64} << 10;

constexpr std::size_t RoundUp(std::size_t bytes, std::size_t unit) noexcept {
    return (bytes + unit - 1) / unit * unit;
}

void* NewPages(std::size_t size) {
    void* const memory = ::operator new(size, std::align_val_t(LargePage));
#ifdef MADV_HUGEPAGE
    // Where the system refuses, pages are small.
    (void)madvise(memory, size, MADV_HUGEPAGE);
#endif
    return memory;
}

void FreePages(void* memory) noexcept {
    ::operator delete(memory, std::align_val_t(LargePage));
}

// Pieces of some small pages.
constexpr std::size_t SmallPage = 4096;

void* NewSmallPages(std::size_t size) {
    return ::operator new(size, std::align_val_t(SmallPage));
}

void FreeSmallPages(void* memory) noexcept {
    ::operator delete(memory, std::align_val_t(SmallPage));
}

// The address sanitizer would not see that a freed piece is used, if it were kept.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KETSDK_UNDER_ADDRESS_SANITIZER
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define KETSDK_UNDER_ADDRESS_SANITIZER
#endif
#ifdef KETSDK_UNDER_ADDRESS_SANITIZER
constexpr bool KeepsFreed = false;
#else
constexpr bool KeepsFreed = true;
#endif
constexpr std::size_t MostKept = KeepsFreed ? std::size_t{256} << 20 : 0;
constexpr std::size_t MostKeptInSmallPages = MostKept / 16;

// Pieces of memory that nobody uses, the latest last.
class KeptPieces {
public:
    using FreePiece = void (*)(void* memory) noexcept;

    KeptPieces(std::size_t most, FreePiece free)
        : m_most(most)
        , m_free(free) {}

    // Of exactly this size; null when there is none.
    void* Take(std::size_t size) noexcept {
        std::lock_guard const lock(m_mutex);
        for (std::size_t i = m_count; i-- > 0;)
            if (m_pieces[i].size == size)
                return Remove(i);
        return nullptr;
    }

    // Lets the oldest ones go where there is no room.
    void Keep(void* memory, std::size_t size) noexcept {
        FreedAfterwards freed(m_free);
        std::lock_guard const lock(m_mutex);
        if (size > m_most)
            return freed.Add(memory);
        while (m_count == std::size(m_pieces) || m_bytes + size > m_most)
            freed.Add(Remove(0));
        m_pieces[m_count++] = {memory, size};
        m_bytes += size;
    }

    void Release() noexcept {
        FreedAfterwards freed(m_free);
        std::lock_guard const lock(m_mutex);
        while (m_count > 0)
            freed.Add(Remove(m_count - 1));
    }

    // Lets the oldest ones go that are too much then.
    void SetMost(std::size_t most) noexcept {
        FreedAfterwards freed(m_free);
        std::lock_guard const lock(m_mutex);
        m_most = most;
        while (m_bytes > m_most)
            freed.Add(Remove(0));
    }

private:
    struct Piece {
        void* memory;
        std::size_t size;
    };
    static constexpr std::size_t MostPieces = 512; // 32 GiB in chunks of an arena

    // Pieces that go back to the system when nobody holds the lock any more: that takes a while.
    class FreedAfterwards {
    public:
        explicit FreedAfterwards(FreePiece free)
            : m_free(free) {}
        FreedAfterwards(FreedAfterwards const&) = delete;
        FreedAfterwards& operator=(FreedAfterwards const&) = delete;
        ~FreedAfterwards() {
            for (std::size_t i = 0; i < m_count; ++i)
                m_free(m_memory[i]);
        }
        void Add(void* memory) noexcept { m_memory[m_count++] = memory; }

    private:
        FreePiece m_free;
        void* m_memory[MostPieces + 1];
        std::size_t m_count = 0;
    };

    void* Remove(std::size_t i) noexcept {
        Piece const piece = m_pieces[i];
        std::copy(m_pieces + i + 1, m_pieces + m_count, m_pieces + i);
        --m_count;
        m_bytes -= piece.size;
        return piece.memory;
    }

    std::size_t m_most; // bytes
    FreePiece m_free;
    std::mutex m_mutex;
    Piece m_pieces[MostPieces];
    std::size_t m_count = 0;
    std::size_t m_bytes = 0;
};

// Never destroyed: static objects may free memory at the end of the process.
template <std::size_t Most, KeptPieces::FreePiece Free>
KeptPieces& KeptOnes() noexcept {
    alignas(KeptPieces) static std::byte storage[sizeof(KeptPieces)];
    static KeptPieces* const pieces = new (storage) KeptPieces(Most, Free);
    return *pieces;
}
KeptPieces& Kept() noexcept {
    return KeptOnes<MostKept, FreePages>();
}
KeptPieces& KeptInSmallPages() noexcept {
    return KeptOnes<MostKeptInSmallPages, FreeSmallPages>();
}

// A piece that is kept, or else a new one.
template <void* (*New)(std::size_t size)>
void* TakeOrMake(KeptPieces& kept, std::size_t size) {
    if (void* const piece = kept.Take(size))
        return piece;
    try {
        return New(size);
    } catch (std::bad_alloc const&) {
        ReleaseKeptMemory();
        return New(size);
    }
}

} // namespace

void* AllocateInLargePages(std::size_t bytes, std::size_t alignment) {
    if (bytes >= SmallestInLargePages)
        return TakeOrMake<NewPages>(Kept(), RoundUp(bytes, LargePage));
    if (bytes >= SmallestKept)
        return TakeOrMake<NewSmallPages>(KeptInSmallPages(), RoundUp(bytes, SmallPage));
    return alignment > __STDCPP_DEFAULT_NEW_ALIGNMENT__ ? ::operator new(bytes, std::align_val_t(alignment))
                                                        : ::operator new(bytes);
}

void FreeInLargePages(void* memory, std::size_t bytes, std::size_t alignment) noexcept {
    if (bytes >= SmallestInLargePages)
        Kept().Keep(memory, RoundUp(bytes, LargePage));
    else if (bytes >= SmallestKept)
        KeptInSmallPages().Keep(memory, RoundUp(bytes, SmallPage));
    else if (alignment > __STDCPP_DEFAULT_NEW_ALIGNMENT__)
        ::operator delete(memory, std::align_val_t(alignment));
    else
        ::operator delete(memory);
}

void SetMostKeptMemory(std::size_t bytes) noexcept {
    if (KeepsFreed)
        Kept().SetMost(bytes);
}

bool KeepsFreedMemory() noexcept {
    return KeepsFreed;
}

void ReleaseKeptMemory() noexcept {
    Kept().Release();
    KeptInSmallPages().Release();
}

MArena::~MArena() {
    for (Chunk const& chunk : m_chunks)
        FreeInLargePages(chunk.memory, chunk.bytes);
}

void* MArena::AllocateOtherwise(std::size_t bytes, std::size_t to_come) {
    if (m_free && bytes == m_free_bytes) {
        FreeBlock* const block = m_free;
        m_free = block->next;
        return block;
    }
    bytes = RoundUp(bytes, alignof(std::max_align_t));
    if (bytes > m_left)
        AddChunk(bytes, bytes * std::min(to_come, LargestChunk / bytes + 1)); // no more counts
    void* const block = m_next;
    m_next += bytes;
    m_left -= bytes;
    return block;
}

void MArena::Deallocate(void* block, std::size_t bytes) noexcept {
    if (bytes < sizeof(FreeBlock))
        return;
    if (!m_free)
        m_free_bytes = bytes;
    // One of another size is not used again.
    if (bytes == m_free_bytes)
        m_free = new (block) FreeBlock{m_free};
}

void MArena::AddChunk(std::size_t bytes, std::size_t to_come) {
    // As soon as a large page is no more than a half of what is there: its memory is quicker to read, too.
    std::size_t const growth = m_total >= 2 * LargePage ? std::max(m_total / 4, LargePage) : m_total / 4;
    std::size_t const expected = std::min(m_expected, LargePage);
    std::size_t const wanted = std::max(bytes, std::min(std::max({growth, to_come, expected}), LargestChunk));
    std::size_t const size = wanted < SmallestInLargePages ? wanted : RoundUp(wanted, LargePage);
    m_chunks.reserve(m_chunks.size() + 1);
    m_next = static_cast<std::byte*>(AllocateInLargePages(size));
    m_left = size;
    m_total += size;
    m_chunks.push_back({m_next, size});
}

} // namespace KetSDK::Support
