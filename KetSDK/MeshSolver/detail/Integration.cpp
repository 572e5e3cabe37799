// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/Integration.h>

#include <KetSDK/Mesh/mesh/MMeshElementDescriptor.h>

#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace KetSDK::MeshSolver::Detail {

namespace {

// --- Shape functions ---------------------------------------------------------------------------------

FacePoint LinearTriangle(double u, double v, double weight) {
    return {weight, {1.0 - u - v, u, v}, {{{-1.0, -1.0}, {1.0, 0.0}, {0.0, 1.0}}}};
}

FacePoint QuadraticTriangle(double u, double v, double weight) {
    double const w = 1.0 - u - v;
    return {weight,
            {w * (2 * w - 1), u * (2 * u - 1), v * (2 * v - 1), 4 * w * u, 4 * u * v, 4 * v * w},
            {{{1 - 4 * w, 1 - 4 * w},
              {4 * u - 1, 0.0},
              {0.0, 4 * v - 1},
              {4 * (w - u), -4 * u},
              {4 * v, 4 * u},
              {-4 * v, 4 * (w - v)}}}};
}

constexpr double SquareCorners[4][2] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};

FacePoint Quadrilateral(double u, double v, double weight) {
    FacePoint point{weight, {}, {}};
    for (std::size_t i = 0; i < 4; ++i) {
        auto const [a, b] = SquareCorners[i];
        point.shape[i] = (1 + a * u) * (1 + b * v) / 4;
        point.slope[i] = {a * (1 + b * v) / 4, b * (1 + a * u) / 4};
    }
    return point;
}

ElementPoint Hexahedron(double u, double v, double w, double weight) {
    ElementPoint point{weight, {}, {}};
    for (std::size_t i = 0; i < 8; ++i) {
        auto const [a, b] = SquareCorners[i % 4];
        double const c = i < 4 ? -1.0 : 1.0;
        point.shape[i] = (1 + a * u) * (1 + b * v) * (1 + c * w) / 8;
        point.slope[i] = {a * (1 + b * v) * (1 + c * w) / 8, b * (1 + a * u) * (1 + c * w) / 8,
                          c * (1 + a * u) * (1 + b * v) / 8};
    }
    return point;
}

ElementPoint Wedge(double u, double v, double w, double weight) {
    FacePoint const triangle = LinearTriangle(u, v, 1.0);
    ElementPoint point{weight, {}, {}};
    for (std::size_t i = 0; i < 6; ++i) {
        double const c = i < 3 ? -1.0 : 1.0;
        std::size_t const k = i % 3;
        point.shape[i] = triangle.shape[k] * (1 + c * w) / 2;
        point.slope[i] = {triangle.slope[k][0] * (1 + c * w) / 2, triangle.slope[k][1] * (1 + c * w) / 2,
                          triangle.shape[k] * c / 2};
    }
    return point;
}

