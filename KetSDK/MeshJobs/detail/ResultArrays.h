// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/Results.h>
#include <KetSDK/MeshSolver/FrdFile.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace KetSDK::MeshJobs::Detail {

// The index of the node with a number in a solver's file.
using NodeIndex = std::function<std::optional<std::size_t>(std::int32_t)>;

// Reads a step of the results at the nodes of a model. Throws MeshSolver::Error, MeshSolver::Cancelled.
MeshSolver::FrdResult ReadResults(Model const& model, std::filesystem::path const& file,
                                  NodeIndex const& index_of, std::optional<int> step, Context const& context);

// Warns of nodes of elements that miss some of the results of a file.
void WarnOfNodesWithout(MeshSolver::FrdResult const& result, Model const& model, std::string const& file,
                        Context const& context);

// Gives a model the arrays of results, which are empty afterwards.
ResultsReport TakeResultArrays(Model& model, MeshSolver::FrdResult& result);

} // namespace KetSDK::MeshJobs::Detail
