// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshOrigins.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace KetSDK::MeshJobs {

struct ConvertOptions {
    enum class Target {
        Tet4,      // linear tetrahedra; of quadratic ones by their corners alone
        Tet4Split, // eight linear tetrahedra of each quadratic one, on all its nodes
        Tet10,     // quadratic tetrahedra
    };
    Target target = Target::Tet4;
};

struct ConvertResult {
    struct Size {
        std::uint64_t elements = 0;
        std::uint64_t nodes = 0;
        double volume = 0.0; // mm3, signed
    };
    // What cutting hexahedra and wedges met.
    struct Cut {
        std::uint64_t interior_faces = 0;    // with four corners, between two of them
        std::uint64_t nonmatching_faces = 0; // those at which the tetrahedra do not fit together: none
        std::uint64_t nodes_inside = 0;      // new nodes in elements that are too warped to be cut without
        std::uint64_t folded =
            0; // elements that no cut makes positive: some of their tetrahedra are inverted
    };

    Model model; // with the values and arrays of what its elements and nodes came from
    MMeshOrigins origins;
    Size before;
    Size after;
    std::uint64_t taken_by_corners = 0; // ten-node tetrahedra whose mid-edge nodes were left out
    std::uint64_t reoriented = 0;       // inverted elements that were turned
    std::vector<SubVolumeReport> subvolumes;
    std::optional<Cut> cut; // when there are hexahedra or wedges
};
// Makes a model of other elements. Hexahedra and wedges are cut into tetrahedra that fit together
// (MMeshConformingCutOperator). A linear tetrahedron becomes quadratic with nodes in the middles of its
// edges, a quadratic one linear. Inverted elements are turned when the result is linear. Elements come
// sub-volume by sub-volume, and nodes at one position become one. In arrays of nodes a new mid-edge node has
// the mean of the ends of its edge when the numbers are floating-point, and the smaller of both otherwise.
// Scalar fields are such arrays there. Warns of hexahedra and wedges that no cut makes positive. Throws
// FileError for elements that cannot become what was asked for and when there is nothing to convert,
// Cancelled.
KETSDK_MESHJOBS_API ConvertResult Convert(Model const& model, ConvertOptions const& options,
                                          Context const& context);

} // namespace KetSDK::MeshJobs
