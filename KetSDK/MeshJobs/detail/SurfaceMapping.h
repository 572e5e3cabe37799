// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapper.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <memory>

namespace KetSDK::MeshJobs::Detail {

// Which triangles of a surface lie on which faces of a mesh. While this lives the mesh holds the mapper that
// operators ask; then it holds again what it held before.
class SurfaceMapping {
public:
    // Finds the triangles up to so many mm from their faces. Warns when that is more than the triangles
    // measure, and throws Error when so many lie within it that comparing them would take too long. Throws
    // Cancelled.
    SurfaceMapping(Model const& model, SurfaceModel const& surface, double tolerance, Context const& context);
    SurfaceMapping(SurfaceMapping const&) = delete;
    SurfaceMapping& operator=(SurfaceMapping const&) = delete;
    ~SurfaceMapping();

    // Warns when no triangle lies on any face.
    void WarnWhenApart(Context const& context) const;

private:
    Model const& m_model;
    SurfaceModel const& m_surface;
    double m_tolerance;
    std::shared_ptr<MMeshCorrespondenceMapper> m_before;
};

} // namespace KetSDK::MeshJobs::Detail
