// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

// A sequence that grows in pages of 1024 values, so that growing never moves a value. Entry i lies in
// page i >> 10 at index i & 1023. Not synchronised: concurrent reads are safe, writes are not.
template <typename V>
class MPagedArray {
public:
    static constexpr std::size_t PageSize = 1024;

    // Adds pages until `size` entries fit; new pages are filled with `value`.
    void Grow(std::uint64_t size, V const& value) {
        std::size_t const pages = static_cast<std::size_t>((size + PageSize - 1) >> 10);
        while (m_pages.size() < pages) {
            auto page = std::make_unique_for_overwrite<Page>();
            std::fill_n(page->values, PageSize, value);
            m_pages.push_back(std::move(page));
        }
    }

    void Clear() noexcept { std::vector<std::unique_ptr<Page>>().swap(m_pages); }
    void Swap(MPagedArray& other) noexcept { m_pages.swap(other.m_pages); }

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
        return m_pages.size() * sizeof(Page) + m_pages.capacity() * sizeof(m_pages[0]);
    }

private:
    struct alignas(32) Page {
        V values[PageSize];
    };
    std::vector<std::unique_ptr<Page>> m_pages;
};

} // namespace KetSDK::Mesh::Detail
