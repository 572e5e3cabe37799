// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace ketmesh {

// Exit status of the program.
enum ExitStatus : int {
    Done = 0,
    Failed = 1,      // bad input, wrong usage or a failed job
    CheckFailed = 2, // done, but a check that the caller asked for did not hold
    WasCancelled = 130,
};

} // namespace ketmesh
