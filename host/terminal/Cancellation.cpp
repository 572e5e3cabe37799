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

extern "C" void OnFailureToWrite(int) {}

// What the parent process lets the program ignore, as nohup does, stays ignored.
void Handle(int signal, void (*handler)(int)) {
    struct sigaction action = {};
    ::sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN)
        return;
    action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART; // reading and writing go on until the job looks at the flag
    ::sigemptyset(&action.sa_mask);
    ::sigaction(signal, &action, nullptr);
}

} // namespace

void InstallSignalHandlers() {
    for (int const signal : {SIGINT, SIGTERM, SIGHUP})
        Handle(signal, OnSignal);
    // A reader that has gone and a file that may not grow are failures to write like others. They are handled
    // and not ignored, because programs that this one starts would inherit that.
    for (int const signal : {SIGPIPE, SIGXFSZ})
        Handle(signal, OnFailureToWrite);
}

bool IsCancelled() noexcept {
    return cancelled.load();
}

} // namespace ketmesh
