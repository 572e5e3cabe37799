#include <KetSDK/Mesh/meshing/detail/LatticeLabels.h>

#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace KetSDK::Mesh::Detail {

namespace {

using Place = MMVector<double, 3>;

Place InVoxels(Place place, Place const& spacing) noexcept {
    for (std::size_t axis = 0; axis < 3; ++axis)
        place[axis] /= spacing[axis];
    return place;
}

// How far smoothing moves an interface from the faces of its voxels at most, in voxels.
constexpr double LargestShift = 0.5;
// How much room the tetrahedra at an interface need on either side, in their size.
constexpr double Margin = 0.25;
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
    }
}

double LatticeGrid::NumberOfSmallest() const noexcept {
    double number = 1.0;
    for (int const count : top_cubes)
        number *= std::ldexp(count, top_level);
    return number;
}

LatticeTree MakeTree(IndexedLabels const& labels, LatticeGrid const& grid) {
    LatticeTree tree(grid.top_cubes, grid.top_level);
    auto const& first = labels.First();
    auto const& last = labels.Last();
    // Marks the cubes around the face between a voxel and the next one along an axis.
    auto const mark = [&](std::array<std::int64_t, 3> const& voxel, std::size_t face) {
        LatticeTree::Cube low, high;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            double const middle =
                (static_cast<double>(voxel[axis]) + (axis == face ? 0.5 : 0.0)) * grid.spacing[axis];
            double const around =
                (axis == face ? LargestShift : 0.5 + LargestShift) * grid.spacing[axis] + Margin * grid.size;
            low[axis] =
                static_cast<int>(std::floor((middle - around - grid.first[axis]) / (2.0 * grid.size)));
            high[axis] =
                static_cast<int>(std::floor((middle + around - grid.first[axis]) / (2.0 * grid.size)));
        }
        tree.Mark(low, high);
    };
    for (std::int64_t k = first[2] - 1; k <= last[2]; ++k)
        for (std::int64_t j = first[1] - 1; j <= last[1]; ++j)
            for (std::int64_t i = first[0] - 1; i <= last[0]; ++i) {
                LabelIndex const label = labels.At(i, j, k);
                if (labels.At(i + 1, j, k) != label)
                    mark({i, j, k}, 0);
                if (labels.At(i, j + 1, k) != label)
                    mark({i, j, k}, 1);
                if (labels.At(i, j, k + 1) != label)
                    mark({i, j, k}, 2);
            }
    if (grid.is_graded)
        tree.Balance();
    else
        tree.RefineAll();
    return tree;
}

Lattice MakeLattice(LatticeTree const& tree, LatticeGrid const& grid, LabelWeights const& weights) {
    auto const has_label = [&](int level, LatticeTree::Cube const& cube) {
        Lattice::Node centre;
        for (std::size_t axis = 0; axis < 3; ++axis)
            centre[axis] = (2 * cube[axis] + 1) << level;
        return weights.LargestAt(InVoxels(grid.PlaceOf(centre), grid.spacing)) != 0;
    };
    // Neighbouring cubes ask for the same one of level 1.
    LatticeTree::Cube last_cube = {-1, -1, -1};
    bool last_answer = false;
    return Lattice(tree, [&](int level, LatticeTree::Cube const& cube) {
        if (level > 0)
            return tree.IsRefinedAround(level, cube) || has_label(level, cube);
        LatticeTree::Cube const parent = {cube[0] >> 1, cube[1] >> 1, cube[2] >> 1};
        if (parent != last_cube) {
            last_cube = parent;
            last_answer = tree.IsMarkedAround(parent) || has_label(1, parent);
        }
        return last_answer;
    });
}

std::vector<LabelIndex> LabelTetrahedra(Lattice const& lattice, LatticeGrid const& grid,
                                        LabelWeights const& weights, bool parallel) {
    std::vector<LabelIndex> labels(lattice.tetrahedra.size());
    Support::WorkSteps steps;
    steps.items = labels.size();
    steps.step = 2048;
    steps.parallel = parallel;
    Support::ComputeSteps(steps, [&](std::uint64_t begin, std::uint64_t end) {
        LabelSums sums;
        for (std::uint64_t i = begin; i < end; ++i) {
            Place corners[4];
            Place centre{0.0, 0.0, 0.0};
            for (std::size_t k = 0; k < 4; ++k) {
                corners[k] = InVoxels(grid.PlaceOf(lattice.nodes[lattice.tetrahedra[i][k]]), grid.spacing);
                centre += corners[k] * 0.25;
            }
            sums.Clear();
            weights.AddTo(centre, sums);
            for (Place const& corner : corners)
                weights.AddTo((centre + corner) * 0.5, sums);
            labels[i] = sums.Largest();
        }
    });
    return labels;
}

} // namespace KetSDK::Mesh::Detail
