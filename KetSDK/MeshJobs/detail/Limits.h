// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Model.h>

#include <cstdint>
#include <string>
#include <vector>

// What stops growth: nodes, elements and triangles are numbered in 32 bits. Jobs that make more of them than
// they are given ask here, before they take memory. Internal.
namespace KetSDK::MeshJobs::Detail {

// Why there cannot be so many of them; empty when there can.
inline std::string WhyTooMany(std::uint64_t count, std::string const& what) {
    constexpr std::uint64_t most = 2147483647;
    return count <= most ? ""
                         : "this would make " + std::to_string(count) + " " + what + " or more, beyond the " +
                               std::to_string(most) + " that can be numbered; fewer elements are needed";
}

// How many tetrahedra come of elements, at least: five of a hexahedron, three of a wedge, and eight of one
// with ten nodes where those are split.
inline std::uint64_t LeastTetrahedra(std::vector<KindCount> const& kinds, bool split) {
    std::uint64_t count = 0;
    for (KindCount const& kind : kinds)
        count += kind.elements * (kind.nodes == 8             ? 5
                                  : kind.nodes == 6           ? 3
                                  : kind.nodes == 10 && split ? 8
                                                              : 1);
    return count;
}

} // namespace KetSDK::MeshJobs::Detail
