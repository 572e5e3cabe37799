// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/meshing/MLabelImage.h>
#include <KetSDK/Mesh/meshing/detail/SmoothingKernel.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

// A label by its index in the list of labels that are meshed, counted from 1; 0 is everything outside.
using LabelIndex = std::uint16_t;

// The labels of an image by index.
class IndexedLabels {
public:
    // `labels` are ascending; voxels of other labels lie outside.
    IndexedLabels(MLabelImage const& image, std::vector<std::int32_t> const& labels, bool parallel);

    std::array<std::int64_t, 3> const& Size() const noexcept { return m_size; }
    // Outside beyond the image.
    LabelIndex At(std::int64_t i, std::int64_t j, std::int64_t k) const noexcept {
        if (i < 0 || j < 0 || k < 0 || i >= m_size[0] || j >= m_size[1] || k >= m_size[2])
            return 0;
        return m_indices[static_cast<std::size_t>((k * m_size[1] + j) * m_size[0] + i)];
    }
    // Those of `count` voxels of a row from voxel i of it on; the row may lie beyond the image, too. They
    // stay where they are, or are copied to `room` when some of them lie beyond the image.
    LabelIndex const* Row(std::int64_t i, std::int64_t j, std::int64_t k, std::int64_t count,
                          LabelIndex* room) const;
    // Voxels of each index.
    std::vector<std::uint64_t> const& Counts() const noexcept { return m_counts; }
    // First and last voxel along each axis of the box around all labels; last < first when there are none.
    std::array<std::int64_t, 3> const& First() const noexcept { return m_first; }
    std::array<std::int64_t, 3> const& Last() const noexcept { return m_last; }

private:
    // Of some of the slices.
    struct Found {
        std::vector<std::uint64_t> counts;
        std::array<std::int64_t, 3> first{};
        std::array<std::int64_t, 3> last{};
    };
    void FillSlice(std::int64_t k, MLabelImage const& image, std::vector<std::int32_t> const& labels,
                   Found& found);

    std::array<std::int64_t, 3> m_size;
    std::unique_ptr<LabelIndex[]> m_indices;
    std::vector<std::uint64_t> m_counts;
    std::array<std::int64_t, 3> m_first{};
    std::array<std::int64_t, 3> m_last{};
};

// Sums of weights, for the labels that have one.
class LabelSums {
public:
    void Clear() noexcept { m_sums.clear(); }
    bool IsEmpty() const noexcept { return m_sums.empty(); }
    void Add(LabelIndex label, double weight) {
        for (auto& [of, sum] : m_sums)
            if (of == label) {
                sum += weight;
                return;
            }
        m_sums.emplace_back(label, weight);
    }
    // The label with the largest sum, the first of equals.
    LabelIndex Largest() const noexcept {
        std::pair<LabelIndex, double> best = m_sums.front();
        for (auto const& [label, sum] : m_sums)
            if (sum > best.second || (sum == best.second && label < best.first))
                best = {label, sum};
        return best.first;
    }

private:
    std::vector<std::pair<LabelIndex, double>> m_sums;
};

// The weight of each label everywhere: its indicator function, 1 in its voxels and 0 elsewhere, smoothed and
// then trilinear between voxel centres. The weights of all labels add up to 1. Bricks of 8 x 8 x 8 voxels
// hold weights of the labels that have any there, so memory grows with the interfaces and not with the number
// of labels. Safe from several threads.
class LabelWeights {
public:
    // A position in voxels from the centre of the first one.
    using VoxelPosition = MMVector<double, 3>;

    // advance(fraction) is called meanwhile; when it returns false the weights stay incomplete.
    LabelWeights(IndexedLabels const& labels, SmoothingKernel const& kernel, bool parallel,
                 std::function<bool(double fraction)> const& advance);

    // The label with the largest weight, the first of equals.
    LabelIndex LargestAt(VoxelPosition const& position) const noexcept;
    // The label with the largest sum of weights at all of these positions, the first of equals;
    // `sums` is room for the work.
    LabelIndex LargestAtAll(std::span<VoxelPosition const> positions, LabelSums& sums) const;
    double WeightAt(VoxelPosition const& position, LabelIndex label) const noexcept;
    // Of positions.
    struct Box {
        VoxelPosition low;
        VoxelPosition high;
    };
    // Calls visit(box) for each cell between eight voxel centres at which labels with the largest weights
    // differ: the box around the positions on its edges where they change. On edges weights are linear, so
    // these are exact. All calls are made on the calling thread, in the same order always.
    void ForEachCrossedCell(bool parallel, std::function<void(Box const& box)> const& visit) const;
    // Weight of one label minus that of another, and the change of that along each axis unless it is null.
    double Difference(VoxelPosition const& position, LabelIndex a, LabelIndex b,
                      VoxelPosition* gradient = nullptr) const noexcept;

