// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/InterfaceTargets.h>

#include <algorithm>
#include <cmath>

namespace KetSDK::Mesh::Detail {

namespace {

// By voxel: where the difference of two weights changes less it says nothing of where the interface lies.
constexpr double SmallestChange = 0.08;
// Labels with less weight where two of them weigh the same lie under a third one.
constexpr double SmallestWeight = 0.2;
// A difference of weights that counts as none.
constexpr double SmallestDifference = 0.005;

} // namespace

void Junction::Add(LabelIndex label) noexcept {
    for (std::size_t i = 0; i < count; ++i)
        if (labels[i] == label)
            return;
    if (count < labels.size())
        labels[count++] = label;
}

std::optional<InterfaceTargets::Position> InterfaceTargets::Find(Position const& p, Junction const& labels,
                                                                 Position const& normal, double reach) const {
    if (labels.count == 2)
        return FindPair(p, {labels.labels[0], labels.labels[1]}, normal, reach);
    if (auto const junction = FindJunction(p, labels, reach))
        return junction;
    // The labels do not meet at one position: between all positions where two of them do.
    Position sum{0.0, 0.0, 0.0};
    int found = 0;
    for (std::size_t i = 0; i < labels.count; ++i)
        for (std::size_t j = i + 1; j < labels.count; ++j)
            if (auto const target = FindPair(p, {labels.labels[i], labels.labels[j]}, normal, reach)) {
                sum += *target;
                ++found;
            }
    if (found == 0)
        return std::nullopt;
    return sum * (1.0 / found);
}

bool InterfaceTargets::Step(Position& p, Pair labels, double longest, double& difference) const noexcept {
    Position by_voxels;
    difference = m_weights.Difference(m_space.VoxelPositionOf(p), labels.a, labels.b, &by_voxels);
    if (std::fabs(difference) < SmallestDifference)
        return true;
    if (by_voxels.Dot(by_voxels) < SmallestChange * SmallestChange)
        return false;
    Position const gradient = m_space.GradientOf(by_voxels);
    double const squared = gradient.Dot(gradient);
    double const length = std::fabs(difference) / std::sqrt(squared);
    p -= gradient * (difference / squared * std::min(1.0, longest / length));
    return true;
}

std::optional<InterfaceTargets::Position> InterfaceTargets::FollowGradient(Position const& p, Pair labels,
                                                                           double reach) const {
    Position target = p;
    double difference = 1.0;
    for (int i = 0; i < 10 && std::fabs(difference) >= SmallestDifference; ++i)
        if (!Step(target, labels, 2.0 * m_step, difference))
            return std::nullopt;
    Position const way = target - p;
    if (way.Dot(way) > reach * reach)
        return std::nullopt;
    if (std::fabs(difference) >= SmallestDifference && std::fabs(Difference(target, labels)) > 0.05)
        return std::nullopt;
    if (m_weights.WeightAt(m_space.VoxelPositionOf(target), labels.a) < SmallestWeight)
        return std::nullopt;
    return target;
}

std::optional<InterfaceTargets::Position>
InterfaceTargets::SearchLine(Position const& p, Pair labels, Position const& normal, double reach) const {
    double const here = Difference(p, labels);
    double last[2] = {here, here};
    for (double way = m_step; way < reach; way += m_step)
        for (int const side : {0, 1}) {
            double const sign = side == 0 ? 1.0 : -1.0;
            double const there = Difference(p + normal * (sign * way), labels);
            if ((there < 0.0) != (last[side] < 0.0) &&
                std::fabs(there - last[side]) > 4.0 * SmallestDifference) {
                double inner = way - m_step, outer = way;
                for (int i = 0; i < 12; ++i) {
                    double const middle = 0.5 * (inner + outer);
                    bool const beyond =
                        (Difference(p + normal * (sign * middle), labels) < 0.0) == (there < 0.0);
                    (beyond ? outer : inner) = middle;
                }
                Position const target = p + normal * (sign * outer);
                if (m_weights.WeightAt(m_space.VoxelPositionOf(target), labels.a) >= SmallestWeight)
                    return target;
            }
            last[side] = there;
        }
    return std::nullopt;
}

std::optional<InterfaceTargets::Position>
InterfaceTargets::FindPair(Position const& p, Pair labels, Position const& normal, double reach) const {
    if (auto const target = FollowGradient(p, labels, reach))
        return target;
    auto target = SearchLine(p, labels, normal, reach);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        Position along{0.0, 0.0, 0.0};
        along[axis] = 1.0;
        double const found = target ? (*target - p).Length() : reach;
        if (found > 2.0 * m_step)
            if (auto const other = SearchLine(p, labels, along, found))
                target = other;
    }
    if (!target)
        return std::nullopt;
    // Not along the line, but straight there.
    auto const nearest = FollowGradient(*target, labels, reach);
    return nearest && (*nearest - p).Length() < (*target - p).Length() ? nearest : target;
}

std::optional<InterfaceTargets::Position>
InterfaceTargets::FindJunction(Position const& p, Junction const& labels, double reach) const {
    Position target = p;
    for (int i = 0; i < 12; ++i) {
        Position const before = target;
        double difference = 0.0;
        for (std::size_t k = 0; k < labels.count; ++k)
            if (!Step(target, {labels.labels[k], labels.labels[(k + 1) % labels.count]}, m_step, difference))
                return std::nullopt;
        if (target == before)
            break;
    }
    Position const way = target - p;
    if (way.Dot(way) > reach * reach)
        return std::nullopt;
    for (std::size_t k = 0; k < labels.count; ++k)
        if (std::fabs(Difference(target, {labels.labels[k], labels.labels[(k + 1) % labels.count]})) > 0.05)
            return std::nullopt;
    if (m_weights.WeightAt(m_space.VoxelPositionOf(target), labels.labels[0]) < SmallestWeight / 2)
        return std::nullopt;
    return target;
}

} // namespace KetSDK::Mesh::Detail
