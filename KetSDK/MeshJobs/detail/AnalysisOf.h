// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/CaseFile.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshSolver/Analysis.h>

namespace KetSDK::MeshJobs::Detail {

struct AnalysisOptions {
    CaseFile const* load_case = nullptr; // may be null
    MeshSolver::MaterialsAs materials = MeshSolver::MaterialsAs::Bins;
    bool original_ids = false;
};

// The analysis that a model makes with a case; it refers to the mesh of the model. Warns of nodes and
// elements that are there twice. Throws FileError that names the file of the model or of the case, Cancelled.
MeshSolver::Analysis AnalysisOf(Model const& model, AnalysisOptions const& options, Context const& context);

} // namespace KetSDK::MeshJobs::Detail
