// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/ModelFile.h>

#include <optional>
#include <string>

namespace KetSDK::MeshJobs {

struct DiffResult {
    // The first difference in words, the value of the first model first; nothing when the models are equal.
    std::optional<std::string> first_difference;
    // What only a .kmesh file can hold, in models from files of different kinds that are equal but for that.
    std::optional<std::string> left_out;

    bool AreEqual() const noexcept { return !first_difference; }
};
// Compares two models bit for bit: nodes, elements, their values, materials, sub-volumes, scalar fields and
// all other arrays. Models in different frames of coordinates are compared in that of the first. Nodes,
// elements and sub-volumes count from 0. One may be from a .kmesh file, or made in memory, and the other one
// from a .vtu or .vtk file. They are equal when writing the one to a file like the other would give that.
// Nodes may lie apart by the tolerance [mm]. Arrays whose numbers are equal but of different types are equal,
// with a warning. `options` are those that both were read with. Throws Cancelled.
KETSDK_MESHJOBS_API DiffResult Diff(Model const& a, Model const& b, ReadOptions const& options,
                                    Context const& context, double tolerance = 0.0);

} // namespace KetSDK::MeshJobs
