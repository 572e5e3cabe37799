// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/RunOperator.h>

#include <KetSDK/MeshJobs/Error.h>

namespace KetSDK::MeshJobs::Detail {

void RunOperator(MMeshOperator& job, Model const& model, std::string const& failure, Context const& context) {
    job.SetMesh(model.mesh.get());
    bool const done = Operate(job, context);
    context.ThrowIfCancelled();
    if (!done)
        throw FileError(model.file, failure);
}

} // namespace KetSDK::MeshJobs::Detail
