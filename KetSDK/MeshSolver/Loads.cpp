// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/Loads.h>

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshSolver/detail/Jacobian.h>

#include <cstddef>
#include <span>

namespace KetSDK::MeshSolver {

namespace {

using Detail::AreaAt;
using Detail::ElementPoint;
using Detail::FacePoint;
using Vector = MMVector<double, 3>;

std::size_t IndexOf(MMeshElement const& e, unsigned int i) {
    return static_cast<std::size_t>(e.GetNode(i)->GetIndex());
}

// visit(element, nodes of the face, point) for all integration points of all faces.
template <typename Points, typename Visit>
void ForEachPoint(MMeshBase const& mesh, std::vector<FaceOfElement> const& faces, Points const& points,
                  Visit const& visit) {
    for (FaceOfElement const& face : faces) {
        MMeshElement const& e = *mesh.GetElement(face.element);
        FaceNodes const& nodes = NodesOfFace(e.GetNodeCount(), face.face);
        for (FacePoint const& point : points(e, nodes))
            visit(e, nodes, point);
    }
}

std::span<FacePoint const> ExactPoints(MMeshElement const& /*element*/, FaceNodes const& nodes) {
    return Detail::ExactPointsOfFace(nodes.count);
}

} // namespace

double AreaOfFaces(MMeshBase const& mesh, std::vector<FaceOfElement> const& faces) {
    double area = 0.0;
    ForEachPoint(mesh, faces, ExactPoints,
                 [&area](MMeshElement const& e, FaceNodes const& nodes, FacePoint const& point) {
                     area += AreaAt(e, nodes, point).Length() * point.weight;
                 });
    return area;
}

void AddForce(NodeForces& forces, MMeshBase const& mesh, std::vector<FaceOfElement> const& faces,
              Vector const& total) {
    double const area = AreaOfFaces(mesh, faces);
    ForEachPoint(mesh, faces, ExactPoints,
                 [&](MMeshElement const& e, FaceNodes const& nodes, FacePoint const& point) {
                     double const share = AreaAt(e, nodes, point).Length() * point.weight / area;
                     for (unsigned int i = 0; i < nodes.count; ++i)
                         forces[IndexOf(e, nodes.node[i])] += total * (share * point.shape[i]);
                 });
}

void AddPressure(NodeForces& forces, MMeshBase const& mesh, std::vector<FaceOfElement> const& faces,
                 double pressure) {
    auto const as_solver = [](MMeshElement const& e, FaceNodes const& nodes) {
        return Detail::SolverPointsOfFace(nodes.count, e.GetNodeCount() == 6);
    };
    ForEachPoint(mesh, faces, as_solver,
                 [&](MMeshElement const& e, FaceNodes const& nodes, FacePoint const& point) {
                     Vector const inwards = AreaAt(e, nodes, point) * (-pressure * point.weight);
                     for (unsigned int i = 0; i < nodes.count; ++i)
                         forces[IndexOf(e, nodes.node[i])] += inwards * point.shape[i];
                 });
}

void AddGravity(NodeForces& forces, MMeshBase const& mesh, ElementMaterials const& materials,
                Vector const& acceleration) {
    constexpr double tonne_per_mm3 = 1e-9; // of 1 g/cm3
    mesh.Elements().ForEachWithNodes([&](MMeshElement const& e, std::uint64_t number) {
        DeckMaterial const& material =
            materials.materials[materials.material_of[static_cast<std::size_t>(number)]];
        double const density = material.density.value_or(0.0) * tonne_per_mm3;
        for (ElementPoint const& point : Detail::SolverPointsOfElement(e.GetNodeCount())) {
            Vector const weight = acceleration * (density * Detail::JacobianAt(e, point) * point.weight);
            for (unsigned int i = 0; i < e.GetNodeCount(); ++i)
                forces[IndexOf(e, i)] += weight * point.shape[i];
        }
    });
}

} // namespace KetSDK::MeshSolver
