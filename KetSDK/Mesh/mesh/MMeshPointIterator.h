// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshPointContainer.h>

#include <cstdint>

// A node of a node container, by its index. Used by value; reading is not range-checked.
class KETSDK_MESH_API MMeshPointIterator {
public:
    MMeshPointIterator(MMeshPointContainer* container, std::uint64_t position) noexcept
        : m_container(container)
        , m_position(position) {}
    MMeshPointIterator(MMeshPointIterator const&) = default;
    MMeshPointIterator& operator=(MMeshPointIterator const&) = default;
    virtual ~MMeshPointIterator() = default;

    MMeshPoint& operator*() const noexcept { return *m_container->GetPointPtrAt(m_position); }
    MMeshPoint* operator->() const noexcept { return m_container->GetPointPtrAt(m_position); }
    operator MMeshPoint*() const noexcept { return m_container->GetPointPtrAt(m_position); }

    MMeshPointIterator& operator++() noexcept {
        ++m_position;
        return *this;
    }

    std::uint64_t GetPosition() const noexcept { return m_position; }

private:
    friend class MMeshPointConstIterator;
    MMeshPointContainer* m_container;
    std::uint64_t m_position;
};

// The same over a node container that must not change.
class KETSDK_MESH_API MMeshPointConstIterator {
public:
    MMeshPointConstIterator(MMeshPointContainer const* container, std::uint64_t position) noexcept
        : m_container(container)
        , m_position(position) {}
    MMeshPointConstIterator(MMeshPointIterator const& other) noexcept
        : m_container(other.m_container)
        , m_position(other.m_position) {}
    MMeshPointConstIterator(MMeshPointConstIterator const&) = default;
    MMeshPointConstIterator& operator=(MMeshPointConstIterator const&) = default;
    virtual ~MMeshPointConstIterator() = default;

    MMeshPoint const& operator*() const noexcept { return *m_container->GetPointPtrAt(m_position); }
    MMeshPoint const* operator->() const noexcept { return m_container->GetPointPtrAt(m_position); }
    operator MMeshPoint const*() const noexcept { return m_container->GetPointPtrAt(m_position); }

    MMeshPointConstIterator& operator++() noexcept {
        ++m_position;
        return *this;
    }

    std::uint64_t GetPosition() const noexcept { return m_position; }

    // Same container and same position; a non-const iterator converts.
    friend bool operator==(MMeshPointConstIterator const& a, MMeshPointConstIterator const& b) noexcept {
        return a.m_container == b.m_container && a.m_position == b.m_position;
    }

private:
    MMeshPointContainer const* m_container;
    std::uint64_t m_position;
};

// Exact matches, so that the conversion to a node pointer never competes.
inline bool operator==(MMeshPointIterator const& a, MMeshPointIterator const& b) noexcept {
    return MMeshPointConstIterator(a) == MMeshPointConstIterator(b);
}
inline bool operator==(MMeshPointIterator const& a, MMeshPointConstIterator const& b) noexcept {
    return MMeshPointConstIterator(a) == b;
}
