// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Math/MathCore/MMVector.h>
#include <KetSDK/Mesh/meshing/MLabelImage.h>
#include <KetSDK/Mesh/meshing/detail/SmoothingKernel.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

namespace KetSDK::Mesh::Detail {

// A label by its place in the list of labels that are meshed, counted from 1; 0 is everything outside.
using LabelIndex = std::uint16_t;

// The labels of an image by index.
class IndexedLabels {
public:
    // `labels` are ascending; voxels of other labels lie outside.
    IndexedLabels(MLabelImage const& image, std::vector<std::int32_t> const& labels);

    std::array<std::int64_t, 3> const& Size() const noexcept { return m_size; }
    // Outside beyond the image.
    LabelIndex At(std::int64_t i, std::int64_t j, std::int64_t k) const noexcept {
        if (i < 0 || j < 0 || k < 0 || i >= m_size[0] || j >= m_size[1] || k >= m_size[2])
            return 0;
        return m_indices[static_cast<std::size_t>((k * m_size[1] + j) * m_size[0] + i)];
    }
    // Those of `count` voxels of a row from voxel i of it on; the row may lie beyond the image, too.
    void CopyRow(std::int64_t i, std::int64_t j, std::int64_t k, std::int64_t count, LabelIndex* to) const;
    // Voxels of each index.
    std::vector<std::uint64_t> const& Counts() const noexcept { return m_counts; }
    // First and last voxel along each axis of the box around all labels; last < first when there are none.
    std::array<std::int64_t, 3> const& First() const noexcept { return m_first; }
    std::array<std::int64_t, 3> const& Last() const noexcept { return m_last; }

private:
    std::array<std::int64_t, 3> m_size;
    std::vector<LabelIndex> m_indices;
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
    // A place in voxels from the centre of the first one.
    using Place = MMVector<double, 3>;

    // advance(fraction) is called meanwhile; when it returns false the weights stay incomplete.
    LabelWeights(IndexedLabels const& labels, SmoothingKernel const& kernel, bool parallel,
                 std::function<bool(double fraction)> const& advance);

    // The label with the largest weight, the first of equals.
    LabelIndex LargestAt(Place const& place) const noexcept;
    // The label with the largest sum of weights at all of these places, the first of equals;
    // `sums` is room for the work.
    LabelIndex LargestAtAll(std::span<Place const> places, LabelSums& sums) const;
    double WeightAt(Place const& place, LabelIndex label) const noexcept;
    // Whether only one label has a weight in the brick around a place.
    bool IsPureAt(Place const& place) const noexcept;
    // Of places.
    struct Box {
        Place low;
        Place high;
    };
    // Calls visit(box) for each cell between eight voxel centres at which labels with the largest weights
    // differ: the box around the places on its edges where they change. On edges weights are linear, so
    // these are exact.
    template <typename Visit>
    void ForEachCrossedCell(Visit const& visit) const {
        for (std::size_t brick = 0; brick < m_all.size(); ++brick)
            if (m_all[brick].count > 0)
                for (Box const& box : CrossedCells(brick))
                    visit(box);
    }
    // Weight of one label minus that of another, and the change of that along each axis unless it is null.
    double Difference(Place const& place, LabelIndex a, LabelIndex b,
                      Place* gradient = nullptr) const noexcept;

private:
    static constexpr std::int64_t Side = 8;
    static constexpr std::size_t Samples = 729; // 9 x 9 x 9: neighbours share the outer layer

    struct Brick {
        std::uint32_t first = 0; // in m_brick_labels; its weights are at the same place times Samples
        std::uint16_t count = 0; // 0: only label `only`
        LabelIndex only = 0;
    };
    struct Cell; // where a place lies in its brick
    class BrickCrossings;

    std::vector<Box> CrossedCells(std::size_t brick) const;
    Brick const* Find(Place const& place, Cell& cell) const noexcept;
    // The weights of a label in a brick that has several; null when it has none there.
    float const* WeightsOf(Brick const& brick, LabelIndex label) const noexcept;
    double DifferenceIn(Brick const& brick, Cell const& cell, LabelIndex a, LabelIndex b,
                        Place* gradient) const noexcept;

    std::array<std::int64_t, 3> m_bricks{};
    std::int64_t m_padding; // voxels of the bricks before the image's first
    std::vector<Brick> m_all;
    std::vector<LabelIndex> m_brick_labels;
    std::vector<float> m_weights;
};

} // namespace KetSDK::Mesh::Detail
