// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace ketmesh {

// Turns SIGINT (Ctrl-C), SIGTERM and SIGHUP (the terminal has gone) into a flag that the running job looks at
// between and within its steps. A job that has not ended within the patience, and any at a second signal, is
// ended at once, without its temporary files. A pipe that nobody reads any more and a file that may not grow
// become failures to write. Call once, from main.
void InstallSignalHandlers();

// What goes to standard output when a job is ended so, for programs that wait for it; the text must stay.
void SetTextOfCancelled(char const* text) noexcept;

// While one exists, and after, no signal ends the job: its files get their names.
class UninterruptedEnd {
public:
    UninterruptedEnd() noexcept;
    UninterruptedEnd(UninterruptedEnd const&) = delete;
    UninterruptedEnd& operator=(UninterruptedEnd const&) = delete;
    // From now on a second signal ends the program again: whoever reads its results may not do so.
    ~UninterruptedEnd();
};

// Whether a signal came.
bool IsCancelled() noexcept;

} // namespace ketmesh
