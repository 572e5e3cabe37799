// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/CoordinateFrame.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

struct FrameOptions {
    Mesh::CoordinateFrame to = Mesh::CoordinateFrame::RAS;
    // Names of arrays on nodes and elements whose rows of three numbers are vectors, which turn as well.
    std::vector<std::string> vectors;
};

struct FrameResult {
    Mesh::CoordinateFrame from = Mesh::CoordinateFrame::RAS; // that it had
    bool turned = false;                                     // not when it had the other one already
};
// Turns a model or a surface, in place, into a frame of coordinates: x and y change their signs, exactly, and
// so do those of the vectors. Where it has that frame already nothing changes. Throws FileError for one that
// does not say its frame and for one that reaches the limit of coordinates. Throws it also for a name without
// an array of three numbers with a sign in each row.
KETSDK_MESHJOBS_API FrameResult ToFrame(Model& model, FrameOptions const& options, Context const& context);
KETSDK_MESHJOBS_API FrameResult ToFrame(SurfaceModel& surface, FrameOptions const& options,
                                        Context const& context);

} // namespace KetSDK::MeshJobs
