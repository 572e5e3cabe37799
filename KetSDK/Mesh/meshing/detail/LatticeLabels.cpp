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

LatticeTree MakeTree(LabelWeights const& weights, LatticeGrid const& grid) {
    LatticeTree tree(grid.top_cubes, grid.top_level);
    weights.ForEachCrossedCell([&](LabelWeights::Box const& box) {
        LatticeTree::Cube low, high;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            auto const cube_of = [&](double voxel) {
                double const place = voxel * grid.spacing[axis] - grid.first[axis];
                return static_cast<int>(std::floor(place / (2.0 * grid.size)));
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
