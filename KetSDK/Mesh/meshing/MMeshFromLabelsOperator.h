// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperator.h>
#include <KetSDK/Mesh/meshing/MLabelImage.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// How a mesh is made of labels. Lengths are in model units.
struct MMeshFromLabelsSettings {
    // The longest edge of the tetrahedra at interfaces before nodes are moved: the edge of the lattice's
    // cubes.
    double size = 0.0;
    // The same inside, where it grows by doubling; less than twice `size` makes all tetrahedra equal.
    double largest_size = 0.0;
    // No tetrahedron of the result has a dihedral angle below this [degrees], from 0 to 30.
    double smallest_dihedral = 10.0;
    // Standard deviation of the smoothing of the labels; negative for 0.6 voxels along each axis.
    double smoothing = -1.0;
    // Rounds in which nodes are moved; without any, interfaces are those of the lattice.
    int rounds = 6;
    // Labels to mesh, ascending and not 0; empty for all in the image. The others count as outside.
    std::vector<std::int32_t> labels;
};

// What became of a label.
struct MMeshLabelReport {
    std::int32_t label = 0;
    std::uint64_t elements = 0;
    double voxel_volume = 0.0; // cubic model units
    double volume = 0.0;
    // Of the nodes of this label on interfaces: how far each is from where the labels that meet there have
    // equal weights, in model units.
    std::uint64_t interface_nodes = 0;
    double mean_distance = 0.0;
    double largest_distance = 0.0;
    // Nodes for which no such position was found within twice the size; they do not count in the distances.
    std::uint64_t not_found = 0;
    // Twice the volume of the voxels over the area between them and others, times 3/2 as for a surface in any
    // direction. So thick a plate of this label would be. It is 2/3 of its radius for a ball.
    double thickness = 0.0;
    // Volume of the voxels that have no tetrahedron of their label in the cube of the lattice where their
    // centre lies or beside it. They were too thin for the size.
    double lost_volume = 0.0;
};

// Makes linear tetrahedra of an image of labels: a conforming mesh with a sub-volume "Label <n>" for each
// label, in ascending order.
//
// - A body-centred cubic lattice over the image, graded by an octree: fine where labels meet, coarser away
// from
//   there. Its dihedral angles are 45 degrees at least (Labelle, Shewchuk, Isosurface stuffing, 2007).
// - Each tetrahedron gets the label with the largest weight in it. Weights are the labels' indicator
// functions,
//   smoothed so that curved interfaces stay where they are.
// - A few tetrahedra change their label until the boundary of each label, and of all together, is a closed
//   two-manifold, also where voxels meet at edges and corners only. What touches the border of the image is
//   closed there.
// - Nodes on interfaces move onto them, and nodes around for better angles. No move is taken that leaves an
//   element below the smallest angle, on the integer coordinates that the mesh holds: the limit holds always.
//
// The result is the same bit for bit with and without SetParallel, on any number of threads.
class KETSDK_MESH_API MMeshFromLabelsOperator : public MMeshOperator {
public:
    // The image; borrowed until Operate() has returned. What Predict() found out about its voxels is used
    // until then, so whoever changes voxels after Predict() sets the image once more.
    void SetImage(MLabelImage const* image);
    void SetMeshingSettings(MMeshFromLabelsSettings settings);
    // Where progress is reported and cancelling is asked for; may be null.
    void SetProgressDelegate(std::shared_ptr<KetSDK::Common::IProgressDelegate> delegate) noexcept {
        m_progress = std::move(delegate);
    }

    // What is wrong with image or settings, as one line; empty when a mesh can be made of them.
    std::string FindFault() const;

    // An estimate of what Operate() would make, without making any of it; a fifth more or less is usual.
    struct Forecast {
        double elements = 0.0;
        double bytes = 0.0; // of memory, at its peak
    };
    // With another size in place of the one in the settings; FindFault() must be empty. `largest_size` grows
    // with it.
    Forecast Predict(double size) const;

    // Fills the mesh in place of everything that it holds. False without a mesh or an image, for what
    // FindFault() names, and after cancelling; the mesh is then as it was.
    bool Operate() override;

    // What the last run made, one for each label that is meshed.
    std::vector<MMeshLabelReport> const& GetReports() const noexcept { return m_reports; }
    // The smallest dihedral angle of the mesh [degrees].
    double GetSmallestDihedral() const noexcept { return m_smallest_dihedral; }
    // Tetrahedra that changed their label to make interfaces manifold.
    std::uint64_t GetNbRelabelled() const noexcept { return m_relabelled; }

private:
    class Run;
    struct Voxels;     // what the labels of the voxels tell
    struct KeptVoxels; // the same, once it was asked for

    // The labels to mesh: those of the settings, or all of the image but 0.
    std::vector<std::int32_t> LabelsToMesh() const;
    std::shared_ptr<Voxels const> FindVoxels() const;
    std::string FindFaultOfSettings() const;
    std::string FindFaultOfLabels(std::vector<std::int32_t> const& labels) const;

    MLabelImage const* m_image = nullptr;
    MMeshFromLabelsSettings m_settings;
    std::shared_ptr<KeptVoxels> m_voxels;
    std::shared_ptr<KetSDK::Common::IProgressDelegate> m_progress;
    std::vector<MMeshLabelReport> m_reports;
    double m_smallest_dihedral = 0.0;
    std::uint64_t m_relabelled = 0;
};
