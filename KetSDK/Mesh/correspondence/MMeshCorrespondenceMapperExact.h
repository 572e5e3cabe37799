#pragma once

#include <KetSDK/Mesh/correspondence/detail/MeshFaceMapper.h>

// Matches faces and triangles by the exact integer coordinates of their corners: for surfaces that were
// extracted from the mesh and not changed since. Of several triangles with the same corners and winding
// the first of the container counts. The surface may have points twice at one position.
class KETSDK_MESH_API MMeshCorrespondenceMapperExact : public KetSDK::Mesh::Detail::MeshFaceMapper {
public:
    // Neither is owned; both must outlive the mapper's last Map().
    MMeshCorrespondenceMapperExact(MStlBase* stl, MMeshBase* mesh) noexcept
        : MeshFaceMapper(stl, mesh) {}
    ~MMeshCorrespondenceMapperExact() override;

private:
    std::unique_ptr<Matcher> _MakeMatcher(MStlBase& stl) const override;
};
