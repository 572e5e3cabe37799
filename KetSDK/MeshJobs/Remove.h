// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshOrigins.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <cstdint>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

struct RemoveOptions {
    // The sub-volumes that go, all where several have a name.
    std::vector<std::string> names;
};

struct RemoveResult {
    Model model; // what is left, with the values and arrays that it had
    MMeshOrigins origins;
    std::uint64_t elements = 0; // that are left
    std::uint64_t nodes = 0;
    std::uint64_t removed_elements = 0;
    std::uint64_t removed_nodes = 0;
    std::vector<SubVolumeReport> subvolumes;
};
// Makes a model of what is left of another one without some of its sub-volumes. Nodes that nothing uses go
// too; elements and nodes keep their order. Scalar fields are arrays of nodes there. Throws FileError for a
// name that no sub-volume has and when nothing would be left, Cancelled.
KETSDK_MESHJOBS_API RemoveResult Remove(Model const& model, RemoveOptions const& options,
                                        Context const& context);

} // namespace KetSDK::MeshJobs
