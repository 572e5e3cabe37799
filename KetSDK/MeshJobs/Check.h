// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/operators/MMeshTopology.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <cstdint>

namespace KetSDK::MeshJobs {

struct CheckOptions {
    // Deviation of a mid-edge node that passes, in per cent of the length of its edge.
    double tolerance = 0.5;
};

// Numbers of elements with defects, of which an element can have several, and what does not belong into a
// mesh as a whole.
struct CheckResult {
    std::uint64_t elements = 0;
    std::uint64_t solids = 0;            // hexahedra and wedges among them
    bool quadratic = false;              // there are mid-edge nodes to look at
    std::uint64_t wrong_orientation = 0; // the corners are wound the wrong way: the volume is negative
    std::uint64_t folded = 0;            // the Jacobian determinant is negative somewhere: see IsFolded
    std::uint64_t zero_volume = 0;       // flat or collapsed
    std::uint64_t wrong_mid_edges = 0;   // a mid-edge node lies farther from its edge's middle than tolerated
    std::uint64_t wrong_mid_faces = 0;   // so does one of a face, by the mean length of the face's edges
    Mesh::MMeshTopology topology;
};
// Counts defects; hexahedra and wedges are looked at as they are, not cut. Throws Cancelled.
KETSDK_MESHJOBS_API CheckResult Check(Model const& model, CheckOptions const& options,
                                      Context const& context);

} // namespace KetSDK::MeshJobs
