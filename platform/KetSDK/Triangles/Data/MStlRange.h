// SPDX-License-Identifier: BSD-3-Clause
#pragma once

// What a range-based for walks: a begin and an end into a container that outlives it.
template <typename Iterator>
class MStlRange {
public:
    MStlRange(Iterator begin, Iterator end) noexcept
        : m_begin(begin)
        , m_end(end) {}

    Iterator begin() const noexcept { return m_begin; }
    Iterator end() const noexcept { return m_end; }

private:
    Iterator m_begin;
    Iterator m_end;
};
