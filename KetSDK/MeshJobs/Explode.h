// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <cstdint>
#include <string>

namespace KetSDK::MeshJobs {

struct ExplodeOptions {
    // How far corners move towards the centroid of their element: at least 0, where they stay, and below 1.
    double shrink = 0.0;
    // The array of one number on each element that says which are taken: those with another value than 0.
    // All are when it is empty.
    std::string select;
};

struct ExplodeResult {
    std::uint64_t elements = 0;
    std::uint64_t elements_taken = 0;
    std::uint64_t taken_by_corners = 0; // ten-node tetrahedra of the model, of which the corners alone count
    std::uint64_t triangles = 0;
    std::uint64_t points = 0;
    double volume_factor = 1.0; // the volume of an element as a part of what it was
    // One surface, with the arrays `element`, `face` and `node` as Surfaces gives them, and those of the
    // model: each triangle has the values of its element.
    SurfaceModel surface;
};
// Makes four triangles of each tetrahedron, shrunk so that the elements stand apart
// (MMeshConvertToStlOperator). Throws Error as RequireValid does, and FileError for other elements, for an
// array that cannot be used, and when it selects no element.
KETSDK_MESHJOBS_API ExplodeResult Explode(Model const& model, ExplodeOptions const& options,
                                          Context const& context);

// Throws Error for options that fit no model.
KETSDK_MESHJOBS_API void RequireValid(ExplodeOptions const& options);

} // namespace KetSDK::MeshJobs
