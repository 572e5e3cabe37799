// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Support/MArenaAllocator.h>

#include <bit>
#include <cassert>
#include <compare>
#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace KetSDK::Support {

// A sequence of objects in blocks of so many, a power of two. Objects come and go at its end only, and none
// ever moves. The blocks lie in an arena of the sequence, which has large pages and goes with it. Used by one
// thread at a time when written; concurrent reads are safe.
template <typename T, std::size_t BlockSize>
class MBlockStorage {
    static_assert(std::has_single_bit(BlockSize));

    // Walks the objects, T or const T. Adding one ends a walk.
    template <typename V>
    class Iterator {
    public:
        using iterator_category = std::random_access_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = V*;
        using reference = V&;

        Iterator() = default;
        Iterator(T* const* blocks, std::size_t at) noexcept
            : m_blocks(blocks)
            , m_at(at) {}

        V& operator*() const noexcept { return m_blocks[m_at / BlockSize][m_at % BlockSize]; }
        V* operator->() const noexcept { return &**this; }
        V& operator[](std::ptrdiff_t n) const noexcept { return *(*this + n); }
        Iterator& operator+=(std::ptrdiff_t n) noexcept {
            m_at += static_cast<std::size_t>(n);
            return *this;
        }
        Iterator& operator-=(std::ptrdiff_t n) noexcept { return *this += -n; }
        Iterator& operator++() noexcept { return *this += 1; }
        Iterator& operator--() noexcept { return *this -= 1; }
        Iterator operator++(int) noexcept { return std::exchange(*this, *this + 1); }
        Iterator operator--(int) noexcept { return std::exchange(*this, *this - 1); }
        friend Iterator operator+(Iterator it, std::ptrdiff_t n) noexcept { return it += n; }
        friend Iterator operator+(std::ptrdiff_t n, Iterator it) noexcept { return it += n; }
        friend Iterator operator-(Iterator it, std::ptrdiff_t n) noexcept { return it -= n; }
        friend std::ptrdiff_t operator-(Iterator const& a, Iterator const& b) noexcept {
            return static_cast<std::ptrdiff_t>(a.m_at) - static_cast<std::ptrdiff_t>(b.m_at);
        }
        bool operator==(Iterator const& other) const noexcept { return m_at == other.m_at; }
        auto operator<=>(Iterator const& other) const noexcept { return m_at <=> other.m_at; }

    private:
        T* const* m_blocks = nullptr;
        std::size_t m_at = 0;
    };

public:
    using value_type = T;
    using iterator = Iterator<T>;
    using const_iterator = Iterator<T const>;

    MBlockStorage() = default;
    MBlockStorage(MBlockStorage const&) = delete;
    MBlockStorage& operator=(MBlockStorage const&) = delete;
    ~MBlockStorage() { Destroy(0); }

    std::size_t size() const noexcept { return m_size; }
    // Where its blocks begin, until an object is added.
    T* const* Blocks() const noexcept { return m_blocks.data(); }
    bool empty() const noexcept { return m_size == 0; }
    // Object i, not range-checked. So may one be addressed that has been claimed.
    T& operator[](std::size_t i) noexcept { return m_blocks[i / BlockSize][i % BlockSize]; }
    T const& operator[](std::size_t i) const noexcept { return m_blocks[i / BlockSize][i % BlockSize]; }
    T& front() noexcept { return (*this)[0]; }
    T& back() noexcept { return (*this)[m_size - 1]; }

    iterator begin() noexcept { return {m_blocks.data(), 0}; }
    iterator end() noexcept { return {m_blocks.data(), m_size}; }
    const_iterator begin() const noexcept { return {m_blocks.data(), 0}; }
    const_iterator end() const noexcept { return {m_blocks.data(), m_size}; }

    // Appends an object. Out of memory, nothing.
    template <typename... Arguments>
    T& emplace_back(Arguments&&... arguments) {
        assert(m_claimed == m_size);
        if (m_size == m_blocks.size() * BlockSize)
            AddBlocks(1);
        T* const object =
            ::new (static_cast<void*>(&(*this)[m_size])) T(std::forward<Arguments>(arguments)...);
        m_claimed = ++m_size;
        return *object;
    }

    // So many objects will probably follow.
    void Expect(std::size_t count) {
        if (!m_arena)
            m_arena = std::make_unique<MArena>();
        m_arena->Expect(count * sizeof(T));
    }

    // Makes room for objects behind those that are there or claimed, without a touch of its memory, and
    // returns the number of the first. The caller makes them there, on whatever threads. They belong to the
    // sequence when that has been settled, and until then to nobody. Out of memory, nothing is claimed.
    std::size_t Claim(std::size_t count) {
        std::size_t const blocks = (m_claimed + count + BlockSize - 1) / BlockSize;
        if (blocks > m_blocks.size())
            AddBlocks(blocks - m_blocks.size());
        return std::exchange(m_claimed, m_claimed + count);
    }
    // Whether all that were claimed were made, or they are given up.
    void Settle(bool made) noexcept { (made ? m_size : m_claimed) = made ? m_claimed : m_size; }

    // Takes the last objects away, all but so many.
    void ShrinkTo(std::size_t count) noexcept {
        Destroy(count);
        m_claimed = m_size = count;
        for (std::size_t const blocks = (count + BlockSize - 1) / BlockSize; m_blocks.size() > blocks;) {
            m_arena->Deallocate(m_blocks.back(), BlockSize * sizeof(T));
            m_blocks.pop_back();
        }
    }
    // Takes all objects away and gives their memory back.
    void Clear() noexcept {
        MBlockStorage gone;
        swap(gone);
    }
    void swap(MBlockStorage& other) noexcept {
        m_arena.swap(other.m_arena);
        m_blocks.swap(other.m_blocks);
        std::swap(m_size, other.m_size);
        std::swap(m_claimed, other.m_claimed);
    }

    std::size_t MemoryUsed() const noexcept {
        return (m_arena ? m_arena->MemoryUsed() : 0) + m_blocks.capacity() * sizeof(T*);
    }

private:
    void AddBlocks(std::size_t count) {
        if (!m_arena)
            m_arena = std::make_unique<MArena>();
        for (; count > 0; --count)
            m_blocks.push_back(static_cast<T*>(m_arena->Allocate(BlockSize * sizeof(T), count)));
    }
    void Destroy(std::size_t first) noexcept {
        if constexpr (!std::is_trivially_destructible_v<T>)
            for (std::size_t i = first; i < m_size; ++i)
                (*this)[i].~T();
    }

    std::unique_ptr<MArena> m_arena; // none until there is a block
    std::vector<T*> m_blocks;
    std::size_t m_size = 0;
    std::size_t m_claimed = 0; // those included
};

} // namespace KetSDK::Support
