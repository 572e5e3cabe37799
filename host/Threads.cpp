#include <host/Threads.h>

#include <tbb/info.h>

#include <cstddef>

namespace ketmesh {

void Threads::Declare(CLI::App& command) {
    command
        .add_option("--threads", m_count,
                    "Number of threads to work on (as many as there are cores unless given)")
        ->check(CLI::Range(1, 1024));
}

bool Threads::Start() {
    if (m_count > 0)
        m_limit.emplace(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(m_count));
    return (m_count > 0 ? m_count : tbb::info::default_concurrency()) > 1;
}

} // namespace ketmesh
