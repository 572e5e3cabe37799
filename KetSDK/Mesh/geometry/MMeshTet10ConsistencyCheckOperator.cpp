// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/MMeshTet10ConsistencyCheckOperator.h>

#include <KetSDK/Mesh/geometry/Tetrahedron10Base.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>

MMeshTet10ConsistencyCheckOperator::~MMeshTet10ConsistencyCheckOperator() = default;

bool MMeshTet10ConsistencyCheckOperator::Operate() {
    MMeshBase const* mesh = GetMesh();
    if (!mesh)
        return false;
    bool const quadratic = mesh->GetMeshType() == MMeshBase::TetMeshType::Quadratic;
    mesh->Elements().ForEachWithNodes([this, quadratic](MMeshElement const& element, std::uint64_t) {
        Tetrahedron10Base<double> tetrahedron(&element, false);
        if (quadratic) {
            if (!tetrahedron.CheckMidVertices(m_tolerance))
                ++m_wrong_mid_edges;
            if (!tetrahedron.CheckMidFaces(m_tolerance))
                ++m_wrong_mid_faces;
        }
        if (!tetrahedron.OrientationOK())
            ++m_wrong_orientation;
        if (tetrahedron.Volume() == 0.0)
            ++m_zero_volume;
        ++m_elements_checked;
    });
    return true;
}
