// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/mesh/MMeshOperator.h>
#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/detail/Threads.h>

#include <string>

namespace KetSDK::MeshJobs::Detail {

// Runs an operator, to which all was given, on as many threads as the context allows.
template <typename Operator>
bool Operate(Operator& job, Context const& context) {
    bool done = false;
    WithThreads(context, [&](bool parallel) {
        job.SetParallel(parallel);
        done = job.Operate();
    });
    return done;
}

// The same for an operator to which all but the mesh was given, on the mesh of a model. Throws Cancelled when
// the user cancelled before the operator was done, and FileError of the model's file with `failure` when the
// operator failed. An operator that is done is not undone: nothing is thrown then.
void RunOperator(MMeshOperator& job, Model const& model, std::string const& failure, Context const& context);

} // namespace KetSDK::MeshJobs::Detail
