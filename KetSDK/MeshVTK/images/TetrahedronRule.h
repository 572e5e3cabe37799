// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <span>

namespace KetSDK::MeshVTK::Detail {

// A point in a tetrahedron, by its four barycentric coordinates, and its share of the weight; the weights
// of a rule add up to 1.
struct RulePoint {
    std::array<double, 4> coordinates;
    double weight;
};

constexpr int HighestRuleOrder = 6;

// The points of a rule that gives the mean over a tetrahedron of every polynomial of total degree up to
// `order` (1 to HighestRuleOrder). There are 1, 4, 8, 14, 14 or 24 of them, all inside, with positive
// weights, and placed alike towards each corner. Constant data.
std::span<RulePoint const> TetrahedronRule(int order);

} // namespace KetSDK::MeshVTK::Detail
