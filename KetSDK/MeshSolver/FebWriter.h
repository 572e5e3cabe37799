// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/MeshSolver/Analysis.h>
#include <KetSDK/MeshSolver/MeshSolverExport.h>

#include <filesystem>
#include <memory>

namespace KetSDK::MeshSolver {

// Writes an analysis as a model for FEBio 4.0 (.feb). Each sub-volume and kind and, with bins, material has a
// block of elements and a domain. Moduli of elements are maps, surfaces are wound outwards, and there are
// node sets. The case becomes boundary conditions and loads that grow over a second. Units are those of the
// decks. Throws Error for moduli at nodes, which FEBio has no place for, and when the file cannot be written;
// Cancelled.
KETSDK_MESHSOLVER_API void WriteFeb(Analysis const& analysis, std::filesystem::path const& path,
                                    std::shared_ptr<Common::IProgressDelegate> const& progress);

} // namespace KetSDK::MeshSolver
