// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Context.h>

#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshVTK/Text.h>

namespace KetSDK::MeshJobs {

void Context::Warn(std::string const& message) const {
    if (warn)
        warn(MeshVTK::Printable(message));
}

bool Context::IsCancelled() const {
    return progress && progress->IsCancelled();
}

void Context::ThrowIfCancelled() const {
    if (IsCancelled())
        throw Cancelled();
}

} // namespace KetSDK::MeshJobs
