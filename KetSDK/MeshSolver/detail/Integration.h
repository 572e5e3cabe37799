// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <span>

namespace KetSDK::MeshSolver::Detail {

// Integration points with shape functions of the nodes there and their derivatives. Faces and elements have
// the node order of NodesOfFace and of the mesh.

struct FacePoint {
    double weight = 0.0;
    std::array<double, 6> shape{};
    std::array<std::array<double, 2>, 6> slope{};
};
struct ElementPoint {
    double weight = 0.0;
    std::array<double, 10> shape{};
    std::array<std::array<double, 3>, 10> slope{};
};

// The points at which CalculiX integrates pressure over a face with 3, 4 or 6 nodes, one point on the
// quadrilaterals of wedges. Dhondt, The Finite Element Method for Three-Dimensional Thermomechanical
// Applications, 2004, section 2.2. Loads at nodes are then those that it applies.
std::span<FacePoint const> SolverPointsOfFace(unsigned int nodes, bool is_of_wedge);
// Points that integrate the product of shape functions and the area of a face that is bent little.
std::span<FacePoint const> ExactPointsOfFace(unsigned int nodes);
// The points at which CalculiX integrates body forces over an element with 4, 6, 8 or 10 nodes.
std::span<ElementPoint const> SolverPointsOfElement(unsigned int nodes);
// The corners of an element, for the sign of its Jacobian determinant.
std::span<ElementPoint const> CornersOfElement(unsigned int nodes);

} // namespace KetSDK::MeshSolver::Detail
