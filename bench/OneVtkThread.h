// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace Bench {

// Lets VTK's filters run on one core, as our jobs do.
void UseOneVtkThread();

} // namespace Bench
