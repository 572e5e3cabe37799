// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/operators/detail/ElementFaces.h>

#include <array>
#include <span>

namespace KetSDK::Mesh::Detail {

// An edge that a plane crosses, as indices into a list of nodes.
struct CrossedEdge {
    unsigned char above;
    unsigned char below;
};

// The loops in which a plane cuts the boundary of a cell, one after another.
struct CellLoops {
    unsigned char count = 0;               // of loops
    std::array<unsigned char, 4> length{}; // edges of each
    std::array<CrossedEdge, 12> edges{};
};

// The loops of a cell with these faces; `below` has a bit for each node that lies below the plane. Where all
// four edges of a face are crossed, joins_above(face) says whether its two corners above are on one side of
// the cuts. Outward faces give loops that are counterclockwise seen from above.
template <typename JoinsAbove>
constexpr CellLoops TraceLoops(std::span<ElementFace const> faces, unsigned int below,
                               JoinsAbove const& joins_above) {
    auto const is_below = [below](unsigned char node) { return (below >> node & 1) != 0; };
    // On a face the cut goes from an edge that leads down to one that leads up. The face beyond that edge
    // goes along it the other way, so the cut goes on there.
    CrossedEdge next[8][8] = {};
    bool is_open[8][8] = {};
    for (ElementFace const& face : faces) {
        CrossedEdge crossed[4] = {};
        bool leads_down[4] = {};
        unsigned int count = 0;
        for (unsigned int i = 0; i < face.corners; ++i) {
            unsigned char const a = face.node[i];
            unsigned char const b = face.node[(i + 1) % face.corners];
            if (is_below(a) == is_below(b))
                continue;
            leads_down[count] = is_below(b);
            crossed[count++] = is_below(b) ? CrossedEdge{a, b} : CrossedEdge{b, a};
        }
        unsigned int const step = count == 4 && !joins_above(face) ? 3 : 1;
        for (unsigned int i = 0; i < count; ++i)
            if (leads_down[i]) {
                next[crossed[i].above][crossed[i].below] = crossed[(i + step) % count];
                is_open[crossed[i].above][crossed[i].below] = true;
            }
    }
    CellLoops loops;
    unsigned int total = 0;
    for (unsigned char a = 0; a < 8; ++a)
        for (unsigned char b = 0; b < 8; ++b) {
            if (!is_open[a][b])
                continue;
            CrossedEdge edge{a, b};
            while (is_open[edge.above][edge.below]) {
                is_open[edge.above][edge.below] = false;
                loops.edges[total++] = edge;
                ++loops.length[loops.count];
                edge = next[edge.above][edge.below];
            }
            ++loops.count;
        }
    return loops;
}

// Those of a tetrahedron, for every way in which its nodes can lie.
inline constexpr std::array<CellLoops, 16> TetrahedronLoops = [] {
    std::array<CellLoops, 16> loops;
    for (unsigned int below = 0; below < 16; ++below)
        loops[below] = TraceLoops(TetrahedronFaces, below, [](ElementFace const&) { return true; });
    return loops;
}();

} // namespace KetSDK::Mesh::Detail
