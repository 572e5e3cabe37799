// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <cstdint>
#include <optional>
#include <string>

namespace KetSDK::MeshJobs {

struct IsoOptions {
    // The array of numbers on nodes or, where there is none of that name, on elements, whose values are
    // averaged. A node gets the plain mean over the elements that have it.
    std::string field;
    std::optional<int> component; // of an array of several, from 0
    double level = 0.0;           // the value of the field on the surface
};

struct IsoResult {
    bool from_elements = false; // the array was one on elements
    // The values at the nodes that have one; NaN when none has.
    double min = 0.0;
    double max = 0.0;
    std::uint64_t nodes_without_value = 0;
    std::uint64_t triangles = 0;
    std::uint64_t points = 0;
    std::uint64_t collapsed = 0; // triangles that are left out because rounding made them edges or points
    double area = 0.0;           // mm2
    bool closed = false;         // every edge lies in exactly two triangles
    std::optional<double> enclosed_volume; // mm3; of a closed surface only
    SolidsReport solids;
    SurfaceModel surface; // one surface, named after field and level
};
// Extracts the surface on which a field of a mesh has one value (MMeshIsosurfaceOperator); normals point to
// higher values. Hexahedra and wedges are cut into tetrahedra for it. Elements with a corner without a value
// give no triangles. Warns of ten-node elements, which are read through their corners, of nodes without a
// value and of an empty surface. Throws FileError for fewer than 1000 tetrahedra and for a field that cannot
// be used.
KETSDK_MESHJOBS_API IsoResult Iso(Model const& model, IsoOptions const& options, Context const& context);

} // namespace KetSDK::MeshJobs
