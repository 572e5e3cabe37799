#include <host/terminal/Cancellation.h>

#include <KetSDK/MeshVTK/OutputFile.h>
#include <host/terminal/ExitStatus.h>

#include <signal.h>
#include <unistd.h>

#include <atomic>

namespace ketmesh {

namespace {

std::atomic<bool> cancelled{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

extern "C" void OnSignal(int) {
    if (cancelled.exchange(true)) {
        // The job does not listen: some step of it is long, or stuck.
        KetSDK::MeshVTK::OutputFile::RemoveAllNow();
        ::_exit(WasCancelled);
    }
}

} // namespace

void InstallSignalHandlers() {
    struct sigaction action = {};
    action.sa_handler = OnSignal;
    action.sa_flags = SA_RESTART; // reading and writing go on until the job looks at the flag
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    ::signal(SIGXFSZ, SIG_IGN); // a file that may not grow is a failure to write like others
}

bool IsCancelled() noexcept {
    return cancelled.load();
}

} // namespace ketmesh
