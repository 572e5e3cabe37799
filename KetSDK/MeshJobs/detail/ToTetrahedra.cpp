// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/ToTetrahedra.h>

#include <KetSDK/Common/Shared/MInternalUnits.h>
#include <KetSDK/Mesh/geometry/MMeshConformingCutOperator.h>
#include <KetSDK/Mesh/mesh/MMeshSolverFaces.h>
#include <KetSDK/Mesh/persistence/MMeshCarrying.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/detail/Limits.h>
#include <KetSDK/MeshJobs/detail/RunOperator.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs::Detail {

namespace {

// Finds the node that lies nearest to a position.
class NearestNodes {
public:
    // Within so many mm, but no farther than nodes mostly lie apart.
    NearestNodes(MMeshBase const& mesh, double tolerance)
        : m_mesh(mesh)
        , m_size(std::max(1.0, std::min(tolerance, Spacing(mesh)) * Common::MInternalUnits::Get())) {
        for (MLong i = 0; i < mesh.NumberOfPoints(); ++i)
            m_nodes[CellOf(*mesh.GetRandomPoint(static_cast<std::size_t>(i)))].push_back(i);
    }

    // -1 for none.
    MLong Find(MMeshPoint const& position) const {
        MLong nearest = -1;
        double least = m_size * m_size;
        Cell const centre = CellOf(position);
        for (int n = 0; n < 27; ++n) {
            auto const found =
                m_nodes.find({centre[0] + n % 3 - 1, centre[1] + n / 3 % 3 - 1, centre[2] + n / 9 - 1});
            if (found == m_nodes.end())
                continue;
            for (MLong const i : found->second)
                if (double const square =
                        SquaredDistance(*m_mesh.GetRandomPoint(static_cast<std::size_t>(i)), position);
                    square < least || (square == least && nearest < 0)) {
                    nearest = i;
                    least = square;
                }
        }
        return nearest;
    }

private:
    using Cell = std::array<std::int64_t, 3>;

    // The edge of a cube with the share of one node in the mesh's box, in mm.
    static double Spacing(MMeshBase const& mesh) {
        std::array<double, 6> const box = BoxOf(mesh);
        double const volume = (box[3] - box[0]) * (box[4] - box[1]) * (box[5] - box[2]);
        return 0.5 * std::cbrt(volume / std::max<MLong>(mesh.NumberOfPoints(), 1));
    }
    Cell CellOf(MMeshPoint const& p) const {
        auto const along = [this](MLong c) { return static_cast<std::int64_t>(std::floor(c / m_size)); };
        return {along(p.x), along(p.y), along(p.z)};
    }
    static double SquaredDistance(MMeshPoint const& a, MMeshPoint const& b) {
        double const x = double(a.x) - b.x, y = double(a.y) - b.y, z = double(a.z) - b.z;
        return x * x + y * y + z * z;
    }

    MMeshBase const& m_mesh;
    double m_size; // of a cell, in internal units
    std::map<Cell, std::vector<MLong>> m_nodes;
};

// The edges of a surface between nodes of the mesh.
std::vector<std::array<MLong, 2>> EdgesOnNodes(MMeshBase const& mesh, MStlBase const& stl, double tolerance) {
    NearestNodes const nodes(mesh, tolerance);
    std::vector<MLong> node_of(static_cast<std::size_t>(stl.NumberOfPoints()), -1);
    for (MStlPoint const& p : stl.Points())
        node_of[static_cast<std::size_t>(p.GetIndex())] = nodes.Find({p.GetX(), p.GetY(), p.GetZ()});
    std::vector<std::array<MLong, 2>> edges;
    for (MStlTriangle const& triangle : stl.Triangles())
        for (std::size_t i = 0; i < 3; ++i) {
            MLong const a = node_of[static_cast<std::size_t>(triangle.GetPoint(i)->GetIndex())];
            MLong const b = node_of[static_cast<std::size_t>(triangle.GetPoint((i + 1) % 3)->GetIndex())];
            if (a >= 0 && b >= 0)
                edges.push_back({a, b});
        }
    return edges;
}

} // namespace

ToTetrahedra::ToTetrahedra(Model const& model, SurfaceModel const* surface, double tolerance,
                           Context const& context)
    : m_model(model) {
    m_report.elements = CountSolids(*model.mesh);
    if (m_report.elements > 0)
        Cut(surface, tolerance, context);
}

