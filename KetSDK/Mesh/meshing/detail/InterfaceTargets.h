// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/meshing/detail/ImageSpace.h>
#include <KetSDK/Mesh/meshing/detail/LabelWeights.h>

#include <array>
#include <cstddef>
#include <optional>

namespace KetSDK::Mesh::Detail {

// The labels that meet at a node; of more than four the first.
struct Junction {
    std::array<LabelIndex, 4> labels{};
    std::uint8_t count = 0;

    void Add(LabelIndex label) noexcept;
};

// Finds where labels meet: where their weights are equal. Positions are in internal units.
class InterfaceTargets {
public:
    using Position = MMVector<double, 3>;

    // `step`: how far two positions on a line may lie apart so that no interface is missed between them.
    InterfaceTargets(LabelWeights const& weights, ImageSpace const& space, double step) noexcept
        : m_weights(weights)
        , m_space(space)
        , m_step(step) {}

    // The position near p where the labels meet, no farther away than `reach`. Where the weights do not say
    // in which direction that is, it is looked for along `normal`. None when it is not found.
    std::optional<Position> Find(Position const& p, Junction const& labels, Position const& normal,
                                 double reach) const;

private:
    struct Pair {
        LabelIndex a;
        LabelIndex b;
    };

    double Difference(Position const& p, Pair labels) const noexcept {
        return m_weights.Difference(m_space.VoxelPositionOf(p), labels.a, labels.b);
    }
    // Moves p to where the difference of the weights would be 0 if it were linear, by `longest` at most.
    // False where it hardly changes. `difference` is that before the move; where it is as good as 0 there is
    // none.
    bool Step(Position& p, Pair labels, double longest, double& difference) const noexcept;
    std::optional<Position> FindPair(Position const& p, Pair labels, Position const& normal,
                                     double reach) const;
    std::optional<Position> FollowGradient(Position const& p, Pair labels, double reach) const;
    std::optional<Position> SearchLine(Position const& p, Pair labels, Position const& normal,
                                       double reach) const;
    std::optional<Position> FindJunction(Position const& p, Junction const& labels, double reach) const;

    LabelWeights const& m_weights;
    ImageSpace const& m_space;
    double m_step;
};

} // namespace KetSDK::Mesh::Detail
