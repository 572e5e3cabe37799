// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <utility>

template <typename T>
class DLIST;

// An object of type T that is an element of a list. It stays at its address for as long as the owner
// of the list keeps it, so a pointer to it is a lasting handle. Used by one thread at a time when
// written; concurrent reads are safe.
template <typename T>
class DLIST_ELEMENT : public T {
public:
    template <typename... Args>
    explicit DLIST_ELEMENT(Args&&... args)
        : T(std::forward<Args>(args)...) {}
    DLIST_ELEMENT(DLIST_ELEMENT const&) = delete;
    DLIST_ELEMENT& operator=(DLIST_ELEMENT const&) = delete;

    // The object.
    T& GetData() noexcept { return *this; }
    T const& GetData() const noexcept { return *this; }
    T& operator*() noexcept { return *this; }
    T const& operator*() const noexcept { return *this; }
    T* operator->() noexcept { return this; }
    T const* operator->() const noexcept { return this; }

    // The neighbours in the list; null at its ends.
    DLIST_ELEMENT* Next() noexcept { return m_next; }
    DLIST_ELEMENT const* Next() const noexcept { return m_next; }
    DLIST_ELEMENT* Prev() noexcept { return m_prev; }
    DLIST_ELEMENT const* Prev() const noexcept { return m_prev; }

private:
    friend class DLIST<T>;
    DLIST_ELEMENT* m_next = nullptr;
    DLIST_ELEMENT* m_prev = nullptr;
};
