// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Model.h>

#include <vector>

namespace KetSDK::MeshJobs::Detail {

// The arrays of a model with its scalar fields among them, before its other arrays of nodes. Meant for a mesh
// that is made of it and cannot have the fields themselves, which belong to the one mesh. Of two fields with
// one identifier the later one counts, and one without an identifier is left out, as in files of VTK.
std::vector<MMeshArray> ArraysWithFields(Model const& model);

} // namespace KetSDK::MeshJobs::Detail
