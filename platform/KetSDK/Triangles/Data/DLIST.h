// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Triangles/Data/DLIST_ELEMENT.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>

// Links elements that somebody else owns, in the order in which they are appended. Used by one thread
// at a time when written; concurrent reads are safe.
template <typename T>
class DLIST {
public:
    using Element = DLIST_ELEMENT<T>;

    // Walks the objects, T or const T.
    template <typename V>
    class Iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = std::remove_const_t<V>;
        using difference_type = std::ptrdiff_t;
        using pointer = V*;
        using reference = V&;
        using ElementPointer = std::conditional_t<std::is_const_v<V>, Element const*, Element*>;

        Iterator() = default;
        explicit Iterator(ElementPointer element) noexcept
            : m_element(element) {}

        V& operator*() const noexcept { return m_element->GetData(); }
        V* operator->() const noexcept { return &m_element->GetData(); }
        Iterator& operator++() noexcept {
            m_element = m_element->Next();
            return *this;
        }
        Iterator operator++(int) noexcept {
            Iterator const before = *this;
            ++*this;
            return before;
        }
        bool operator==(Iterator const&) const noexcept = default;

    private:
        ElementPointer m_element = nullptr;
    };

    void Append(Element& element) noexcept {
        element.m_prev = m_last;
        element.m_next = nullptr;
        (m_last ? m_last->m_next : m_first) = &element;
        m_last = &element;
        ++m_count;
    }

    // Links element i of many that are about to be appended, of which at(i) is the address. On any thread,
    // once the element has been made.
    template <typename At>
    void Link(std::uint64_t i, std::uint64_t count, At const& at) const noexcept {
        at(i)->m_prev = i == 0 ? m_last : at(i - 1);
        at(i)->m_next = i + 1 == count ? nullptr : at(i + 1);
    }
    // Appends these elements, each of which has been linked.
    template <typename At>
    void Append(std::uint64_t count, At const& at) noexcept {
        if (count == 0)
            return;
        (m_last ? m_last->m_next : m_first) = at(0);
        m_last = at(count - 1);
        m_count += count;
    }

    std::uint64_t GetCount() const noexcept { return m_count; }
    // The ends; null for an empty list.
    Element* First() noexcept { return m_first; }
    Element const* First() const noexcept { return m_first; }
    Element* Last() noexcept { return m_last; }
    Element const* Last() const noexcept { return m_last; }

private:
    Element* m_first = nullptr;
    Element* m_last = nullptr;
    std::uint64_t m_count = 0;
};
