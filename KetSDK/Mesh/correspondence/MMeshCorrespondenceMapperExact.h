// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperBase.h>

// Matches faces and triangles by the exact integer coordinates of their corners: for surfaces that were
// extracted from the mesh and not changed since. Of several triangles with the same corners and winding
// the first of the container counts. The surface may have points twice at one position.
class KETSDK_MESH_API MMeshCorrespondenceMapperExact : public MMeshCorrespondenceMapperBase {
public:
    // Neither is owned; both must outlive the mapper's last Map().
    MMeshCorrespondenceMapperExact(MStlBase* stl, MMeshBase* mesh) noexcept
        : MMeshCorrespondenceMapperBase(stl, mesh) {}
    ~MMeshCorrespondenceMapperExact() override;

private:
    std::unique_ptr<KetSDK::Mesh::Detail::SurfaceMatcher>
    MakeMatcher(MStlBase& stl, MMeshBase const& mesh,
                KetSDK::Mesh::Detail::MappingLoop const& loop) const override;
};
