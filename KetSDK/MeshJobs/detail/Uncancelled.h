// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>

namespace KetSDK::MeshJobs::Detail {

// A context like the given one that is never cancelled, for what a job does once it has changed a mesh: users
// cancel all of a job or nothing. It shows no progress either.
inline Context Uncancelled(Context context) {
    context.progress = nullptr;
    return context;
}

} // namespace KetSDK::MeshJobs::Detail
