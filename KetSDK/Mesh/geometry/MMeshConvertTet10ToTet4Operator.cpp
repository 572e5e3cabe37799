// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/MMeshConvertTet10ToTet4Operator.h>

#include <KetSDK/Mesh/geometry/detail/MeshRebuild.h>

using KetSDK::Mesh::Detail::MeshRebuild;

namespace {

void AddCorners(MeshRebuild& rebuild, MMeshElement const& e, MMeshSubVolume& target) {
    MMeshPoint* nodes[4];
    for (unsigned int i = 0; i < 4; ++i)
        nodes[i] = rebuild.NodeFor(e, i);
    target.AddElement(4, nodes);
}

void AddEight(MeshRebuild& rebuild, MMeshElement const& e, MMeshSubVolume& target) {
    for (auto const& row : MMeshElementDescriptor::descr_tet10_to_tet4) {
        MMeshPoint* nodes[4];
        for (unsigned int i = 0; i < 4; ++i)
            nodes[i] = rebuild.NodeFor(e, row[i]);
        target.AddElement(4, nodes);
    }
}

} // namespace

MMeshConvertTet10ToTet4Operator::~MMeshConvertTet10ToTet4Operator() = default;

bool MMeshConvertTet10ToTet4Operator::Operate() {
    MMeshBase const* const mesh = GetMesh();
    if (!mesh || mesh == m_target)
        return false;
    if (!m_target)
        m_target = new MMeshBase;
    m_target->SetMeshType(MMeshBase::Linear);
    MeshRebuild rebuild(*mesh, *m_target, m_origins);
    auto const add = m_multiple ? AddEight : AddCorners;
    rebuild.ForEachSubVolume([&](MMeshSubVolume const& source, MMeshSubVolume& target) {
        return rebuild.ForEachElement(source, [&](MMeshElement const& e) {
            add(rebuild, e, target);
            return true;
        });
    });
    m_corrected = rebuild.Orient();
    return true;
}