    // Voxels of a brick along each axis.
    static constexpr std::int64_t Side = 8;
    // Samples of a brick along each axis, and how far those that follow along each lie from one another.
    // Neighbours share the outer layer.
    static constexpr std::int64_t SamplesPerAxis = Side + 1;
    static constexpr std::size_t Strides[3] = {1, SamplesPerAxis,
                                               std::size_t{SamplesPerAxis} * SamplesPerAxis};
    static constexpr std::size_t Samples = Strides[2] * SamplesPerAxis;
    // The samples at the corners of a cell, from its first one.
    static constexpr std::size_t CornerOffsets[8] = {0,
                                                     Strides[0],
                                                     Strides[1],
                                                     Strides[1] + Strides[0],
                                                     Strides[2],
                                                     Strides[2] + Strides[0],
                                                     Strides[2] + Strides[1],
                                                     Strides[2] + Strides[1] + Strides[0]};
    // A brick with several labels has a slot for each of them. Slots are counted over all bricks: room for
    // what is kept of the voxels near interfaces, by label.
    std::size_t NumberOfSlots() const noexcept { return m_brick_labels.size(); }
    using Voxel = std::array<std::int64_t, 3>;
    // Calls visit(slot, first, last) for the slots of a label in the bricks that have voxels of a box. These
    // are the voxels from `first` to `last`, counted from the first one of the brick.
    template <typename Visit>
    void ForEachSlotIn(Voxel const& box_first, Voxel const& box_last, LabelIndex label,
                       Visit const& visit) const {
        Voxel low, high;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = std::max<std::int64_t>(box_first[axis] + m_padding, 0);
            high[axis] = std::min(box_last[axis] + m_padding, m_bricks[axis] * Side - 1);
            if (low[axis] > high[axis])
                return;
        }
        for (std::int64_t k = low[2] / Side; k <= high[2] / Side; ++k)
            for (std::int64_t j = low[1] / Side; j <= high[1] / Side; ++j)
                for (std::int64_t i = low[0] / Side; i <= high[0] / Side; ++i) {
                    std::size_t const slot = SlotOf(BrickAt(i, j, k), label);
                    if (slot == NoSlot)
                        continue;
                    Voxel const at = {i * Side, j * Side, k * Side};
                    Voxel first, last;
                    for (std::size_t axis = 0; axis < 3; ++axis) {
                        first[axis] = std::max<std::int64_t>(low[axis] - at[axis], 0);
                        last[axis] = std::min(high[axis] - at[axis], Side - 1);
                    }
                    visit(slot, first, last);
                }
    }
    std::size_t NumberOfBricks() const noexcept { return m_all.size(); }
    // Calls visit(voxel, slot, labels) for those of the bricks from `first` to `last` - 1 that have several
    // labels. The voxel is the brick's first and may lie beyond the image; the first of the labels has the
    // slot.
    template <typename Visit>
    void ForEachBrickWithSlots(std::size_t first, std::size_t last, Visit const& visit) const {
        for (std::size_t brick = first; brick < last; ++brick)
            if (m_all[brick].count > 0)
                visit(FirstVoxelOf(brick), std::size_t{m_all[brick].first},
                      std::span(&m_brick_labels[m_all[brick].first], m_all[brick].count));
    }

private:
    static constexpr std::size_t NoSlot = SIZE_MAX;

    struct Brick {
        std::uint32_t first = 0; // in m_brick_labels; its weights are at the same index times Samples
        std::uint16_t count = 0; // 0: only label `only`
        LabelIndex only = 0;
    };
    struct Cell; // where a position lies in its brick
    class BrickCrossings;

    void AddCrossedCells(std::size_t brick, std::vector<Box>& boxes) const;
    Brick const& BrickAt(std::int64_t i, std::int64_t j, std::int64_t k) const noexcept {
        return m_all[static_cast<std::size_t>((k * m_bricks[1] + j) * m_bricks[0] + i)];
    }
    Voxel FirstVoxelOf(std::size_t brick) const noexcept;
    std::size_t SlotOf(Brick const& brick, LabelIndex label) const noexcept {
        for (std::size_t slot = brick.first; slot < std::size_t{brick.first} + brick.count; ++slot)
            if (m_brick_labels[slot] == label)
                return slot;
        return NoSlot;
    }
    Brick const* Find(VoxelPosition const& position, Cell& cell) const noexcept;
    // The weights of a label in a brick that has several; null when it has none there.
    float const* WeightsOf(Brick const& brick, LabelIndex label) const noexcept;
    double DifferenceIn(Brick const& brick, Cell const& cell, LabelIndex a, LabelIndex b,
                        VoxelPosition* gradient) const noexcept;

    std::array<std::int64_t, 3> m_bricks{};
    std::int64_t m_padding; // voxels of the bricks before the image's first
    std::vector<Brick> m_all;
    std::vector<LabelIndex> m_brick_labels;
    std::vector<float> m_weights;
};

} // namespace KetSDK::Mesh::Detail
