// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <cstdint>
#include <vector>

namespace KetSDK::MeshJobs {

struct WeldOptions {
    // How far apart nodes may lie that become one, in mm; 0 for equal positions only.
    double tolerance = 0.0;
};

struct WeldResult {
    std::uint64_t elements = 0;
    std::uint64_t nodes = 0;
    std::uint64_t joined_nodes = 0;       // nodes that became one with another
    std::uint64_t duplicate_elements = 0; // of all, those on the positions of an earlier one
    std::vector<SubVolumeReport> subvolumes;
    Model model;
};
// Joins nodes that lie at one position, or within the tolerance of each other, directly or by way of others:
// they become the first of them. Elements, sub-volumes, materials and arrays are kept; nodes have the values
// of the first. Warns of elements on the nodes of an earlier one. Throws FileError when two nodes of one
// element would become one, Error for a tolerance that is negative or not finite; Cancelled.
KETSDK_MESHJOBS_API WeldResult Weld(Model const& model, WeldOptions const& options, Context const& context);

} // namespace KetSDK::MeshJobs
