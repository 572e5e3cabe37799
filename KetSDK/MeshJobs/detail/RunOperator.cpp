// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/RunOperator.h>

#include <KetSDK/MeshJobs/Error.h>

namespace KetSDK::MeshJobs::Detail {

void RunOperator(MMeshOperator& job, Model const& model, std::string const& failure, Context const& context) {
    context.ThrowIfCancelled(); // for operators that do not ask
    job.SetMesh(model.mesh.get());
    if (Operate(job, context))
        return; // too late to cancel: the mesh may be another one
    context.ThrowIfCancelled();
    throw FileError(model.file, failure);
}

} // namespace KetSDK::MeshJobs::Detail
