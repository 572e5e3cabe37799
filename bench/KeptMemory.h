// SPDX-License-Identifier: BSD-3-Clause
#pragma once

// What the process has of freed memory between rounds.
namespace Bench {

// Has what is freed stay in the process for the next round, ours and VTK's alike. A virtual machine can take
// longer to hand out new pages than the work takes that fills them. To be called before there are threads.
void KeepFreedMemory();
// Gives back what is kept.
void ReleaseFreedMemory();
// Bytes that the process has allocated and not given back; gives back what our library keeps.
double HeapBytes();

} // namespace Bench
