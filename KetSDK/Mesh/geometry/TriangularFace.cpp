// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/TriangularFace.h>

TriangularFace::TriangularFace(MMVector<double, 3> const& a, MMVector<double, 3> const& b,
                               MMVector<double, 3> const& c)
    : m_nodes{a, b, c} {}

TriangularFace::~TriangularFace() = default;

std::uint64_t TriangularFace::GetNbTriangles() const {
    return 1;
}

MTriangle<double, 3>* TriangularFace::GetTriangle(std::uint64_t) const {
    return new MTriangle<double, 3>(m_nodes[0], m_nodes[1], m_nodes[2]);
}

std::uint64_t TriangularFace::GetNbNodes() const {
    return m_nb_nodes;
}

MMVector<double, 3> const& TriangularFace::GetNode(std::uint64_t i) const {
    return m_nodes[i];
}

void TriangularFace::SetNode(std::uint64_t i, MMVector<double, 3> const& position) {
    m_nodes[i] = position;
}

std::uint64_t TriangularFace::GetNbSegments() const {
    return 3;
}

std::pair<MMVector<double, 3> const*, MMVector<double, 3> const*>
TriangularFace::GetSegment(std::uint64_t i) const {
    return {&m_nodes[i], &m_nodes[(i + 1) % m_nb_nodes]};
}
