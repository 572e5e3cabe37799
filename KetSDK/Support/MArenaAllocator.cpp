// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Support/MArenaAllocator.h>

#include <algorithm>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace KetSDK::Support {
namespace {

constexpr std::size_t LargePage = std::size_t{2} << 20;
constexpr std::size_t LargestChunk = std::size_t{64} << 20;
// The allocator gives pieces above 32 MB back to the system, whatever comes next, and aligning takes some of
// that.
constexpr std::size_t LargestReused = std::size_t{24} << 20;
constexpr std::size_t SmallestInLargePages = LargePage;

constexpr std::size_t RoundUp(std::size_t bytes, std::size_t unit) noexcept {
    return (bytes + unit - 1) / unit * unit;
}

} // namespace

void* AllocateInLargePages(std::size_t bytes, std::size_t alignment) {
    if (bytes < SmallestInLargePages)
        return alignment > __STDCPP_DEFAULT_NEW_ALIGNMENT__
                   ? ::operator new(bytes, std::align_val_t(alignment))
                   : ::operator new(bytes);
    std::size_t const whole_pages = RoundUp(bytes, LargePage);
    void* const memory = ::operator new(whole_pages, std::align_val_t(LargePage));
#ifdef MADV_HUGEPAGE
    // Where the system refuses, pages are small.
    (void)madvise(memory, whole_pages, MADV_HUGEPAGE);
#endif
    return memory;
}

void FreeInLargePages(void* memory, std::size_t bytes, std::size_t alignment) noexcept {
    bool const is_large = bytes >= SmallestInLargePages;
    if (is_large || alignment > __STDCPP_DEFAULT_NEW_ALIGNMENT__)
        ::operator delete(memory, std::align_val_t(is_large ? LargePage : alignment));
    else
        ::operator delete(memory);
}

MArena::~MArena() {
    for (Chunk const& chunk : m_chunks)
        FreeInLargePages(chunk.memory, chunk.bytes);
}

void* MArena::Allocate(std::size_t bytes, std::size_t to_come) {
    if (m_free && bytes == m_free_bytes) {
        FreeBlock* const block = m_free;
        m_free = block->next;
        return block;
    }
    bytes = RoundUp(bytes, alignof(std::max_align_t));
    if (bytes > m_left)
        AddChunk(bytes, bytes * to_come);
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
    std::size_t const sensible = std::max(growth, std::min(to_come, LargestReused));
    std::size_t const wanted = std::max(bytes, std::min(sensible, LargestChunk));
    std::size_t const size = wanted < SmallestInLargePages ? wanted : RoundUp(wanted, LargePage);
    m_chunks.reserve(m_chunks.size() + 1);
    m_next = static_cast<std::byte*>(AllocateInLargePages(size));
    m_left = size;
    m_total += size;
    m_chunks.push_back({m_next, size});
}

} // namespace KetSDK::Support
