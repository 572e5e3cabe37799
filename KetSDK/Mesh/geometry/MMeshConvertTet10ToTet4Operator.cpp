// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/geometry/MMeshConvertTet10ToTet4Operator.h>

#include <KetSDK/Mesh/geometry/detail/MeshRebuild.h>

using KetSDK::Mesh::Detail::MeshRebuild;
using KetSDK::Mesh::Detail::MeshSketch;

namespace {

void AddCorners(MMeshElement const& e, MeshSketch& sketch) {
    MeshSketch::Mark nodes[4];
    for (unsigned int i = 0; i < 4; ++i)
        nodes[i] = sketch.NodeFor(e, i);
    sketch.AddElement(nodes);
}

void AddEight(MMeshElement const& e, MeshSketch& sketch) {
    for (auto const& row : MMeshElementDescriptor::descr_tet10_to_tet4) {
        MeshSketch::Mark nodes[4];
        for (unsigned int i = 0; i < 4; ++i)
            nodes[i] = sketch.NodeFor(e, row[i]);
        sketch.AddElement(nodes);
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
    MeshRebuild rebuild(*mesh, *m_target, m_origins, GetParallel());
    if (m_multiple)
        rebuild.ExpectNodes(static_cast<std::uint64_t>(mesh->NumberOfPoints()));
    rebuild.ForEachSubVolume([&](MMeshSubVolume const& source) {
        rebuild.ForEachElement(source, m_multiple ? AddEight : AddCorners);
        return true;
    });
    m_corrected = rebuild.Orient();
    return true;
}
