#include <KetSDK/MeshJobs/detail/Threads.h>

#include <tbb/info.h>
#include <tbb/task_arena.h>

namespace KetSDK::MeshJobs::Detail {

void WithThreads(Context const& context, std::function<void(bool parallel)> const& work) {
    int const threads = context.threads > 0 ? context.threads : tbb::info::default_concurrency();
    tbb::task_arena arena(threads);
    arena.execute([&work, threads] { work(threads > 1); });
}

} // namespace KetSDK::MeshJobs::Detail
