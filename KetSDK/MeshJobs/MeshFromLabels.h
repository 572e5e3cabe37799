// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Image.h>
#include <KetSDK/MeshJobs/Model.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace KetSDK::MeshJobs {

struct MeshFromLabelsOptions {
    double size = 0.0;                  // longest edge of the elements at interfaces, mm; must be given
    std::optional<double> largest_size; // of those inside, mm; four times the size unless given
    std::vector<std::int32_t> labels;   // to mesh; all but 0 when empty. The others count as outside
    double min_dihedral = 10.0;         // degrees, 0 to 30: no element of the mesh has a smaller angle
    std::optional<double> smoothing;    // standard deviation in mm; 0.6 voxels along each axis unless given
    int rounds = 6;                     // in which nodes are moved; 0 leaves them on the lattice
    double memory = 0.0;                // bytes that the job may take; 0 for what there is for it
};

// What became of a label.
struct MeshedLabel {
    std::int32_t label = 0;
    std::uint64_t elements = 0; // 0: there is no sub-volume of this label
    double voxel_volume = 0.0;  // mm3
    double volume = 0.0;        // mm3
    // Of its nodes on interfaces to where the labels that meet there have equal weights, in mm.
    std::uint64_t interface_nodes = 0;
    double mean_distance = 0.0;
    double largest_distance = 0.0;
    std::uint64_t not_found = 0; // nodes without such a position within twice the size; not in the distances
    double thickness = 0.0;      // mm; as a plate of the same volume and surface
    double lost_volume = 0.0;    // mm3; of voxels without an element of their label within half the size
};

struct MeshFromLabelsResult {
    Model model; // one sub-volume "Label <n>" for each label that has elements
    std::vector<SubVolumeReport> subvolumes;
    double min_dihedral = 0.0;    // of all elements, degrees
    double largest_size = 0.0;    // mm
    std::uint64_t relabelled = 0; // elements of the lattice whose label gave way to a closed interface
    std::vector<MeshedLabel> labels;
};
// Makes a mesh of linear tetrahedra from an image of labels (MMeshFromLabelsOperator), in mm. Warns of labels
// that are thinner than the size, and of what was lost of them: of up to 20 one by one. Throws FileError for
// an image without labels, for one whose values are no whole numbers, and for labels that it does not have.
// It does so for more than a thousand different numbers, too, unless labels are named. Throws it for a size
// that would make more elements than memory holds; it then says how many and which size fits.
KETSDK_MESHJOBS_API MeshFromLabelsResult MeshFromLabels(Image const& image,
                                                        MeshFromLabelsOptions const& options,
                                                        Context const& context);

} // namespace KetSDK::MeshJobs
