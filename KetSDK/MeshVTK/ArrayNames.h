// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace KetSDK::MeshVTK {

// Names of the arrays that carry what a mesh or a surface knows beyond geometry. Files are written and
// read by these names.
struct ArrayNames {
    static constexpr char const* Subvolume = "subvolume";            // cells: number of the sub-volume
    static constexpr char const* SubvolumeNames = "subvolume_names"; // field data: name by number
    static constexpr char const* Label = "label";                    // cells: label of the segmentation
    static constexpr char const* Grey = "grey";                      // cells: grey value of the image
    static constexpr char const* Material = "material";              // cells: identifier, -1 for none
    static constexpr char const* Density = "density";                // cells: of the material, NaN for none
    static constexpr char const* Emodulus = "emodulus";              // cells: the same
    static constexpr char const* Poisson = "poisson";                // cells: the same
    static constexpr char const* OriginalId = "original_id";         // cells and points: number at the source
    static constexpr char const* Surface = "surface";                // cells: number of the surface
    static constexpr char const* SurfaceNames = "surface_names";     // field data: name by number
    static constexpr char const* Graph = "graph";                    // lines: number of the graph
    static constexpr char const* GraphNames = "graph_names";         // field data: name by number
    static constexpr char const* Space = "SPACE";                    // field data: frame, RAS or LPS
    static constexpr char const* Color = "color";                    // cells: red, green and blue, 0 to 255
};

} // namespace KetSDK::MeshVTK
