// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <cstdint>

namespace KetSDK::MeshJobs {

struct RepairOptions {
    // The Jacobian ratios, -100 for a folded element, that are good.
    double min_ratio = 0.0;
    double max_ratio = 30.0;
    // The smallest cosine of the angle at a mid-edge node between the halves of its edge, 1 when straight;
    // nodes below are pulled back first.
    double min_alignment = 0.333333;
};

// The Jacobian ratios of the elements of a mesh.
struct RatioReport {
    std::uint64_t bad = 0;    // elements outside what is good
    std::uint64_t folded = 0; // elements with a ratio below 0
    // Of the finite ratios; NaN when there are none.
    double min = 0.0;
    double median = 0.0;
    double max = 0.0;
};
struct RepairResult {
    std::uint64_t elements = 0;
    std::uint64_t outer = 0;             // elements with a corner on the boundary
    std::uint64_t modified = 0;          // elements whose mid-edge nodes were moved for their ratio
    std::uint64_t straightened = 0;      // how often an element was straightened fully
    std::uint64_t mid_nodes_aligned = 0; // nodes that were pulled back for their alignment
    std::uint64_t passes = 0;
    RatioReport before;
    RatioReport after;
};
// Pulls mid-edge nodes of bad quadratic tetrahedra back towards the middles of their edges, in place
// (MMeshJacobianCorrectorOperator). Throws Error as RequireValid does, and FileError for a model without
// quadratic tetrahedra, Cancelled.
KETSDK_MESHJOBS_API RepairResult Repair(Model& model, RepairOptions const& options, Context const& context);

// Throws Error for options that no model can be repaired with.
KETSDK_MESHJOBS_API void RequireValid(RepairOptions const& options);

} // namespace KetSDK::MeshJobs
