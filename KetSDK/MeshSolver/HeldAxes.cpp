// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/HeldAxes.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/operators/MMeshFaces.h>

#include <Eigen/Eigenvalues>

#include <algorithm>
#include <map>
#include <utility>

namespace KetSDK::MeshSolver {

namespace {

using Held = std::vector<HeldAxis const*>;

// In how many ways a rigid body can move that is held so. Each held axis takes one way away unless others
// took it: the rank of their directions and moments about the middle of the held nodes.
int FreeMotions(MMeshBase const& mesh, Held const& held) {
    using Vector3 = Eigen::Vector3d;
    auto const position = [&mesh](HeldAxis const& axis) {
        auto const p = mesh.GetRandomPoint(axis.node)->GetPosition();
        return Vector3(p[0], p[1], p[2]);
    };
    Vector3 middle = Vector3::Zero();
    for (HeldAxis const* const axis : held)
        middle += position(*axis) / static_cast<double>(held.size());
    double size = 0.0;
    for (HeldAxis const* const axis : held)
        size = std::max(size, (position(*axis) - middle).norm());
    if (size == 0.0)
        size = 1.0;
    Eigen::Matrix<double, 6, 6> sum = Eigen::Matrix<double, 6, 6>::Zero();
    for (HeldAxis const* const axis : held) {
        Eigen::Matrix<double, 6, 1> row;
        Vector3 const direction = Vector3::Unit(axis->axis);
        row << direction, ((position(*axis) - middle) / size).cross(direction);
        sum += row * row.transpose() / static_cast<double>(held.size());
    }
    constexpr double negligible = 1e-10; // squares of lengths that are relative to `size`
    Eigen::SelfAdjointEigenSolver<Eigen::Matrix<double, 6, 6>> const solver(sum, Eigen::EigenvaluesOnly);
    return static_cast<int>((solver.eigenvalues().array() < negligible).count());
}

} // namespace

std::vector<LooseBody> FindLooseBodies(MMeshBase const& mesh, std::vector<HeldAxis> const& held,
                                       bool parallel) {
    std::vector<std::uint32_t> const bodies = Mesh::FindBodies(mesh, parallel);
    struct Body {
        std::uint64_t elements = 0;
        std::vector<std::uint32_t> nodes; // those that are held
    };
    std::vector<bool> is_held(static_cast<std::size_t>(mesh.NumberOfPoints()), false);
    for (HeldAxis const& axis : held)
        is_held[axis.node] = true;
    std::map<std::uint32_t, Body> body_of;
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t number) {
        Body& body = body_of[bodies[static_cast<std::size_t>(number)]];
        ++body.elements;
        for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
            if (auto const node = static_cast<std::uint32_t>(e.GetNode(i)->GetIndex()); is_held[node])
                body.nodes.push_back(node);
    });
    std::vector<LooseBody> loose;
    for (auto& [element, body] : body_of) {
        std::ranges::sort(body.nodes);
        body.nodes.erase(std::unique(body.nodes.begin(), body.nodes.end()), body.nodes.end());
        Held of_body;
        for (std::uint32_t const node : body.nodes)
            for (auto it = std::ranges::lower_bound(held, node, {}, &HeldAxis::node);
                 it != held.end() && it->node == node; ++it)
                of_body.push_back(&*it);
        int const motions = of_body.empty() ? 6 : FreeMotions(mesh, of_body);
        if (motions > 0)
            loose.push_back({element, body.elements, motions});
    }
    return loose;
}

} // namespace KetSDK::MeshSolver
