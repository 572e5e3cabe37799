// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace Bench {

// Lets VTK's filters run on so many threads of oneTBB, as our jobs do. Throws std::runtime_error when this
// VTK cannot.
void UseVtkThreads(int count);

} // namespace Bench
