// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/ModelFile.h>

#include <string>

namespace KetSDK::MeshJobs::Detail {

// Reads a deck (.inp) as a model. Element sets that divide the elements become the sub-volumes. Other element
// sets and surfaces become cell arrays, node sets and surfaces point arrays of 0 and 1 under their names,
// sections the materials; numbers become original identifiers. Warns of what is not read. Throws
// MeshSolver::Error, MeshVTK::Error and what is thrown when the user cancels.
Model ReadDeckModel(std::string const& path, ReadOptions const& options, Context const& context);

} // namespace KetSDK::MeshJobs::Detail
