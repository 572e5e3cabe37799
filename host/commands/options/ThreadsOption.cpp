#include <host/commands/options/ThreadsOption.h>

namespace ketmesh {

void ThreadsOption::Declare(CLI::App& command) {
    command
        .add_option("--threads", m_count,
                    "Number of threads to work on (as many as there are cores unless given)")
        ->check(CLI::Range(1, 1024));
}

KetSDK::MeshJobs::Context ThreadsOption::Limit(KetSDK::MeshJobs::Context context) const {
    context.threads = m_count;
    return context;
}

} // namespace ketmesh
