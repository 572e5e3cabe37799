// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/LatticeLabels.h>

#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace KetSDK::Mesh::Detail {

namespace {

using VoxelPosition = MMVector<double, 3>;

// Further levels hardly save elements.
constexpr int HighestLevel = 8;

} // namespace

LatticeGrid::LatticeGrid(IndexedLabels const& labels, MMVector<double, 3> const& image_spacing, double cube,
                         double largest)
    : spacing(image_spacing)
    , size(cube) {
    int const levels = static_cast<int>(std::floor(std::log2(std::max(1.0, largest / cube)) + 1e-9));
    is_graded = levels > 0;
    top_level = std::clamp(levels, 1, HighestLevel);
    double const top = std::ldexp(cube, top_level);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double const margin = 6.0 * cube + 2.0 * spacing[axis];
        double const low = (static_cast<double>(labels.First()[axis]) - 0.5) * spacing[axis] - margin;
        double const high = (static_cast<double>(labels.Last()[axis]) + 0.5) * spacing[axis] + margin;
        double const count = std::max(1.0, std::ceil((high - low) / top));
        top_cubes[axis] = static_cast<int>(std::min(count, 1e9));
        first[axis] = 0.5 * (low + high - count * top);
        m_first_voxel[axis] = first[axis] / spacing[axis];
        m_half_voxels[axis] = 0.5 * size / spacing[axis];
    }
}

double LatticeGrid::NumberOfSmallest() const noexcept {
    double number = 1.0;
    for (int const count : top_cubes)
        number *= std::ldexp(count, top_level);
    return number;
}

LatticeTree MakeTree(LabelWeights const& weights, LatticeGrid const& grid, bool parallel) {
    LatticeTree tree(grid.top_cubes, grid.top_level);
    weights.ForEachCrossedCell(parallel, [&](LabelWeights::Box const& box) {
        LatticeTree::Cube low, high;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            auto const cube_of = [&](double voxel) {
                double const distance = voxel * grid.spacing[axis] - grid.first[axis];
                return static_cast<int>(std::floor(distance / (2.0 * grid.size)));
            };
            low[axis] = cube_of(box.low[axis]);
            high[axis] = cube_of(box.high[axis]);
        }
        tree.Mark(low, high);
    });
    if (grid.is_graded)
        tree.Balance();
    else
        tree.RefineAll();
    return tree;
}

namespace {

// Which cubes get tetrahedra: those with a label in their centre and those at interfaces.
class WantedCubes {
public:
    WantedCubes(LatticeTree const& tree, LatticeGrid const& grid, LabelWeights const& weights)
        : m_tree(tree)
        , m_grid(grid)
        , m_weights(weights) {}

    bool operator()(int level, LatticeTree::Cube const& cube) {
        if (level > 0)
            return m_tree.IsRefinedAround(level, cube) || HasLabel(level, cube);
        LatticeTree::Cube const parent = {cube[0] >> 1, cube[1] >> 1, cube[2] >> 1};
        if (parent != m_last_cube) {
            m_last_cube = parent;
            m_last_answer = m_tree.IsMarkedAround(parent) || HasLabel(1, parent);
        }
        return m_last_answer;
    }

private:
    bool HasLabel(int level, LatticeTree::Cube const& cube) const {
        Lattice::Node centre;
        for (std::size_t axis = 0; axis < 3; ++axis)
            centre[axis] = (2 * cube[axis] + 1) << level;
        return m_weights.LargestAt(m_grid.VoxelPositionOf(centre)) != 0;
    }

    LatticeTree const& m_tree;
    LatticeGrid const& m_grid;
    LabelWeights const& m_weights;
    // Neighbouring cubes ask for the same one of level 1.
    LatticeTree::Cube m_last_cube = {-1, -1, -1};
    bool m_last_answer = false;
};

} // namespace

Lattice MakeLattice(LatticeTree const& tree, LatticeGrid const& grid, LabelWeights const& weights,
                    bool parallel, std::function<bool(double fraction)> const& advance) {
    return Lattice(tree, WantedCubes(tree, grid, weights), parallel, advance);
}

std::vector<LabelIndex> LabelTetrahedra(Lattice const& lattice, LatticeGrid const& grid,
                                        LabelWeights const& weights, bool parallel) {
    std::vector<LabelIndex> labels(lattice.tetrahedra.size());
    Support::WorkSteps const steps{.items = labels.size(), .step = 2048, .parallel = parallel};
    Support::ComputeSteps(steps, [&](std::uint64_t begin, std::uint64_t end) {
        LabelSums sums;
        for (std::uint64_t i = begin; i < end; ++i) {
            std::array<VoxelPosition, 5> positions; // the centre, and half-way from there to each corner
            for (std::size_t k = 0; k < 4; ++k) {
                positions[k + 1] = grid.VoxelPositionOf(lattice.nodes[lattice.tetrahedra[i][k]]) * 0.5;
                positions[0] += positions[k + 1] * 0.5;
            }
            for (std::size_t k = 1; k < 5; ++k)
                positions[k] += positions[0] * 0.5;
            labels[i] = weights.LargestAtAll(positions, sums);
        }
    });
    return labels;
}

} // namespace KetSDK::Mesh::Detail
