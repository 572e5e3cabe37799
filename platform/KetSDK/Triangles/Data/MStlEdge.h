// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Triangles/Data/MStlPoint.h>

#include <array>
#include <cstddef>

// An edge of a graph, directed from its first vertex to its second. Concurrent reads are safe.
class MStlEdge {
public:
    MStlEdge(MStlPoint* p, MStlPoint* q) noexcept
        : m_points{p, q} {}
    MStlEdge(MStlEdge const&) = delete;
    MStlEdge& operator=(MStlEdge const&) = delete;

    // Vertex i, 0 (start) or 1 (end).
    MStlPoint* GetPoint(std::size_t i) const noexcept { return m_points[i]; }

private:
    std::array<MStlPoint*, 2> m_points;
};
