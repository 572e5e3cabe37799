// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/meshing/detail/ImageSpace.h>
#include <KetSDK/Mesh/meshing/detail/LabelWeights.h>
#include <KetSDK/Mesh/meshing/detail/Lattice.h>
#include <KetSDK/Mesh/meshing/detail/LatticeTree.h>

#include <array>
#include <functional>
#include <vector>

namespace KetSDK::Mesh::Detail {

// A lattice over the labels of an image: how its cubes lie there.
struct LatticeGrid {
    MMVector<double, 3> spacing; // of the image, model units
    double size = 0.0;           // edge of the smallest cubes, model units
    int top_level = 1;
    bool is_graded = false; // otherwise all cubes are the smallest
    // Where the first cube begins: model units along the axes of the image, from the centre of its first
    // voxel.
    MMVector<double, 3> first;
    std::array<int, 3> top_cubes{};

    // Around all labels, with room to spare. Cubes are at most `largest` wide.
    LatticeGrid(IndexedLabels const& labels, MMVector<double, 3> const& spacing, double size, double largest);

    // Cubes of the smallest size in all.
    double NumberOfSmallest() const noexcept;
    MMVector<double, 3> PositionOf(Lattice::Node const& node) const noexcept {
        return first + MMVector<double, 3>{double(node[0]), double(node[1]), double(node[2])} * (0.5 * size);
    }
    // The same in voxels.
    LabelWeights::VoxelPosition VoxelPositionOf(Lattice::Node const& node) const noexcept {
        LabelWeights::VoxelPosition position;
        for (std::size_t axis = 0; axis < 3; ++axis)
            position[axis] = m_first_voxel[axis] + m_half_voxels[axis] * double(node[axis]);
        return position;
    }

private:
    LabelWeights::VoxelPosition m_first_voxel; // `first` in voxels
    LabelWeights::VoxelPosition m_half_voxels; // half of `size` in voxels
};

// The cubes of the lattice: the smallest ones wherever the label with the largest weight changes.
LatticeTree MakeTree(LabelWeights const& weights, LatticeGrid const& grid, bool parallel);
// The lattice of these cubes where there are labels, and around them. advance(fraction) is called meanwhile;
// when it returns false the lattice stays incomplete.
Lattice MakeLattice(LatticeTree const& tree, LatticeGrid const& grid, LabelWeights const& weights,
                    bool parallel, std::function<bool(double fraction)> const& advance);
// Gives each tetrahedron the label that has the largest weight in it. Where three neighbours of a tetrahedron
// agree on another label, it follows them: all its corners would lie on one interface, and it could not
// become flat.
std::vector<LabelIndex> LabelTetrahedra(Lattice const& lattice, LatticeGrid const& grid,
                                        LabelWeights const& weights, bool parallel);

} // namespace KetSDK::Mesh::Detail
