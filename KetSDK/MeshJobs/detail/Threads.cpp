// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/Threads.h>

#include <tbb/global_control.h>
#include <tbb/info.h>
#include <tbb/task_arena.h>

#include <cstddef>
#include <optional>

namespace KetSDK::MeshJobs::Detail {

void WithThreads(Context const& context, std::function<void(bool parallel)> const& work) {
    int const cores = tbb::info::default_concurrency();
    int const threads = context.threads > 0 ? context.threads : cores;
    // More threads than cores have to be allowed first; an arena alone would warn and do with fewer.
    std::optional<tbb::global_control> limit;
    if (threads > cores)
        limit.emplace(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
    tbb::task_arena arena(threads);
    arena.execute([&work, threads] { work(threads > 1); });
}

} // namespace KetSDK::MeshJobs::Detail
