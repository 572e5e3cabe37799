// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/KeptVoxels.h>

#include <KetSDK/Support/ParallelWork.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <span>

namespace KetSDK::Mesh::Detail {

namespace {

// Which voxels near interfaces were kept. Elsewhere, where only one label has a weight, none can be lost.
class KeptVoxels {
public:
    using Voxel = LabelWeights::Voxel;

    explicit KeptVoxels(LabelWeights const& weights)
        : m_weights(weights)
        , m_kept(weights.NumberOfSlots() * Side, 0) {}

    // Keeps the voxels of a label whose centres lie in a box of positions. Several threads may do so at a
    // time.
    void Keep(LabelIndex label, LabelWeights::VoxelPosition const& low,
              LabelWeights::VoxelPosition const& high) {
        Voxel box_first, box_last;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            box_first[axis] = static_cast<std::int64_t>(std::ceil(low[axis]));
            box_last[axis] = static_cast<std::int64_t>(std::floor(high[axis]));
        }
        m_weights.ForEachSlotIn(box_first, box_last, label,
                                [this](std::size_t slot, Voxel const& first, Voxel const& last) {
                                    Layer const layer = LayerOf(first, last);
                                    for (std::int64_t k = first[2]; k <= last[2]; ++k)
                                        Keep(m_kept[slot * Side + static_cast<std::size_t>(k)], layer);
                                });
    }
    // A voxel of a slot, counted from the first one of its brick.
    bool IsKept(std::size_t slot, Voxel const& voxel) const noexcept {
        return (m_kept[slot * Side + static_cast<std::size_t>(voxel[2])] & LayerOf(voxel, voxel)) != 0;
    }

private:
    static constexpr std::size_t Side = LabelWeights::Side;
    using Layer = std::uint64_t; // a bit for each of 8 x 8 voxels, the first axis fastest

    static Layer LayerOf(Voxel const& first, Voxel const& last) noexcept {
        constexpr Layer EveryRow = 0x0101010101010101u;
        Layer const row = (Layer{2} << last[0]) - (Layer{1} << first[0]);
        return row * (EveryRow >> 8 * (7 - (last[1] - first[1])) << 8 * first[1]);
    }
    static void Keep(Layer& kept, Layer layer) noexcept {
        std::atomic_ref const shared(kept);
        // Boxes overlap, so most is kept already.
        if ((shared.load(std::memory_order_relaxed) & layer) != layer)
            shared.fetch_or(layer, std::memory_order_relaxed);
    }

    LabelWeights const& m_weights;
    std::vector<Layer> m_kept; // by slot and the third axis
};

// Keeps the voxels of a tetrahedron's label in the box around it; `in_voxels` are the positions of the nodes.
void KeepAround(KeptVoxels& kept, MovingMesh const& mesh, std::size_t t,
                std::vector<LabelWeights::VoxelPosition> const& in_voxels,
                LabelWeights::VoxelPosition const& margin) {
    if (mesh.labels[t] == 0)
        return;
    LabelWeights::VoxelPosition low = in_voxels[mesh.tetrahedra[t][0]], high = low;
    for (std::uint32_t const node : mesh.tetrahedra[t]) {
        LabelWeights::VoxelPosition const& position = in_voxels[node];
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], position[axis]);
            high[axis] = std::max(high[axis], position[axis]);
        }
    }
    // Inside a label the boxes of tetrahedra cover all voxels as they are.
    bool const at_interface = std::ranges::any_of(mesh.tetrahedra[t], [&](std::uint32_t node) {
        return mesh.interface[node] != MovingMesh::NoInterface;
    });
    if (at_interface) {
        low -= margin;
        high += margin;
    }
    kept.Keep(mesh.labels[t], low, high);
}

// Calls visit(label) for each voxel of the bricks from `first` to `last` - 1 that was not kept.
template <typename Visit>
void ForEachLost(std::size_t first_brick, std::size_t last_brick, IndexedLabels const& labels,
                 LabelWeights const& weights, KeptVoxels const& kept, Visit const& visit) {
    weights.ForEachBrickWithSlots(
        first_brick, last_brick,
        [&](LabelWeights::Voxel const& first, std::size_t first_slot, std::span<LabelIndex const> slots) {
            constexpr std::int64_t Side = LabelWeights::Side;
            std::array<LabelIndex, Side> room;
            for (std::int64_t k = 0; k < Side; ++k)
                for (std::int64_t j = 0; j < Side; ++j) {
                    LabelIndex const* const row =
                        labels.Row(first[0], first[1] + j, first[2] + k, Side, room.data());
                    for (std::int64_t i = 0; i < Side; ++i) {
                        if (row[i] == 0)
                            continue;
                        auto const slot = std::ranges::find(slots, row[i]) - slots.begin();
                        if (!kept.IsKept(first_slot + static_cast<std::size_t>(slot), {i, j, k}))
                            visit(row[i]);
                    }
                }
        });
}

Support::WorkSteps Steps(std::size_t items, std::uint64_t step, bool parallel) {
    return {.items = items, .step = step, .parallel = parallel};
}

} // namespace

std::vector<std::uint64_t> CountLostVoxels(IndexedLabels const& labels, MovingMesh const& mesh,
                                           ImageSpace const& space, LabelWeights const& weights, double size,
                                           MMVector<double, 3> const& spacing, bool parallel) {
    KeptVoxels kept(weights);
    LabelWeights::VoxelPosition margin;
    for (std::size_t axis = 0; axis < 3; ++axis)
        margin[axis] = 0.5 * size / spacing[axis];
    std::vector<LabelWeights::VoxelPosition> in_voxels(mesh.positions.size());
    Support::ComputeSteps(Steps(in_voxels.size(), 4096, parallel),
                          [&](std::uint64_t first, std::uint64_t last) {
                              for (std::uint64_t node = first; node < last; ++node)
                                  in_voxels[node] = space.VoxelPositionOf(mesh.positions[node]);
                          });
    Support::ComputeSteps(Steps(mesh.labels.size(), 4096, parallel),
                          [&](std::uint64_t first, std::uint64_t last) {
                              for (std::uint64_t t = first; t < last; ++t)
                                  KeepAround(kept, mesh, static_cast<std::size_t>(t), in_voxels, margin);
                          });
    std::vector<std::uint64_t> lost(labels.Counts().size(), 0);
    using Lost = std::vector<LabelIndex>; // of each voxel
    Support::ComputeSteps<Lost>(
        Steps(weights.NumberOfBricks(), 64, parallel),
        [&](std::uint64_t first, std::uint64_t last, Lost& found) {
            found.clear();
            ForEachLost(static_cast<std::size_t>(first), static_cast<std::size_t>(last), labels, weights,
                        kept, [&](LabelIndex label) { found.push_back(label); });
        },
        [&](std::uint64_t, std::uint64_t, Lost const& found) {
            for (LabelIndex const label : found)
                ++lost[label];
            return true;
        });
    return lost;
}

} // namespace KetSDK::Mesh::Detail
