// SPDX-License-Identifier: BSD-3-Clause
#include <host/terminal/Cancellation.h>

#include <KetSDK/MeshVTK/OutputFile.h>
#include <host/terminal/ExitStatus.h>

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstring>

namespace ketmesh {

namespace {

std::atomic<bool> cancelled{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

// How long a cancelled job may take to end: below what a user notices as waiting. Some steps do not listen,
// and a large mesh takes its time to be given back.
constexpr long PatienceNanoseconds = 400'000'000;
timer_t patience;
bool has_patience = false;

enum Stage { Working, Ending, Ended };
std::atomic<int> stage{Working};
std::atomic<char const*> text_of_cancelled{""};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<char const*>::is_always_lock_free);

void WriteText(int file, char const* text) {
    for (std::size_t left = std::strlen(text); left > 0;) {
        ssize_t const written = ::write(file, text, left);
        if (written <= 0)
            return;
        text += written;
        left -= static_cast<std::size_t>(written);
    }
}

void EndNow() {
    KetSDK::MeshVTK::OutputFile::RemoveAllNow();
    ::_exit(WasCancelled);
}

extern "C" void OnSignal(int) {
    if (!cancelled.exchange(true)) {
        itimerspec const once = {{}, {0, PatienceNanoseconds}};
        if (has_patience)
            ::timer_settime(patience, 0, &once, nullptr);
    } else if (stage != Ending) {
        EndNow();
    }
}

extern "C" void OnImpatience(int) {
    if (stage != Working)
        return;
    WriteText(STDERR_FILENO,
              ::isatty(STDERR_FILENO) == 1 ? "\r\x1b[Kketmesh: cancelled\n" : "ketmesh: cancelled\n");
    WriteText(STDOUT_FILENO, text_of_cancelled);
    EndNow();
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
    Handle(SIGALRM, OnImpatience);
    sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGALRM;
    has_patience = ::timer_create(CLOCK_MONOTONIC, &event, &patience) == 0;
    for (int const signal : {SIGINT, SIGTERM, SIGHUP})
        Handle(signal, OnSignal);
    // A reader that has gone and a file that may not grow are failures to write like others. They are handled
    // and not ignored, because programs that this one starts would inherit that.
    for (int const signal : {SIGPIPE, SIGXFSZ})
        Handle(signal, OnFailureToWrite);
}

void SetTextOfCancelled(char const* text) noexcept {
    text_of_cancelled = text;
}

UninterruptedEnd::UninterruptedEnd() noexcept {
    stage = Ending;
}

UninterruptedEnd::~UninterruptedEnd() {
    stage = Ended;
}

bool IsCancelled() noexcept {
    return cancelled.load();
}

} // namespace ketmesh
