// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/QuadrangularFace.h>

QuadrangularFace::QuadrangularFace(MMVector<double, 3> const& a, MMVector<double, 3> const& b,
                                   MMVector<double, 3> const& c, MMVector<double, 3> const& d)
    : m_nodes{a, b, c, d} {}

QuadrangularFace::~QuadrangularFace() = default;

std::uint64_t QuadrangularFace::GetNbTriangles() const {
    return 2;
}

MTriangle<double, 3>* QuadrangularFace::GetTriangle(std::uint64_t i) const {
    if (i == 0)
        return new MTriangle<double, 3>(m_nodes[0], m_nodes[1], m_nodes[3]);
    return new MTriangle<double, 3>(m_nodes[1], m_nodes[2], m_nodes[3]);
}

std::uint64_t QuadrangularFace::GetNbNodes() const {
    return m_nb_nodes;
}

MMVector<double, 3> const& QuadrangularFace::GetNode(std::uint64_t i) const {
    return m_nodes[i];
}

void QuadrangularFace::SetNode(std::uint64_t i, MMVector<double, 3> const& position) {
    m_nodes[i] = position;
}

std::uint64_t QuadrangularFace::GetNbSegments() const {
    return 4;
}

std::pair<MMVector<double, 3> const*, MMVector<double, 3> const*>
QuadrangularFace::GetSegment(std::uint64_t i) const {
    return {&m_nodes[i], &m_nodes[(i + 1) % m_nb_nodes]};
}

void QuadrangularFace::SetNodes(MMVector<double, 3> const& a, MMVector<double, 3> const& b,
                                MMVector<double, 3> const& c, MMVector<double, 3> const& d) {
    m_nodes = {a, b, c, d};
}
