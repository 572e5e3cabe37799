// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <cstdint>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

struct SplitOptions {
    // The sub-volumes to split, all where several have a name; every one when the list is empty.
    std::vector<std::string> names;
};

struct SplitResult {
    std::uint64_t elements = 0;
    std::uint64_t nodes = 0;
    std::uint64_t new_subvolumes = 0; // at the end of the list
    std::vector<SubVolumeReport> subvolumes;
};
// Splits sub-volumes, in place, into the connected sets of their elements: those with a face in common hang
// together. The largest one keeps the name; the others get it with 2, 3, ... behind it, by descending size.
// Throws FileError for a name that no sub-volume has.
KETSDK_MESHJOBS_API SplitResult Split(Model& model, SplitOptions const& options, Context const& context);

} // namespace KetSDK::MeshJobs
