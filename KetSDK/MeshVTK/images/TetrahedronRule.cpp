// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/images/TetrahedronRule.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

namespace {

// All points that come of one by exchanging its coordinates.
struct Orbit {
    std::array<double, 4> coordinates;
    double weight; // of each of the points
};

constexpr Orbit AtCentroid(double weight) {
    return {{0.25, 0.25, 0.25, 0.25}, weight};
}
constexpr Orbit TowardsCorners(double a, double weight) {
    return {{a, a, a, 1.0 - 3.0 * a}, weight};
}
constexpr Orbit TowardsEdges(double a, double weight) {
    return {{a, a, 0.5 - a, 0.5 - a}, weight};
}
constexpr Orbit Anywhere(double a, double b, double weight) {
    return {{a, a, b, 1.0 - 2.0 * a - b}, weight};
}

std::vector<RulePoint> Points(std::initializer_list<Orbit> orbits) {
    std::vector<RulePoint> points;
    for (Orbit orbit : orbits) {
        std::ranges::sort(orbit.coordinates);
        do
            points.push_back({orbit.coordinates, orbit.weight});
        while (std::ranges::next_permutation(orbit.coordinates).found);
    }
    return points;
}

} // namespace

// Order 3 and 6: P. Keast, Moderate-degree tetrahedral quadrature formulas, 1986; order 5:
// N. J. Walkington, Quadrature on simplices of arbitrary dimension, 2000.
std::span<RulePoint const> TetrahedronRule(int order) {
    static std::vector<RulePoint> const first = Points({AtCentroid(1.0)});
    static std::vector<RulePoint> const second = Points({TowardsCorners(0.13819660112501051518, 0.25)});
    static std::vector<RulePoint> const third =
        Points({TowardsCorners(0.32816330251638168484, 0.13621784253708739630),
                TowardsCorners(0.10804724989842858578, 0.11378215746291260369)});
    static std::vector<RulePoint> const fifth =
        Points({TowardsCorners(0.31088591926330060979, 0.11268792571801585079),
                TowardsCorners(0.09273525031089122640, 0.07349304311636194954),
                TowardsEdges(0.04550370412564964949, 0.04254602077708146643)});
    static std::vector<RulePoint> const sixth =
        Points({TowardsCorners(0.21460287125915202928, 0.03992275025816749209),
                TowardsCorners(0.04067395853461135311, 0.01007721105532064294),
                TowardsCorners(0.32233789014227551034, 0.05535718154365472209),
                Anywhere(0.06366100187501752529, 0.26967233145831580803, 0.04821428571428571428)});
    std::vector<RulePoint> const* const rules[] = {&first, &second, &third, &fifth, &fifth, &sixth};
    return *rules[static_cast<std::size_t>(std::clamp(order, 1, HighestRuleOrder) - 1)];
}

} // namespace KetSDK::MeshVTK::Detail