void ToTetrahedra::Cut(SurfaceModel const* surface, double tolerance, Context const& context) {
    if (std::string const why_not = WhyTooMany(LeastTetrahedra(CountKinds(*m_model.mesh), false), "elements");
        !why_not.empty())
        throw FileError(m_model.file, why_not);
    m_cut.file = m_model.file;
    m_cut.frame = m_model.frame;
    m_cut.frame_is_given = m_model.frame_is_given;
    m_cut.mesh = std::make_unique<MMeshBase>();
    MMeshConformingCutOperator cut;
    cut.SetTet4Mesh(m_cut.mesh.get());
    cut.SetOrigins(&m_origins);
    cut.SetJoinNodes(false);
    cut.SetProgressDelegate(context.progress);
    if (surface)
        cut.SetEdges(EdgesOnNodes(*m_model.mesh, *surface->surfaces, tolerance));
    RunOperator(cut, m_model, "its hexahedra and wedges could not be cut", context);
    m_cut.mesh->SetMeshType(m_model.mesh->GetMeshType());
    CarryMasks(*m_model.mesh, m_origins, *m_cut.mesh);
    auto const others = static_cast<std::uint64_t>(m_model.mesh->NumberOfElements()) - m_report.elements;
    m_report.tetrahedra = static_cast<std::uint64_t>(m_cut.mesh->NumberOfElements()) - others;
}

MLong ToTetrahedra::ElementOf(MLong tetrahedron) const {
    return IsCut() && tetrahedron >= 0 ? m_origins.elements[static_cast<std::size_t>(tetrahedron)]
                                       : tetrahedron;
}

void ToTetrahedra::ToModel(MSurfaceOrigins& origins) const {
    if (!IsCut())
        return;
    for (MSurfaceOrigins::Triangle& triangle : origins.triangles)
        triangle = {ElementOf(triangle.element), FaceOf(triangle)};
    for (MLong& node : origins.points)
        if (node >= 0)
            node = m_origins.nodes[static_cast<std::size_t>(node)].a;
}

int ToTetrahedra::FaceOf(MSurfaceOrigins::Triangle const& triangle) const {
    if (triangle.element < 0 || triangle.face < 1)
        return 0;
    MMeshElement const& tetrahedron = *m_cut.mesh->GetElement(static_cast<std::uint64_t>(triangle.element));
    MMeshElement const& element =
        *m_model.mesh->GetElement(static_cast<std::uint64_t>(ElementOf(triangle.element)));
    std::array<unsigned int, 3> corners{}; // as indices in the element
    for (std::size_t i = 0; i < 3; ++i) {
        auto const index = MMeshSolverFacesOfTetrahedron[triangle.face - 1].node[i];
        MLong const node =
            m_origins.nodes[static_cast<std::size_t>(tetrahedron.GetNode(index)->GetIndex())].a;
        while (corners[i] < element.GetNodeCount() && element.GetNode(corners[i])->GetIndex() != node)
            ++corners[i];
    }
    int number = 0;
    for (MMeshSolverFace const& face : MMeshSolverFacesOf(element.GetNodeCount())) {
        ++number;
        if (std::ranges::all_of(corners, [&face](unsigned int corner) {
                return std::find(face.node, face.node + face.corners, corner) != face.node + face.corners;
            }))
            return number;
    }
    return 0;
}

void ToTetrahedra::CarryValues(MDataMask<MMeshPoint, double> const& from,
                               MDataMask<MMeshPoint, double>& to) const {
    auto const value_of = [&](MLong node) {
        return from.GetValue(*m_model.mesh->GetRandomPoint(static_cast<std::size_t>(node)));
    };
    for (std::size_t i = 0; i < m_origins.nodes.size(); ++i)
        if (m_origins.nodes[i].a >= 0)
            to.SetValue(*m_cut.mesh->GetRandomPoint(i), value_of(m_origins.nodes[i].a));
    for (auto const& [node, corners] : m_origins.inside) {
        double sum = 0.0;
        for (MLong const corner : corners)
            sum += value_of(corner);
        to.SetValue(*m_cut.mesh->GetRandomPoint(static_cast<std::size_t>(node)),
                    sum / double(corners.size()));
    }
}

} // namespace KetSDK::MeshJobs::Detail
