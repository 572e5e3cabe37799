// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperBase.h>

// Matches faces with triangles that lie near them: for surfaces that were written with rounding, moved a
// little or remeshed since they were extracted. A face can have a triangle when its centroid and its
// three corners lie within a tolerance of the surface.
//
// Where every corner of a triangle lies within the tolerance of a corner of the face, they match by their
// corners, the closest first. Every other face gets a triangle within the tolerance of its centroid whose
// plane agrees with its own to PlaneAngle. Of several it gets the one with the least sum of the distance in
// tolerances and of 1 - cosine of the angle, over its largest value; then the first. So where surfaces meet
// or lie back to back, the planes decide. A face between elements gets no triangle that matched another face
// by its corners: thin elements near the surface have faces close to it too.
class KETSDK_MESH_API MMeshCorrespondenceMapperProjection : public MMeshCorrespondenceMapperBase {
public:
    // Degrees up to which the planes of a face and a triangle agree, whichever way they face.
    static constexpr double PlaneAngle = 60.0;

    // The tolerance is in model units; one that is not above 0 counts as 0. Mesh and surface are not owned
    // and must outlive the mapper's last Map().
    MMeshCorrespondenceMapperProjection(MStlBase* stl, MMeshBase* mesh, double tolerance) noexcept
        : MMeshCorrespondenceMapperBase(stl, mesh)
        , m_tolerance(tolerance > 0.0 ? tolerance : 0.0) {}
    ~MMeshCorrespondenceMapperProjection() override;

    double GetTolerance() const noexcept { return m_tolerance; }

private:
    std::unique_ptr<KetSDK::Mesh::Detail::SurfaceMatcher>
    MakeMatcher(MStlBase& stl, MMeshBase const& mesh,
                KetSDK::Mesh::Detail::MappingLoop const& loop) const override;

    double m_tolerance;
};
