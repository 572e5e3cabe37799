// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/Threads.h>

#include <tbb/global_control.h>
#include <tbb/info.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace KetSDK::MeshJobs::Detail {

namespace {

// The arenas that no job works in at the moment, by their number of threads. oneTBB keeps some kilobytes of
// each arena that ends, so jobs take them again, and two at a time never share one.
class IdleArenas {
public:
    using Arenas = std::multimap<int, std::unique_ptr<tbb::task_arena>>;

    Arenas::node_type Take(int threads) {
        {
            std::scoped_lock const lock(m_lock);
            if (auto const found = m_arenas.find(threads); found != m_arenas.end())
                return m_arenas.extract(found);
        }
        Arenas made;
        return made.extract(made.emplace(threads, std::make_unique<tbb::task_arena>(threads)));
    }
    void GiveBack(Arenas::node_type&& arena) {
        std::scoped_lock const lock(m_lock);
        m_arenas.insert(std::move(arena));
    }

private:
    std::mutex m_lock;
    Arenas m_arenas;
};

// Never destroyed: jobs may still run while the process ends.
IdleArenas& Idle() {
    static auto* const idle = new IdleArenas;
    return *idle;
}

// An arena for the time of a job.
class Arena {
public:
    explicit Arena(int threads)
        : m_node(Idle().Take(threads)) {}
    ~Arena() { Idle().GiveBack(std::move(m_node)); }
    Arena(Arena const&) = delete;
    Arena& operator=(Arena const&) = delete;

    tbb::task_arena& Get() { return *m_node.mapped(); }

private:
    IdleArenas::Arenas::node_type m_node;
};

} // namespace

void WithThreads(Context const& context, std::function<void(bool parallel)> const& work) {
    int const cores = tbb::info::default_concurrency();
    // More than some threads for each core do nothing but wait for one another.
    constexpr int most_on_a_core = 16;
    int const threads = context.threads > 0 ? std::min(context.threads, most_on_a_core * cores) : cores;
    // More threads than cores have to be allowed first; an arena alone would warn and do with fewer.
    std::optional<tbb::global_control> limit;
    if (threads > cores)
        limit.emplace(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
    Arena arena(threads);
    arena.Get().execute([&work, threads] { work(threads > 1); });
}

} // namespace KetSDK::MeshJobs::Detail
