// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshVTK/LengthUnit.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

struct InfoOptions {
    MeshVTK::LengthUnit unit; // in which the file was read, for doubts about it
};

// An array of a model: one that came along, or one that files written of it have for what the mesh itself
// holds.
struct ArrayReport {
    std::string where; // "cells", "points" or "field"
    std::string name;  // UTF-8
    std::string type;  // "float64"; "string" for text
    std::uint32_t components;
    // The smallest and the largest finite value of all components; none without one.
    std::optional<std::array<double, 2>> range;
};

// What a model holds.
struct InfoResult {
    std::uint64_t elements = 0;
    std::uint64_t nodes = 0;
    std::vector<KindCount> kinds;
    std::vector<SubVolumeReport> subvolumes;
    double volume = 0.0;                        // mm3, signed
    std::optional<Mesh::CoordinateFrame> frame; // nothing when the model does not say it
    std::array<double, 6> box{};                // mm: xmin, ymin, zmin, xmax, ymax, zmax
    MeshVTK::RoundingReport rounding;
    std::uint64_t memory = 0;        // bytes that the mesh takes
    std::vector<ArrayReport> arrays; // those of cells, then of points, then of the mesh as a whole
};
// Warns of nodes that lie twice, where what touches is not connected, and of a box that suggests that the
// lengths are in another unit. Such a box is shorter than 1 mm or longer than 3 m, where metres, millimetres
// or micrometres in place of the unit would put it between.
KETSDK_MESHJOBS_API InfoResult Info(Model const& model, InfoOptions const& options, Context const& context);
inline InfoResult Info(Model const& model, Context const& context) {
    return Info(model, {}, context);
}

// The volume of a mesh as Info tells it, in mm3.
KETSDK_MESHJOBS_API double VolumeOf(MMeshBase const& mesh);

} // namespace KetSDK::MeshJobs
