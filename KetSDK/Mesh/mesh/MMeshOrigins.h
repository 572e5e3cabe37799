// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MLong.h>
#include <KetSDK/Mesh/MMeshExport.h>

#include <cstdint>
#include <map>
#include <vector>

// What the elements and nodes of a mesh came from that was made of another one, its parent. Whatever makes
// such a mesh fills one of these when it is given one (SetOrigins), and it is right after a run that returned
// true. A plain value of indices, which does not follow later changes of either mesh.
struct MMeshOrigins {
    // The node of the parent, or the two ends of the edge in whose middle a node is new.
    struct Node {
        MLong a = -1;
        MLong b = -1; // the same again where it is one node

        bool IsOne() const noexcept { return a == b; }
        friend bool operator==(Node const&, Node const&) = default;
    };

    std::vector<MLong> elements; // by element: its index in the parent
    std::vector<Node> nodes;     // by node; of several parent nodes at its position the first that was used
    // By node that is new elsewhere in an element, whose row above is empty: the nodes of the parent of whose
    // values it has the mean, repeated by weight.
    std::map<MLong, std::vector<MLong>> inside;
    // How many nodes of the parent went into one with others, because they are at one position.
    std::uint64_t joined_nodes = 0;

    friend bool operator==(MMeshOrigins const&, MMeshOrigins const&) = default;
};

// The origins of a mesh that was made in two steps: `later` says what it came from in a mesh in between, and
// `earlier` what that came from. Throws std::invalid_argument where an end of an edge lies in the middle of
// an edge itself, which two nodes cannot tell. Values are to be carried step by step then.
KETSDK_MESH_API MMeshOrigins ComposeOrigins(MMeshOrigins const& earlier, MMeshOrigins const& later);
