#include <KetSDK/Mesh/geometry/detail/MeshRebuild.h>

#include <KetSDK/Mesh/operators/MMeshOrientOperator.h>

#include <utility>

namespace KetSDK::Mesh::Detail {

MeshRebuild::MeshRebuild(MMeshBase const& source, MMeshBase& target)
    : m_source(source)
    , m_target(target)
    , m_members(source, nullptr)
    , m_node_of(static_cast<std::size_t>(source.NumberOfPoints()), nullptr) {
    target.ClearSubVolumes();
}

int MeshRebuild::Orient() {
    MMeshOrientOperator orient;
    orient.SetMesh(&m_target);
    orient.Operate();
    return orient.GetNbCorrected();
}

void MeshRebuild::_RegisterUsed() {
    auto next = m_used.begin();
    m_target.GetPointMasks()->RegisterMaskObjects(std::exchange(m_used_count, 0),
                                                  [&next]() -> MMeshPoint& { return **next++; });
}

MMeshSubVolume& MeshRebuild::_AddSubVolumeLike(MMeshSubVolume const& source) {
    MMeshSubVolume& sub_volume = *m_target.AddSubVolume();
    sub_volume.SetName(source.GetName());
    sub_volume.SetMatID(source.GetMatID());
    return sub_volume;
}

} // namespace KetSDK::Mesh::Detail
