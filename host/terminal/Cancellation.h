#pragma once

namespace ketmesh {

// Turns SIGINT (Ctrl-C) and SIGTERM into a flag that the running job looks at between and within its
// steps. A second signal ends the program at once, without its temporary files. Call once, from main.
void InstallSignalHandlers();

// Whether a signal came.
bool IsCancelled() noexcept;

} // namespace ketmesh
