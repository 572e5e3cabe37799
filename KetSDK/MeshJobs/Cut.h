// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

struct CutOptions {
    std::array<double, 3> normal{0.0, 0.0, 1.0}; // perpendicular to the plane, of any length; points upwards
    std::array<double, 3> point{};               // on the plane, mm
    // Make the surface of the section, which the figures do not need.
    bool with_section = true;
};

// What a sub-volume has of the section.
struct SectionReport {
    int number;
    std::string name; // UTF-8
    double area;      // mm2
};
struct CutResult {
    // Elements all of whose nodes are above the plane or below it, and the others.
    std::uint64_t above = 0;
    std::uint64_t below = 0;
    std::uint64_t cut = 0;
    double area = 0.0;           // of the section, mm2
    std::uint64_t contours = 0;  // closed ones, around the section
    double contour_length = 0.0; // of all together, mm
    std::vector<SectionReport> subvolumes;
    // A surface for each sub-volume that is cut, named after it. It has the arrays `element`, `face` and
    // `node` as Surfaces gives them, and those of the model: each triangle has the values of its element.
    // Without surfaces when no section was asked for.
    SurfaceModel section;
};
// Cuts a mesh by a plane (MMeshOperatorCutPlane), which leaves its elements as they are but for their
// visibility. Warns of an empty section. Throws Error for a normal without a direction.
KETSDK_MESHJOBS_API CutResult Cut(Model const& model, CutOptions const& options, Context const& context);

} // namespace KetSDK::MeshJobs
