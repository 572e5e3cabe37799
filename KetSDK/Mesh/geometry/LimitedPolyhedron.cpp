// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/LimitedPolyhedron.h>

#include <KetSDK/Mesh/geometry/PolyhedralFaceInterface.h>

LimitedPolyhedron::LimitedPolyhedron(MMeshElement* element)
    : m_vertices(element->GetNodeCount()) {
    LimitedPolyhedron::_CopyVerticesMMeshElement(*element);
}

LimitedPolyhedron::~LimitedPolyhedron() = default;

std::uint64_t LimitedPolyhedron::GetNbVertices() const {
    return m_vertices.size();
}

MMVector<double, 3> const& LimitedPolyhedron::GetVertex(unsigned int i) const {
    return m_vertices.at(i);
}

void LimitedPolyhedron::SetVertex(unsigned int i, MMVector<double, 3> const& position) {
    if (i < m_vertices.size())
        m_vertices[i] = position;
}

std::uint64_t LimitedPolyhedron::GetNbFaces() const {
    return 0;
}

PolyhedralFaceInterface* LimitedPolyhedron::GetFace(unsigned int) const {
    return nullptr;
}

double LimitedPolyhedron::Volume() const {
    return 0.0;
}

bool LimitedPolyhedron::OrientationOK() const {
    return true;
}
