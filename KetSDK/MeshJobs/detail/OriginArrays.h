// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MSurfaceOrigins.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

namespace KetSDK::MeshJobs::Detail {

// Gives a surface the arrays that say where in its mesh it came from, so that sets of faces and nodes can be
// made of it. They count from 1, as solvers do; 0 stands for none.
// - `element`, for each triangle: the index of its element in the mesh + 1
// - `face`, for each triangle: the face of the element that it lies on (MMeshSolverFaces.h); 0 inside
// - `node`, for each point: the index of its node + 1
void AddOriginArrays(SurfaceModel& surface, MSurfaceOrigins const& origins);

} // namespace KetSDK::MeshJobs::Detail