// Barycentric coordinates of a point in a tetrahedron and their slopes.
struct Barycentric {
    std::array<double, 4> at;
    static constexpr double Slope[4][3] = {{-1, -1, -1}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
};

ElementPoint LinearTetrahedron(double u, double v, double w, double weight) {
    ElementPoint point{weight, {}, {}};
    Barycentric const b{{1 - u - v - w, u, v, w}};
    for (std::size_t i = 0; i < 4; ++i) {
        point.shape[i] = b.at[i];
        point.slope[i] = std::to_array(Barycentric::Slope[i]);
    }
    return point;
}

ElementPoint QuadraticTetrahedron(double u, double v, double w, double weight) {
    ElementPoint point{weight, {}, {}};
    Barycentric const b{{1 - u - v - w, u, v, w}};
    for (std::size_t i = 0; i < 4; ++i) {
        point.shape[i] = b.at[i] * (2 * b.at[i] - 1);
        for (std::size_t c = 0; c < 3; ++c)
            point.slope[i][c] = (4 * b.at[i] - 1) * Barycentric::Slope[i][c];
    }
    for (std::size_t edge = 0; edge < 6; ++edge) {
        std::size_t const i = MMeshElementDescriptor::descr_tet4_tet10_point[edge][0];
        std::size_t const k = MMeshElementDescriptor::descr_tet4_tet10_point[edge][1];
        point.shape[4 + edge] = 4 * b.at[i] * b.at[k];
        for (std::size_t c = 0; c < 3; ++c)
            point.slope[4 + edge][c] =
                4 * (b.at[i] * Barycentric::Slope[k][c] + b.at[k] * Barycentric::Slope[i][c]);
    }
    return point;
}

// --- Rules --------------------------------------------------------------------------------------------

double const Gauss2 = 1.0 / std::sqrt(3.0); // the two points of -1..1

std::vector<FacePoint> TwoByTwo() {
    std::vector<FacePoint> points;
    for (auto const& [a, b] : SquareCorners)
        points.push_back(Quadrilateral(a * Gauss2, b * Gauss2, 1.0));
    return points;
}

// Seven points, exact for polynomials of degree 5 (Radon, 1948).
std::vector<FacePoint> SevenPoints() {
    double const root = std::sqrt(15.0);
    std::vector<FacePoint> points = {QuadraticTriangle(1.0 / 3, 1.0 / 3, 9.0 / 80)};
    for (double const sign : {-1.0, 1.0}) {
        double const a = (6 + sign * root) / 21;
        double const weight = (155 + sign * root) / 2400;
        points.push_back(QuadraticTriangle(a, a, weight));
        points.push_back(QuadraticTriangle(1 - 2 * a, a, weight));
        points.push_back(QuadraticTriangle(a, 1 - 2 * a, weight));
    }
    return points;
}

std::vector<ElementPoint> PointsInHexahedron() {
    std::vector<ElementPoint> points;
    for (double const w : {-Gauss2, Gauss2})
        for (auto const& [a, b] : SquareCorners)
            points.push_back(Hexahedron(a * Gauss2, b * Gauss2, w, 1.0));
    return points;
}

std::vector<ElementPoint> PointsInQuadraticTetrahedron() {
    double const a = (5 - std::sqrt(5.0)) / 20;
    double const b = 1 - 3 * a;
    std::vector<ElementPoint> points;
    for (auto const& [u, v, w] : {std::array{a, a, a}, {b, a, a}, {a, b, a}, {a, a, b}})
        points.push_back(QuadraticTetrahedron(u, v, w, 1.0 / 24));
    return points;
}

} // namespace

std::span<FacePoint const> SolverPointsOfFace(unsigned int nodes, bool is_of_wedge) {
    static std::vector<FacePoint> const triangle = {LinearTriangle(1.0 / 3, 1.0 / 3, 0.5)};
    static std::vector<FacePoint> const curved = {QuadraticTriangle(1.0 / 6, 1.0 / 6, 1.0 / 6),
                                                  QuadraticTriangle(2.0 / 3, 1.0 / 6, 1.0 / 6),
                                                  QuadraticTriangle(1.0 / 6, 2.0 / 3, 1.0 / 6)};
    static std::vector<FacePoint> const square = TwoByTwo();
    static std::vector<FacePoint> const middle = {Quadrilateral(0.0, 0.0, 4.0)};
    if (nodes == 4)
        return is_of_wedge ? middle : square;
    return nodes == 6 ? curved : triangle;
}

std::span<FacePoint const> ExactPointsOfFace(unsigned int nodes) {
    static std::vector<FacePoint> const curved = SevenPoints();
    return nodes == 6 ? std::span<FacePoint const>(curved) : SolverPointsOfFace(nodes, false);
}

std::span<ElementPoint const> SolverPointsOfElement(unsigned int nodes) {
    static std::vector<ElementPoint> const tet4 = {LinearTetrahedron(0.25, 0.25, 0.25, 1.0 / 6)};
    static std::vector<ElementPoint> const wedge6 = {Wedge(1.0 / 3, 1.0 / 3, -Gauss2, 0.5),
                                                     Wedge(1.0 / 3, 1.0 / 3, Gauss2, 0.5)};
    static std::vector<ElementPoint> const hex8 = PointsInHexahedron();
    static std::vector<ElementPoint> const tet10 = PointsInQuadraticTetrahedron();
    switch (nodes) {
    case 4:
        return tet4;
    case 6:
        return wedge6;
    case 8:
        return hex8;
    default:
        return tet10;
    }
}

std::span<ElementPoint const> CornersOfElement(unsigned int nodes) {
    static std::vector<ElementPoint> const wedge6 = [] {
        std::vector<ElementPoint> points;
        for (double const w : {-1.0, 1.0})
            for (auto const& [u, v] : {std::pair(0.0, 0.0), {1.0, 0.0}, {0.0, 1.0}})
                points.push_back(Wedge(u, v, w, 0.0));
        return points;
    }();
    static std::vector<ElementPoint> const hex8 = [] {
        std::vector<ElementPoint> points;
        for (double const w : {-1.0, 1.0})
            for (auto const& [u, v] : SquareCorners)
                points.push_back(Hexahedron(u, v, w, 0.0));
        return points;
    }();
    if (nodes == 8)
        return hex8;
    if (nodes == 6)
        return wedge6;
    return {};
}

} // namespace KetSDK::MeshSolver::Detail
