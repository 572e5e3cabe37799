// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Support/MArenaAllocator.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

// A sequence that grows in pages of 1024 values, so that growing never moves a value. Entry i lies in
// page i >> 10 at index i & 1023. Not synchronised: concurrent reads are safe, writes are not.
template <typename V>
class MPagedArray {
public:
    static constexpr std::size_t PageSize = 1024;

    // Adds pages until `size` entries fit; new pages are filled with `value`. Out of memory, none.
    void Grow(std::uint64_t size, V const& value) {
        std::uint64_t const before = Capacity();
        if (size <= before)
            return;
        GrowUnfilled(size);
        Fill(before, Capacity(), value);
    }
    // Puts a value into entries first to last - 1.
    void Fill(std::uint64_t first, std::uint64_t last, V const& value) {
        for (std::uint64_t end = first; first < last; first = end) {
            end = std::min(last, (first / PageSize + 1) * PageSize);
            std::fill_n(&(*this)[first], end - first, value);
        }
    }
    // The same for a caller who fills the new pages; those of numbers hold anything.
    void GrowUnfilled(std::uint64_t size) {
        std::size_t const pages = static_cast<std::size_t>((size + PageSize - 1) >> 10);
        if (pages <= m_pages.size())
            return;
        if (pages > m_pages.capacity())
            m_pages.reserve(std::max(pages, 2 * m_pages.size()));
        std::size_t const missing = pages - m_pages.size();
        std::span<Page> added;
        // Where pages come a few at a time, a quarter more than there are come at once.
        if (missing > m_spare.size())
            added = m_chunks.emplace_back(std::max(missing - m_spare.size(), m_pages.size() / 4));
        while (m_pages.size() < pages) {
            if (m_spare.empty())
                m_spare = std::exchange(added, {});
            m_pages.push_back(&m_spare.front());
            m_spare = m_spare.subspan(1);
        }
        if (!added.empty())
            m_spare = added;
    }

    void Clear() noexcept {
        MPagedArray gone;
        Swap(gone);
    }
    void Swap(MPagedArray& other) noexcept {
        m_pages.swap(other.m_pages);
        m_chunks.swap(other.m_chunks);
        std::swap(m_spare, other.m_spare);
    }

    V& operator[](std::uint64_t i) noexcept {
        return m_pages[static_cast<std::size_t>(i >> 10)]->values[i & 1023];
    }
    V const& operator[](std::uint64_t i) const noexcept {
        return m_pages[static_cast<std::size_t>(i >> 10)]->values[i & 1023];
    }

    // The 1024 values of a page, for loops that read page by page.
    V* GetPage(std::size_t page) noexcept { return m_pages[page]->values; }
    V const* GetPage(std::size_t page) const noexcept { return m_pages[page]->values; }

    std::uint64_t Capacity() const noexcept { return m_pages.size() * std::uint64_t{PageSize}; }
    std::size_t MemoryUsed() const noexcept {
        return (m_pages.size() + m_spare.size()) * sizeof(Page) + m_pages.capacity() * sizeof(m_pages[0]) +
               m_chunks.capacity() * sizeof(m_chunks[0]);
    }

private:
    struct alignas(32) Page {
        V values[PageSize];
    };
    // Pages that came at once lie one behind the other, in large pages of the system where they are many.
    using Chunk = std::vector<Page, Support::MUninitializedAllocator<Page>>;

    std::vector<Page*> m_pages;
    std::vector<Chunk> m_chunks;
    std::span<Page> m_spare; // the last pages of the last chunk
};

} // namespace KetSDK::Mesh::Detail
