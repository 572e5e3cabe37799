// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>

#include <functional>

namespace KetSDK::MeshJobs::Detail {

// Calls work(parallel) so that it uses no more threads than the context allows; `parallel` is whether that is
// more than one. The work runs on the calling thread.
void WithThreads(Context const& context, std::function<void(bool parallel)> const& work);

} // namespace KetSDK::MeshJobs::Detail
