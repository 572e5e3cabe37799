// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapper.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <memory>
#include <optional>

namespace KetSDK::MeshJobs::Detail {

// A surface in the frame of a mesh, and which of its triangles lie on which faces of the mesh. While this
// lives the mesh holds the mapper that operators ask; then it holds again what it held before.
class SurfaceMapping {
public:
    // Turns a copy of the surface where its frame is another one (InFrameOf), and finds the triangles up to
    // so many mm from their faces. Warns when that is more than the triangles measure, and throws Error when
    // so many lie within it that comparing them would take too long. Throws Cancelled.
    SurfaceMapping(Model const& model, SurfaceModel const& surface, double tolerance, Context const& context);
    SurfaceMapping(SurfaceMapping const&) = delete;
    SurfaceMapping& operator=(SurfaceMapping const&) = delete;
    ~SurfaceMapping();

    // What was mapped: the surface that was given, or its turned copy.
    SurfaceModel const& GetSurface() const noexcept { return m_surface; }
    // Warns when no triangle lies on any face.
    void WarnWhenApart(Context const& context) const;
    // Where some do, but more than half of the triangles lie on no face.
    void WarnWhenMostLiesApart(Context const& context) const;

private:
    bool IsOnMesh(MStlTriangle const& triangle) const;

    Model const& m_model;
    std::optional<SurfaceModel> m_turned;
    SurfaceModel const& m_surface;
    double m_tolerance;
    std::shared_ptr<MMeshCorrespondenceMapper> m_before;
};

} // namespace KetSDK::MeshJobs::Detail
