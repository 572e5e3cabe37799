// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/meshing/detail/VolumeShifts.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>

namespace KetSDK::Mesh::Detail {

namespace {

using Position = MovingMesh::Position;

// Of the sweeps that spread what one label lacks over its neighbours.
constexpr int MostSweeps = 200;
constexpr double SmallestShift = 0.1; // internal units

// The corners across from each corner of a tetrahedron, such that their face points at it.
constexpr std::size_t Across[4][3] = {{1, 2, 3}, {0, 3, 2}, {0, 1, 3}, {0, 2, 1}};

// The change of the tetrahedron's volume by the position of a corner.
Position VolumeGradient(MovingMesh const& mesh, Lattice::Tetrahedron const& nodes, std::size_t corner) {
    Position const& a = mesh.positions[nodes[Across[corner][0]]];
    Position const& b = mesh.positions[nodes[Across[corner][1]]];
    Position const& c = mesh.positions[nodes[Across[corner][2]]];
    return (c - a).Cross(b - a) * (1.0 / 6.0);
}

// By junction of two labels: how much the volume of the first label changes with the node's position.
std::vector<Position> VolumeGradients(MovingMesh const& mesh) {
    std::vector<Position> gradients(mesh.junctions.size(), Position{0.0, 0.0, 0.0});
    for (std::size_t t = 0; t < mesh.tetrahedra.size(); ++t)
        for (std::size_t corner = 0; corner < 4; ++corner) {
            std::uint32_t const junction = mesh.interface[mesh.tetrahedra[t][corner]];
            if (junction != MovingMesh::NoInterface && mesh.junctions[junction].count == 2 &&
                mesh.junctions[junction].labels[0] == mesh.labels[t])
                gradients[junction] += VolumeGradient(mesh, mesh.tetrahedra[t], corner);
        }
    return gradients;
}

} // namespace

VolumeShifts::Interfaces VolumeShifts::FindInterfaces(MovingMesh const& mesh, std::size_t labels) {
    std::map<std::array<LabelIndex, 2>, double> areas;
    auto const gradients = VolumeGradients(mesh);
    for (std::size_t i = 0; i < gradients.size(); ++i)
        if (mesh.junctions[i].count == 2)
            areas[{mesh.junctions[i].labels[0], mesh.junctions[i].labels[1]}] += gradients[i].Length();
    Interfaces interfaces(labels);
    for (auto const& [pair, area] : areas) {
        interfaces[pair[0]].push_back({pair[1], area});
        interfaces[pair[1]].push_back({pair[0], area});
    }
    return interfaces;
}

std::vector<double> VolumeShifts::Lacking(MovingMesh const& mesh) const {
    std::vector<double> lacking = m_wanted;
    for (std::size_t t = 0; t < mesh.tetrahedra.size(); ++t) {
        Lattice::Tetrahedron const& nodes = mesh.tetrahedra[t];
        lacking[mesh.labels[t]] -=
            VolumeGradient(mesh, nodes, 3).Dot(mesh.positions[nodes[3]] - mesh.positions[nodes[0]]);
    }
    return lacking;
}

void VolumeShifts::Correct(MovingMesh const& mesh) {
    auto const lacking = Lacking(mesh);
    auto const interfaces = FindInterfaces(mesh, m_wanted.size());
    std::vector<double> more(m_wanted.size(), 0.0);
    double change = 1.0 + SmallestShift;
    for (int sweep = 0; sweep < MostSweeps && change > SmallestShift; ++sweep) {
        change = 0.0;
        for (std::size_t label = 1; label < more.size(); ++label) {
            double area = 0.0, gained = lacking[label];
            for (Neighbour const& neighbour : interfaces[label]) {
                area += neighbour.area;
                gained += neighbour.area * more[neighbour.label];
            }
            double const next = area > 0.0 ? gained / area : 0.0;
            change = std::max(change, std::fabs(next - more[label]));
            more[label] = next;
        }
    }
    for (std::size_t label = 1; label < more.size(); ++label)
        m_shifts[label] = std::clamp(m_shifts[label] + more[label], -m_largest, m_largest);
}

} // namespace KetSDK::Mesh::Detail
