// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <cstdint>
#include <vector>

namespace KetSDK::MeshJobs {

struct MergeResult {
    std::uint64_t elements = 0;
    std::uint64_t nodes = 0;
    std::uint64_t joined_nodes = 0;       // nodes of the second model that became one with another
    std::uint64_t duplicate_elements = 0; // of all, those on the positions of an earlier one
    std::vector<SubVolumeReport> subvolumes;
};
// Adds a second model to a first one, behind what that has. Nodes at one position become one, but for those
// of the first model among themselves. The sub-volumes of the second model follow those of the first, under
// their names. Equal materials become one; others keep their numbers where these are free. An array that one
// model lacks is filled with NaN there, or with 0 where its numbers are whole, as are grey values. Elements
// of a model without materials have none; one warning tells of each. Scalar fields are arrays of nodes from
// then on. A second model in another frame of coordinates is turned into that of the first. Warns of
// elements on the nodes of an earlier one. Throws FileError when both are one, Cancelled.
KETSDK_MESHJOBS_API MergeResult Merge(Model& first, Model const& second, Context const& context);

} // namespace KetSDK::MeshJobs
