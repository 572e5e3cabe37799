// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MSurfaceOrigins.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <vector>

namespace KetSDK::MeshJobs::Detail {

// What is known of the elements and nodes of a model as arrays: what its mesh itself knows, and what lies
// beside it.
std::vector<MMeshArray> AllArrays(Model const& model);

// Gives the triangles of a surface the values of the elements that they came from; arrays whose names the
// surface has already are left out.
void CarryElementArrays(std::vector<MMeshArray> const& arrays, MSurfaceOrigins const& origins,
                        SurfaceModel& surface);

} // namespace KetSDK::MeshJobs::Detail
