#pragma once

namespace ketmesh {

// Turns SIGINT (Ctrl-C), SIGTERM and SIGHUP (the terminal has gone) into a flag that the running job looks at
// between and within its steps. A second signal ends the program at once, without its temporary files. A pipe
// that nobody reads any more and a file that may not grow become failures to write. Call once, from main.
void InstallSignalHandlers();

// Whether a signal came.
bool IsCancelled() noexcept;

} // namespace ketmesh
